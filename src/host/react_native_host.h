// The script host: its instance settings, its package providers, the
// development overrides given on the command line, and the current
// ReactInstance made from the providers.
//
//   ReactNativeHost& host = app.Host();
//   host.PackageProviders().push_back(std::make_shared<ReactPackageProvider>());
//   auto instance = host.ReloadInstance();     // modules made, initializers run
//
// Thread-safety: UI thread only, except ContentRendered, which may be
// subscribed to from any thread.
#pragma once

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "host/react_application.h"
#include "host/react_instance.h"
#include "host/react_module.h"
#include "platform/event.h"

namespace tessarel {

// Read from the command line only (see README.md); everything else about the
// host is fixed.
struct DevelopmentOverrides {
  std::filesystem::path bundleFile;      // --bundle FILE: run this file instead
  bool console = false;                  // --console: page console to stdout
  std::filesystem::path screenshotFile;  // --screenshot FILE: PNG once drawn
};

class ReactNativeHost {
 public:
  ReactNativeHost() = default;
  ReactNativeHost(const ReactNativeHost&) = delete;
  ReactNativeHost& operator=(const ReactNativeHost&) = delete;

  ReactInstanceSettings& InstanceSettings() noexcept { return settings_; }
  std::vector<std::shared_ptr<IReactPackageProvider>>& PackageProviders() noexcept {
    return providers_;
  }
  DevelopmentOverrides& Overrides() noexcept { return overrides_; }
  const DevelopmentOverrides& Overrides() const noexcept { return overrides_; }

  // The bundle file to run: the --bundle override, else the package's
  // share/tessarel/Bundle/<JavaScriptBundleFile>.bundle. Throws
  // hresult_error when there is neither an override nor a package.
  std::filesystem::path BundleFile() const;

  // Makes a new instance from the providers, releasing the current one (and
  // with it the modules it made). Events go to the main view's dispatcher,
  // or to the calling thread's when none is set.
  std::shared_ptr<ReactInstance> ReloadInstance();
  const std::shared_ptr<ReactInstance>& Instance() const noexcept { return instance_; }

  // Raised on the UI thread each time a root view of this host has drawn the
  // bundle's first frame after a load.
  Event<> ContentRendered;

 private:
  ReactInstanceSettings settings_;
  std::vector<std::shared_ptr<IReactPackageProvider>> providers_;
  DevelopmentOverrides overrides_;
  std::shared_ptr<ReactInstance> instance_;
};

}  // namespace tessarel
