// The device queries: no arguments, one reply value, and a failed response
// status rejects with the query's own text.
#include "modules/device_requests.h"
#include "modules/tessarel_js.h"

namespace tessarel {

IAsyncAction TessarelJs::keyboards(ReactPromise<JSValue> promise) {
  return SendDeviceRequest(shared_from_this(), std::move(promise), kKeyboardsRequest, {});
}

IAsyncAction TessarelJs::isFlashing(ReactPromise<JSValue> promise) {
  return SendDeviceRequest(shared_from_this(), std::move(promise), kIsFlashingRequest, {});
}

// The three state queries differ only in name: each long-running device
// operation reports its state as a number that only the script interprets.
IAsyncAction TessarelJs::resetFirmwareState(ReactPromise<JSValue> promise) {
  return SendDeviceRequest(shared_from_this(), std::move(promise), kResetFirmwareStateRequest, {});
}

IAsyncAction TessarelJs::recoverDeviceState(ReactPromise<JSValue> promise) {
  return SendDeviceRequest(shared_from_this(), std::move(promise), kRecoverDeviceStateRequest, {});
}

IAsyncAction TessarelJs::flashingState(ReactPromise<JSValue> promise) {
  return SendDeviceRequest(shared_from_this(), std::move(promise), kFlashingStateRequest, {});
}

}  // namespace tessarel
