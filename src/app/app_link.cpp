// The application's side of the companion link: starting the listener and
// the companion, taking each accepted channel, handing out copies of it, and
// obeying "exit".
//
// Locks: connectionMutex guards serviceConnection and requestReceivedToken
// only; ServiceConnected has its own lock inside Event. They are never held
// together, and neither is held while a handler runs or a message is sent:
// readers copy the channel under the lock and use the copy afterwards.
#include <optional>
#include <string>
#include <utility>

#include "app/app.h"
#include "link/app_service_listener.h"
#include "link/companion_launcher.h"
#include "platform/package.h"

namespace tessarel {
namespace {

constexpr char kDefaultSocketName[] = "tessarel/app-service";

// A handler that fails with one of these is gone for good (its object has
// disconnected, its server is unavailable, its script context can no longer
// run) and is removed from ServiceConnected; any other failure is its own
// affair.
bool MeansHandlerIsGone(hresult code) {
  return code == error_codes::kDisconnected || code == error_codes::kRpcServerUnavailable ||
         code == error_codes::kScriptContextGone;
}

// The companion to start, looked up once per process: the environment and
// the package do not change while the app runs.
const std::optional<std::filesystem::path>& CompanionExecutable() {
  static const std::optional<std::filesystem::path> executable = link::ResolveCompanionExecutable();
  return executable;
}

}  // namespace

std::optional<AppServiceConnection> App::GetServiceConnection(
    const ReactPromise<JSValue>& promise) {
  std::optional<AppServiceConnection> connection = GetConnectionForSubscriber();
  if (!connection) promise.Reject("Service connection isn't running yet");
  return connection;
}

std::optional<AppServiceConnection> App::GetConnectionForSubscriber() {
  std::lock_guard lock(connectionMutex);
  return serviceConnection;
}

void App::OnBackgroundActivated(const BackgroundActivatedEventArgs& args) {
  {
    std::lock_guard lock(connectionMutex);
    const std::shared_ptr<IBackgroundTaskInstance>& taskInstance = args.TaskInstance;
    if (!taskInstance) throw hresult_error(error_codes::kInvalidArgument);
    // The deferral is never completed: the activation, and with it the
    // channel, stays open for as long as the app runs. Replacing it releases
    // the older one without completing it.
    backgroundDeferral = taskInstance->GetDeferral();
    const std::shared_ptr<const AppServiceTriggerDetails> details = taskInstance->TriggerDetails();
    if (!details) throw hresult_error(error_codes::kNoInterface);  // not an app-service activation
    if (serviceConnection && requestReceivedToken) {
      serviceConnection->RequestReceived(requestReceivedToken);
      // Tokens are numbered per channel: a stale one could name another
      // handler on the new channel if the registration below failed.
      requestReceivedToken = event_token{};
    }
    serviceConnection = details->Connection;
    requestReceivedToken = serviceConnection->RequestReceived(
        [this](const AppServiceConnection& sender,
               const AppServiceRequestReceivedEventArgs& received) {
          OnRequestReceived(sender, received);
        });
  }
  RaiseServiceConnected();
}

void App::RaiseServiceConnected() {
  for (const auto& [token, handler] : ServiceConnected.Snapshot()) {
    try {
      handler(*this);
    } catch (const hresult_error& error) {
      if (MeansHandlerIsGone(error.code())) ServiceConnected.Remove(token);
    } catch (...) {
      // Ignored: the remaining handlers still run.
    }
  }
}

void App::OnRequestReceived(const AppServiceConnection&,
                            const AppServiceRequestReceivedEventArgs& args) {
  // Only "exit" concerns the application; the device module answers every
  // notification, so this handler sends no response.
  const std::optional<PropertyValue> type = TolerantLookup(args.Request.Message(), "type");
  const std::string* text = type ? type->TryString() : nullptr;
  if (text != nullptr && *text == "exit") Exit();
}

void App::StartLink() {
  if (listener_) return;
  std::string socketName = kDefaultSocketName;
  try {
    if (const std::string& declared = Package::Current().AppServiceSocketName(); !declared.empty())
      socketName = declared;
  } catch (const hresult_error&) {
    // Without a package manifest the app listens under the default name.
  }
  listener_ = std::make_unique<AppServiceListener>(
      AppServiceListener::SocketPathFor(socketName),
      [this](const BackgroundActivatedEventArgs& args) { OnBackgroundActivated(args); });
}

App::LinkShutdown::~LinkShutdown() {
  app->listener_.reset();
}

void App::LaunchCompanion() {
  // Neither awaited nor observed: a companion that fails to start leaves the
  // app without a channel, and every device request says so.
  if (const auto& executable = CompanionExecutable()) link::LaunchDetached(*executable);
}

}  // namespace tessarel
