// The device module's side of the companion's notifications: it subscribes to
// every channel the application receives and turns each "type" message into
// a script event, then answers it with an empty ValueSet.
//
// The handlers hold the module weakly: a module destroyed with its script
// instance (a reload) is never called again. Its ServiceConnected handler
// then fails as a script context that can no longer run, which makes the
// application drop it; its handlers on the channels still answer, so the
// companion's sends always complete.
#include <optional>
#include <string>

#include "app/app.h"
#include "modules/tessarel_js.h"

namespace tessarel {
namespace {

// The string under `key`, or "" when it is absent or not a string.
std::string TextOrEmpty(const ValueSet& message, std::string_view key) {
  return UnboxOr<std::string>(TolerantLookup(message, key), std::string());
}

void AnswerEmpty(const AppServiceRequest& request) {
  try {
    request.SendResponseAsync(ValueSet{});
  } catch (const hresult_error&) {
    // The companion has gone; nobody is waiting for this answer.
  }
}

}  // namespace

void TessarelJs::SubscribeToCompanion() {
  App* app = App::Current();
  if (app == nullptr) return;  // no application object: nothing to subscribe to
  // The token is not kept: the module never unsubscribes.
  app->ServiceConnected.Add([weak = weak_from_this()](const App& sender) {
    const std::shared_ptr<TessarelJs> module = weak.lock();
    if (!module) throw hresult_error(error_codes::kScriptContextGone);
    module->OnCompanionConnected(sender);
  });
  if (std::optional<AppServiceConnection> connection = app->GetConnectionForSubscriber()) {
    AttachToConnection(*connection);
  }
}

void TessarelJs::OnCompanionConnected(const App&) {
  App* app = App::Current();
  if (app == nullptr) return;
  if (std::optional<AppServiceConnection> connection = app->GetConnectionForSubscriber()) {
    AttachToConnection(*connection);
  }
}

void TessarelJs::AttachToConnection(const AppServiceConnection& connection) {
  connection.RequestReceived(
      [weak = weak_from_this()](const AppServiceConnection& sender,
                                const AppServiceRequestReceivedEventArgs& args) {
        if (const std::shared_ptr<TessarelJs> module = weak.lock()) {
          module->OnCompanionMessage(sender, args);
        } else {
          AnswerEmpty(args.Request);
        }
      });
  // A script that starts after the companion has connected fetches the
  // keyboards at once.
  keyboardsUpdated();
}

void TessarelJs::OnCompanionMessage(const AppServiceConnection&,
                                    const AppServiceRequestReceivedEventArgs& args) {
  const ValueSet& message = args.Request.Message();
  // A missing type and a type that is not a string both read as "", which
  // matches none of the six.
  const std::string type = TextOrEmpty(message, "type");
  if (type == "keyboardsUpdated") {
    keyboardsUpdated();
  } else if (type == "isFlashingUpdated") {
    isFlashingUpdated();
  } else if (type == "resetFirmwareStateUpdated") {
    resetFirmwareStateUpdated();
  } else if (type == "recoverDeviceStateUpdated") {
    recoverDeviceStateUpdated();
  } else if (type == "flashingStateUpdated") {
    flashingStateUpdated();
  } else if (type == "keyboardVersionNewer") {
    keyboardVersionNewer(TextOrEmpty(message, "name"));
  }
  AnswerEmpty(args.Request);
}

}  // namespace tessarel
