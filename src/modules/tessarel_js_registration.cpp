// How TessarelJs is made known to the script host: its emitter, its methods
// in table order, its events and its initializer. How a script call reaches a
// method body is in method_binding.h.
#include <memory>
#include <utility>

#include "host/react_module.h"
#include "modules/method_binding.h"
#include "modules/tessarel_js.h"
#include "values/js_value.h"
#include "values/react_promise.h"

namespace tessarel {

// A registered placeholder: the promise is left alone, so the binding's
// release of the last copy rejects it with "Promise destroyed.".
void TessarelJs::sendDebugCommand(JSValue, ReactPromise<JSValue>) {}

namespace {

// noexcept: a registration that fails half-way would leave the script with a
// module that is missing methods or events, so it ends the process instead.
std::shared_ptr<void> ProvideTessarelJs(IReactModuleBuilder& builder) noexcept {
  auto module = std::make_shared<TessarelJs>();
  const std::weak_ptr<TessarelJs> weak = module;
  builder.SetEventEmitterName("RCTDeviceEventEmitter");

  // Noted first, added last: the host runs initializers in the order they
  // were added, so every event sender is set before the module initializer
  // can emit "keyboardsUpdated".
  InitializerDelegate moduleInitializer = [weak](const std::shared_ptr<IReactContext>&) {
    if (std::shared_ptr<TessarelJs> instance = weak.lock()) instance->SubscribeToCompanion();
  };

  const auto addMethod = [&](const char* name, auto method) {
    builder.AddMethod(name, MethodReturnType::Promise, BindPromiseMethod(weak, method));
  };
  addMethod("keyboards", &TessarelJs::keyboards);
  addMethod("sendDebugCommand", &TessarelJs::sendDebugCommand);
  addMethod("simulateKeyPress", &TessarelJs::simulateKeyPress);
  addMethod("isLaunchAtStartUpEnabled", &TessarelJs::isLaunchAtStartUpEnabled);
  addMethod("setIsLaunchAtStartUpEnabled", &TessarelJs::setIsLaunchAtStartUpEnabled);
  addMethod("setLedActiveColor", &TessarelJs::setLedActiveColor);
  addMethod("setLed", &TessarelJs::setLed);
  addMethod("isFlashing", &TessarelJs::isFlashing);
  addMethod("resetFirmwareState", &TessarelJs::resetFirmwareState);
  addMethod("recoverDeviceState", &TessarelJs::recoverDeviceState);
  addMethod("flashingState", &TessarelJs::flashingState);
  addMethod("updateDevice", &TessarelJs::updateDevice);
  addMethod("resetFirmware", &TessarelJs::resetFirmware);
  addMethod("recoverDevice", &TessarelJs::recoverDevice);
  addMethod("firmwareVersion", &TessarelJs::firmwareVersion);
  addMethod("resetToBootloader", &TessarelJs::resetToBootloader);
  addMethod("selectFile", &TessarelJs::selectFile);
  addMethod("setCancelUpdate", &TessarelJs::setCancelUpdate);

  builder.AddInitializer(BindEventSender(weak, &TessarelJs::keyboardsUpdated, "keyboardsUpdated"));
  builder.AddInitializer(
      BindEventSender(weak, &TessarelJs::keyboardVersionNewer, "keyboardVersionNewer"));
  builder.AddInitializer(
      BindEventSender(weak, &TessarelJs::isFlashingUpdated, "isFlashingUpdated"));
  builder.AddInitializer(
      BindEventSender(weak, &TessarelJs::resetFirmwareStateUpdated, "resetFirmwareStateUpdated"));
  builder.AddInitializer(
      BindEventSender(weak, &TessarelJs::recoverDeviceStateUpdated, "recoverDeviceStateUpdated"));
  builder.AddInitializer(
      BindEventSender(weak, &TessarelJs::flashingStateUpdated, "flashingStateUpdated"));

  builder.AddInitializer(std::move(moduleInitializer));
  return module;
}

}  // namespace

const ModuleRegistration TessarelJs_ModuleRegistration("TessarelJs", ProvideTessarelJs);

}  // namespace tessarel
