#include "host/ecosystem_providers.h"

#include <memory>

#include "host/class_registry.h"
#include "host/react_instance.h"

#ifndef TESSAREL_BUILD_APP_ID
#error "TESSAREL_BUILD_APP_ID must be defined by the build"
#endif

namespace tessarel {

const BuildConfigValue kBuildConfig[4] = {
    {"APP_ID", TESSAREL_BUILD_APP_ID},
    {"VERSION", TESSAREL_BUILD_VERSION},
    {"BUILD_TYPE", TESSAREL_BUILD_TYPE},
    {"PLATFORM", "linux"},
};

namespace {

class AsyncStorageProvider final : public IReactPackageProvider {
 public:
  void CreatePackage(IReactPackageBuilder& packageBuilder) override {
    // A react-native-web bundle keeps AsyncStorage in window.localStorage,
    // so what this package gives is web storage that outlives the process.
    if (auto* host = dynamic_cast<IHostPackageBuilder*>(&packageBuilder)) {
      host->UsePersistentWebStorage();
    }
  }
};

class ConfigProvider final : public IReactPackageProvider {
 public:
  void CreatePackage(IReactPackageBuilder& packageBuilder) override {
    packageBuilder.AddModule("RNCConfigModule", [](IReactModuleBuilder& builder) {
      builder.AddConstantProvider([](IJSValueWriter& writer) {
        for (const auto& [name, value] : kBuildConfig) {
          writer.WritePropertyName(name);
          writer.WriteString(value);
        }
      });
      return std::shared_ptr<void>();
    });
  }
};

// react-native-web draws these controls itself; the native side has nothing
// to add.
class NoNativeModulesProvider final : public IReactPackageProvider {
 public:
  void CreatePackage(IReactPackageBuilder&) override {}
};

template <class Provider>
ClassRegistry::Factory MakeFactory() {
  return [] { return std::make_shared<Provider>(); };
}

}  // namespace

void RegisterEcosystemProviders(ClassRegistry& registry) {
  registry.Register("ReactNativeAsyncStorage.ReactPackageProvider",
                    MakeFactory<AsyncStorageProvider>());
  registry.Register("CheckboxWindows.ReactPackageProvider", MakeFactory<NoNativeModulesProvider>());
  registry.Register("ReactNativePicker.ReactPackageProvider",
                    MakeFactory<NoNativeModulesProvider>());
  registry.Register("RNCConfig.ReactPackageProvider", MakeFactory<ConfigProvider>());
  registry.Register("ReactNativeXaml.ReactPackageProvider", MakeFactory<NoNativeModulesProvider>());
}

}  // namespace tessarel
