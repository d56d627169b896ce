#include "app/app.h"

#include "link/app_service_listener.h"

namespace tessarel {
namespace {
App* currentApp = nullptr;  // Application.Current; set for the App's life.
}  // namespace

App::App() { currentApp = this; }
App::~App() { currentApp = nullptr; }

App* App::Current() noexcept { return currentApp; }

void App::OnLaunched(const LaunchActivatedEventArgs& args) { ReactApplication::OnLaunched(args); }
void App::OnActivated(const IActivatedEventArgs& args) { ReactApplication::OnActivated(args); }

}  // namespace tessarel
