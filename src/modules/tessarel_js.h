// The device module: the script's way to the keyboards. Every device method
// is a promise method whose body makes one request to the companion; the
// module keeps no device state and no connection of its own (the connection
// is fetched from App per call).
//
// Method bodies are coroutines: each starts on the script host's native-call
// thread, suspends on the send without blocking it, resumes in the context
// captured before the wait and settles its promise there. A body holds a
// strong reference to the module for its whole run.
//
// Thread-safety: the event senders may be called from any thread once the
// host has run the event initializers.
#pragma once

#include <functional>
#include <memory>
#include <string>

#include "platform/app_service.h"
#include "platform/async.h"
#include "values/js_value.h"
#include "values/react_promise.h"

namespace tessarel {

class App;

class TessarelJs : public std::enable_shared_from_this<TessarelJs> {
 public:
  // Event senders, set by the host's event initializers.
  std::function<void()> keyboardsUpdated;
  std::function<void(const std::string&)> keyboardVersionNewer;
  std::function<void()> isFlashingUpdated;
  std::function<void()> resetFirmwareStateUpdated;
  std::function<void()> recoverDeviceStateUpdated;
  std::function<void()> flashingStateUpdated;

  // The module initializer: subscribe to the companion's channels.
  void SubscribeToCompanion();

  // Device queries.
  IAsyncAction keyboards(ReactPromise<JSValue> promise);
  IAsyncAction isFlashing(ReactPromise<JSValue> promise);
  IAsyncAction resetFirmwareState(ReactPromise<JSValue> promise);
  IAsyncAction recoverDeviceState(ReactPromise<JSValue> promise);
  IAsyncAction flashingState(ReactPromise<JSValue> promise);

  // A registered placeholder: never settles, so the binding's release of the
  // last promise copy rejects it with "Promise destroyed.".
  void sendDebugCommand(JSValue command, ReactPromise<JSValue> promise);

  // Lighting and key simulation.
  IAsyncAction simulateKeyPress(JSValue keyboardId, JSValue executablePath, JSValue layer,
                                JSValue x, JSValue y, ReactPromise<JSValue> promise);
  IAsyncAction setLedActiveColor(JSValue keyboardId, JSValue layerType, JSValue x, JSValue y,
                                 JSValue r, JSValue g, JSValue b, ReactPromise<JSValue> promise);
  IAsyncAction setLed(JSValue keyboardId, JSValue x, JSValue y, JSValue r, JSValue g, JSValue b,
                      JSValue animationType, JSValue animationData,
                      ReactPromise<JSValue> promise);

  // Launch at sign-in.
  IAsyncAction isLaunchAtStartUpEnabled(ReactPromise<JSValue> promise);
  IAsyncAction setIsLaunchAtStartUpEnabled(JSValue enabled, ReactPromise<JSValue> promise);

  // Firmware commands.
  IAsyncAction updateDevice(JSValue keyboardId, JSValue config, ReactPromise<JSValue> promise);
  IAsyncAction resetFirmware(JSValue keyboardId, JSValue model, ReactPromise<JSValue> promise);
  IAsyncAction recoverDevice(JSValue model, ReactPromise<JSValue> promise);
  IAsyncAction firmwareVersion(JSValue keyboardId, ReactPromise<JSValue> promise);
  IAsyncAction resetToBootloader(JSValue keyboardId, ReactPromise<JSValue> promise);
  IAsyncAction selectFile(ReactPromise<JSValue> promise);
  IAsyncAction setCancelUpdate(JSValue cancel, ReactPromise<JSValue> promise);

 private:
  void OnCompanionConnected(const App& sender);
  void OnCompanionMessage(const AppServiceConnection& sender,
                          const AppServiceRequestReceivedEventArgs& args);
  void AttachToConnection(const AppServiceConnection& connection);
};

}  // namespace tessarel
