// The one round trip that every device method of TessarelJs makes with the
// companion: take the channel from App, build the request ("method" first,
// then the method's own arguments in order), send it once, wait without
// blocking, and settle the script's promise from the reply.
//
//   IAsyncAction TessarelJs::recoverDevice(JSValue model, ReactPromise<JSValue> promise) {
//     return SendDeviceRequest(shared_from_this(), std::move(promise), kRecoverDevice,
//                              {{"model", TextArgument(model)}});
//   }
//
// A DeviceRequest describes what differs between methods: the name, whether
// a failed response status rejects (queries) or is never looked at
// (commands), which reply key is read, how the reply settles the promise and
// the prefix put before a platform error's text. Rejection texts are joined
// to the error text with nothing between; each prefix carries its own
// separator, or none.
//
// Only platform errors (hresult_error) are caught, in one handler around the
// whole exchange; any other error ends the run, and the promise, released
// with the run, rejects with "Promise destroyed.".
//
// Thread-safety: SendDeviceRequest may be called on any thread. It captures
// that thread's context before it suspends on the send and resumes and
// settles there; the promise is settled exactly once on every path.
#pragma once

#include <memory>
#include <optional>
#include <string_view>
#include <vector>

#include "platform/app_service.h"
#include "platform/async.h"
#include "platform/value_set.h"
#include "values/js_value.h"
#include "values/react_promise.h"

namespace tessarel {

// Settles a promise from the reply's value under DeviceRequest::replyKey
// (nullopt when the key is absent or no key is read). May throw
// hresult_error, which the exchange turns into the method's rejection.
using ReplyHandler = void (*)(const std::optional<PropertyValue>& replyValue,
                              const ReactPromise<JSValue>& promise);

struct DeviceRequest {
  std::string_view method;
  // Queries reject with this text when the response status is not Success.
  // Empty for commands, which never read the status.
  std::string_view failedStatusText;
  // The reply entry handed to `settle`; empty when the reply is not read.
  std::string_view replyKey;
  ReplyHandler settle;
  // Put before a platform error's text in the rejection.
  std::string_view errorPrefix;
};

struct RequestArgument {
  std::string_view key;
  PropertyValue value;
};

// Runs the exchange. `module` is held for the whole run so that the module
// outlives its calls.
IAsyncAction SendDeviceRequest(std::shared_ptr<const void> module, ReactPromise<JSValue> promise,
                               DeviceRequest request, std::vector<RequestArgument> arguments);

// The reply half of the exchange: status check, tolerant lookup of the reply
// key, settlement; a platform error on the way rejects with the prefix.
void SettleFromResponse(const DeviceRequest& request, const AppServiceResponse& response,
                        const ReactPromise<JSValue>& promise);

// The one rejection for a platform error: the request's prefix joined to the
// error's message text with nothing between.
void RejectWithPlatformError(const DeviceRequest& request, const hresult_error& error,
                             const ReactPromise<JSValue>& promise);

// Argument encodings.
// Text arguments: the value's AsString text, boxed as a string.
PropertyValue TextArgument(const JSValue& value);
// Numbers: AsInt64 cut to its low 32 bits, boxed as Int32. No range check;
// the companion validates.
PropertyValue Int32Argument(const JSValue& value);
// Switches: AsBoolean sent as the string "true" or "false".
PropertyValue SwitchArgument(const JSValue& value);

// Reply handlers shared by the methods.
void ResolveKeyboards(const std::optional<PropertyValue>& keyboards,
                      const ReactPromise<JSValue>& promise);
void ResolveBooleanResult(const std::optional<PropertyValue>& result,
                          const ReactPromise<JSValue>& promise);
void ResolveUInt32Result(const std::optional<PropertyValue>& result,
                         const ReactPromise<JSValue>& promise);
void ResolveFirmwareVersion(const std::optional<PropertyValue>& result,
                            const ReactPromise<JSValue>& promise);
void ResolveStringResult(const std::optional<PropertyValue>& result,
                         const ReactPromise<JSValue>& promise);
void ResolveNull(const std::optional<PropertyValue>& unread, const ReactPromise<JSValue>& promise);

}  // namespace tessarel
