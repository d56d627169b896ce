#include "app/app.h"

#include "app/main_page.h"
#include "host/class_registry.h"
#include "host/react_package_provider.h"
#include "link/app_service_listener.h"

namespace tessarel {
namespace {

App* currentApp = nullptr;  // Application.Current; set for the App's life.

// The providers of the script host's ecosystem, in the order the host loads
// them; the program's own ReactPackageProvider follows them.
constexpr const char* kPackageProviderClasses[] = {
    "ReactNativeAsyncStorage.ReactPackageProvider", "CheckboxWindows.ReactPackageProvider",
    "ReactNativePicker.ReactPackageProvider",       "RNCConfig.ReactPackageProvider",
    "ReactNativeXaml.ReactPackageProvider",
};

}  // namespace

App::App() : App(ClassRegistry::Default()) {}

App::App(const ClassRegistry& registry) {
  // The bundle shipped in the package; no development server, no debugger,
  // in every build.
  JavaScriptBundleFile("index.windows");
  InstanceSettings().UseWebDebugger = false;
  InstanceSettings().UseFastRefresh = false;
  InstanceSettings().UseDeveloperSupport = false;

  for (const char* className : kPackageProviderClasses) {
    PackageProviders().push_back(registry.ActivateInstance(className));
  }
  PackageProviders().push_back(std::make_shared<ReactPackageProvider>());
  currentApp = this;
}

App::~App() {
  if (currentApp == this) currentApp = nullptr;
}

App* App::Current() noexcept {
  return currentApp;
}

void App::OnLaunched(const LaunchActivatedEventArgs& args) {
  const bool contentBefore = WindowHasContent();
  ReactApplication::OnLaunched(args);
  if (!contentBefore) {
    SetWindowContent(MainPageNew());
    StartLink();
    LaunchCompanion();
  }
}

void App::OnActivated(const IActivatedEventArgs& args) {
  const bool contentBefore = WindowHasContent();
  ReactApplication::OnActivated(args);
  if (!contentBefore) {
    SetWindowContent(MainPageNew());
    StartLink();
    LaunchCompanion();
  }
}

}  // namespace tessarel
