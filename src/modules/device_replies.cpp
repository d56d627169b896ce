// The reply half of the device request exchange, the argument encodings and
// the reply handlers. Kept apart from the exchange itself so that it can be
// exercised without an application or a channel (the reply fuzzer does).
#include <string>
#include <utility>

#include "model/keyboard_model.h"
#include "modules/request_exchange.h"

namespace tessarel {
namespace {

void ReadResponse(const DeviceRequest& request, const AppServiceResponse& response,
                  const ReactPromise<JSValue>& promise) {
  if (!request.failedStatusText.empty() && response.Status != AppServiceResponseStatus::Success) {
    promise.Reject(request.failedStatusText);
    return;
  }
  std::optional<PropertyValue> replyValue;
  if (!request.replyKey.empty()) replyValue = TolerantLookup(response.Message, request.replyKey);
  request.settle(replyValue, promise);
}

}  // namespace

void RejectWithPlatformError(const DeviceRequest& request, const hresult_error& error,
                             const ReactPromise<JSValue>& promise) {
  // Nothing between prefix and text: each prefix carries its own separator.
  std::string message(request.errorPrefix);
  message += error.message();
  promise.Reject(message);
}

void SettleFromResponse(const DeviceRequest& request, const AppServiceResponse& response,
                        const ReactPromise<JSValue>& promise) {
  try {
    ReadResponse(request, response, promise);
  } catch (const hresult_error& error) {
    RejectWithPlatformError(request, error, promise);
  }
}

PropertyValue TextArgument(const JSValue& value) {
  return PropertyValue::CreateString(value.AsString());
}

PropertyValue Int32Argument(const JSValue& value) {
  // The low 32 bits, whatever the sign or size: 4294967297 goes as 1.
  return PropertyValue::CreateInt32(static_cast<std::int32_t>(value.AsInt64()));
}

PropertyValue SwitchArgument(const JSValue& value) {
  // A string on purpose, not a boxed boolean: that is what the companion reads.
  return PropertyValue::CreateString(value.AsBoolean() ? "true" : "false");
}

void ResolveKeyboards(const std::optional<PropertyValue>& keyboards,
                      const ReactPromise<JSValue>& promise) {
  const ValueSet* list = keyboards ? keyboards->TryValueSet() : nullptr;
  if (list == nullptr) {
    promise.Reject("Bad response. Failed to deserialize keyboards");
    return;
  }
  promise.Resolve(ConvertKeyboards(*list));
}

void ResolveBooleanResult(const std::optional<PropertyValue>& result,
                          const ReactPromise<JSValue>& promise) {
  promise.Resolve(JSValue(UnboxOr<bool>(result, false)));
}

void ResolveUInt32Result(const std::optional<PropertyValue>& result,
                         const ReactPromise<JSValue>& promise) {
  promise.Resolve(JSValue(UnboxOr<std::uint32_t>(result, 0)));
}

void ResolveFirmwareVersion(const std::optional<PropertyValue>& result,
                            const ReactPromise<JSValue>& promise) {
  // Without a result the script is told so, and the strict unbox below still
  // runs and fails; its rejection then has no effect, as the promise has
  // settled. The script sees only this text.
  if (!result) promise.Reject("Failed to get firmware version");
  promise.Resolve(JSValue(Unbox<std::uint32_t>(result)));
}

void ResolveStringResult(const std::optional<PropertyValue>& result,
                         const ReactPromise<JSValue>& promise) {
  // An absent result and an empty one look the same to the script.
  promise.Resolve(JSValue(UnboxOr<std::string>(result, std::string())));
}

void ResolveNull(const std::optional<PropertyValue>&, const ReactPromise<JSValue>& promise) {
  promise.Resolve(JSValue());
}

}  // namespace tessarel
