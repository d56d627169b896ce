#include "modules/settings_js.h"

#include <cstdio>
#include <exception>
#include <memory>

#include "host/react_module.h"
#include "modules/method_binding.h"

namespace tessarel {

std::string FormatPackageVersion(const PackageVersion& version) {
  return std::to_string(version.Major) + "." + std::to_string(version.Minor) + "." +
         std::to_string(version.Build) + "." + std::to_string(version.Revision);
}

void SettingsJs::appVersion(ReactPromise<JSValue> promise) noexcept {
  const Package* package = nullptr;
  try {
    package = &Package::Current();
  } catch (const std::exception& error) {
    // Without package identity there is no version to give, and the method
    // has no way to fail: the process ends, as it does where packages are
    // part of the platform. Say why before it does.
    std::fprintf(stderr, "tessarel: SettingsJs.appVersion: no package identity: %s\n",
                 error.what());
    std::fflush(stderr);
    std::terminate();
  }
  promise.Resolve(JSValue(FormatPackageVersion(package->Id().Version)));
}

namespace {

std::shared_ptr<void> ProvideSettingsJs(IReactModuleBuilder& builder) noexcept {
  auto module = std::make_shared<SettingsJs>();
  builder.SetEventEmitterName("RCTDeviceEventEmitter");
  builder.AddMethod("appVersion", MethodReturnType::Promise,
                    BindPromiseMethod(std::weak_ptr<SettingsJs>(module), &SettingsJs::appVersion));
  return module;
}

}  // namespace

const ModuleRegistration SettingsJs_ModuleRegistration("SettingsJs", ProvideSettingsJs);

}  // namespace tessarel
