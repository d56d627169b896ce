#include "app/app.h"

namespace tessarel {

// The companion link is not built yet: no channel ever arrives.
std::optional<AppServiceConnection> App::GetServiceConnection(const ReactPromise<JSValue>& promise) {
  promise.Reject("Service connection isn't running yet");
  return std::nullopt;
}
std::optional<AppServiceConnection> App::GetConnectionForSubscriber() { return std::nullopt; }
void App::OnBackgroundActivated(const BackgroundActivatedEventArgs&) {}
void App::OnRequestReceived(const AppServiceConnection&, const AppServiceRequestReceivedEventArgs&) {}
void App::RaiseServiceConnected() {}
void App::LaunchCompanion() {}
void App::StartLink() {}

}  // namespace tessarel
