// Lighting and key simulation: the arguments are forwarded as they come
// (numbers cut to 32 bits, no clamping; the companion validates) and the
// reply is not read: only a platform error makes these fail.
#include "modules/device_requests.h"
#include "modules/tessarel_js.h"

namespace tessarel {

IAsyncAction TessarelJs::simulateKeyPress(JSValue keyboardId, JSValue executablePath, JSValue layer,
                                          JSValue x, JSValue y, ReactPromise<JSValue> promise) {
  return SendDeviceRequest(shared_from_this(), std::move(promise), kSimulateKeyPressRequest,
                           {{"keyboardId", TextArgument(keyboardId)},
                            {"executablePath", TextArgument(executablePath)},
                            {"layer", Int32Argument(layer)},
                            {"x", Int32Argument(x)},
                            {"y", Int32Argument(y)}});
}

IAsyncAction TessarelJs::setLedActiveColor(JSValue keyboardId, JSValue layerType, JSValue x,
                                           JSValue y, JSValue r, JSValue g, JSValue b,
                                           ReactPromise<JSValue> promise) {
  return SendDeviceRequest(shared_from_this(), std::move(promise), kSetLedActiveColorRequest,
                           {{"keyboardId", TextArgument(keyboardId)},
                            {"layerType", Int32Argument(layerType)},
                            {"x", Int32Argument(x)},
                            {"y", Int32Argument(y)},
                            {"r", Int32Argument(r)},
                            {"g", Int32Argument(g)},
                            {"b", Int32Argument(b)}});
}

IAsyncAction TessarelJs::setLed(JSValue keyboardId, JSValue x, JSValue y, JSValue r, JSValue g,
                                JSValue b, JSValue animationType, JSValue animationData,
                                ReactPromise<JSValue> promise) {
  return SendDeviceRequest(shared_from_this(), std::move(promise), kSetLedRequest,
                           {{"keyboardId", TextArgument(keyboardId)},
                            {"x", Int32Argument(x)},
                            {"y", Int32Argument(y)},
                            {"r", Int32Argument(r)},
                            {"g", Int32Argument(g)},
                            {"b", Int32Argument(b)},
                            {"animationType", Int32Argument(animationType)},
                            {"animationData", Int32Argument(animationData)}});
}

}  // namespace tessarel
