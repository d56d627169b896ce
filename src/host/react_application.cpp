#include "host/react_application.h"

#include <atomic>
#include <stdexcept>

namespace tessarel {

// Placeholder until the script host is built: holds the settings, shows nothing.
struct ReactApplication::Impl {
  std::atomic<bool> exitRequested{false};
  ReactInstanceSettings settings;
  std::vector<std::shared_ptr<IReactPackageProvider>> providers;
};

ReactApplication::ReactApplication() : impl_(std::make_unique<Impl>()) {}
ReactApplication::~ReactApplication() = default;
ReactInstanceSettings& ReactApplication::InstanceSettings() noexcept { return impl_->settings; }
const std::string& ReactApplication::JavaScriptBundleFile() const noexcept {
  return impl_->settings.JavaScriptBundleFile;
}
void ReactApplication::JavaScriptBundleFile(std::string bundle) {
  impl_->settings.JavaScriptBundleFile = std::move(bundle);
}
std::vector<std::shared_ptr<IReactPackageProvider>>& ReactApplication::PackageProviders() noexcept {
  return impl_->providers;
}
ReactNativeHost& ReactApplication::Host() { throw std::logic_error("no script host yet"); }
int ReactApplication::Run(int, char**) { return 1; }
void ReactApplication::Exit() { impl_->exitRequested = true; }
bool ReactApplication::ExitRequested() const noexcept { return impl_->exitRequested; }
void ReactApplication::OnLaunched(const LaunchActivatedEventArgs&) {}
void ReactApplication::OnActivated(const IActivatedEventArgs&) {}
void ReactApplication::OnBackgroundActivated(const BackgroundActivatedEventArgs&) {}
bool ReactApplication::WindowHasContent() const noexcept { return false; }

}  // namespace tessarel
