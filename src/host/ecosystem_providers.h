// The package providers of the script host's ecosystem that the application
// activates by class name, as they exist on this host:
//
//   "ReactNativeAsyncStorage.ReactPackageProvider"  the page's web storage
//       (localStorage, IndexedDB) is kept under $XDG_DATA_HOME/tessarel and
//       survives a restart; without it the page's storage is ephemeral.
//   "RNCConfig.ReactPackageProvider"  the module "RNCConfigModule" whose
//       constants are the build-time configuration values (kBuildConfig).
//   "CheckboxWindows.ReactPackageProvider", "ReactNativePicker.ReactPackageProvider",
//   "ReactNativeXaml.ReactPackageProvider"  register nothing: the bundle is
//       built with react-native-web, which draws check boxes, pickers and
//       the like as HTML elements.
//
// Thread-safety: registration happens once, before any activation.
#pragma once

#include <string_view>
#include <utility>

namespace tessarel {

class ClassRegistry;

// The constants of "RNCConfigModule", fixed when the host is built.
struct BuildConfigValue {
  std::string_view name;
  std::string_view value;
};
extern const BuildConfigValue kBuildConfig[4];

void RegisterEcosystemProviders(ClassRegistry& registry);

}  // namespace tessarel
