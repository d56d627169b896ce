#include "host/react_native_host.h"

#include "platform/dispatcher.h"
#include "platform/package.h"

namespace tessarel {

std::filesystem::path ReactNativeHost::BundleFile() const {
  if (!overrides_.bundleFile.empty()) return overrides_.bundleFile;
  return Package::Current().BundleDirectory() / (settings_.JavaScriptBundleFile + ".bundle");
}

std::shared_ptr<ReactInstance> ReactNativeHost::ReloadInstance() {
  std::shared_ptr<Dispatcher> ui = CoreApplication::MainViewDispatcher();
  if (!ui) ui = CapturedContext::Current().Get();
  // The old instance's modules go before the new ones are made, as a reload
  // of the script host destroys the old modules and then creates new ones.
  instance_.reset();
  instance_ = ReactInstance::Create(providers_, std::move(ui));
  return instance_;
}

}  // namespace tessarel
