// The firmware commands. Every argument goes to the companion as text (the
// host treats keyboard ids, models and configurations as opaque), and the
// response status is never read: the companion's "result" says it all.
#include "modules/device_requests.h"
#include "modules/tessarel_js.h"

namespace tessarel {

IAsyncAction TessarelJs::updateDevice(JSValue keyboardId, JSValue config,
                                      ReactPromise<JSValue> promise) {
  return SendDeviceRequest(
      shared_from_this(), std::move(promise), kUpdateDeviceRequest,
      {{"keyboardId", TextArgument(keyboardId)}, {"config", TextArgument(config)}});
}

IAsyncAction TessarelJs::resetFirmware(JSValue keyboardId, JSValue model,
                                       ReactPromise<JSValue> promise) {
  return SendDeviceRequest(
      shared_from_this(), std::move(promise), kResetFirmwareRequest,
      {{"keyboardId", TextArgument(keyboardId)}, {"model", TextArgument(model)}});
}

IAsyncAction TessarelJs::recoverDevice(JSValue model, ReactPromise<JSValue> promise) {
  return SendDeviceRequest(shared_from_this(), std::move(promise), kRecoverDeviceRequest,
                           {{"model", TextArgument(model)}});
}

IAsyncAction TessarelJs::firmwareVersion(JSValue keyboardId, ReactPromise<JSValue> promise) {
  return SendDeviceRequest(shared_from_this(), std::move(promise), kFirmwareVersionRequest,
                           {{"keyboardId", TextArgument(keyboardId)}});
}

IAsyncAction TessarelJs::resetToBootloader(JSValue keyboardId, ReactPromise<JSValue> promise) {
  return SendDeviceRequest(shared_from_this(), std::move(promise), kResetToBootloaderRequest,
                           {{"keyboardId", TextArgument(keyboardId)}});
}

IAsyncAction TessarelJs::selectFile(ReactPromise<JSValue> promise) {
  return SendDeviceRequest(shared_from_this(), std::move(promise), kSelectFileRequest, {});
}

// Resolves once the companion has taken the request; the update's end comes
// later, as the companion's notifications.
IAsyncAction TessarelJs::setCancelUpdate(JSValue cancel, ReactPromise<JSValue> promise) {
  return SendDeviceRequest(shared_from_this(), std::move(promise), kSetCancelUpdateRequest,
                           {{"cancel", SwitchArgument(cancel)}});
}

}  // namespace tessarel
