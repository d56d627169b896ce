// Fuzz target: arbitrary companion messages through the keyboard model
// conversion and through every device method's reply handling.
//
// Checked beyond the sanitizers: a conversion either returns an array or
// fails with a platform error (never anything else), and every reply settles
// its promise exactly once by itself, never leaving it to be dropped.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>

#include "fuzz/value_set_bytes.h"
#include "model/keyboard_model.h"
#include "modules/device_requests.h"
#include "tests/support/discarding_writer.h"
#include "values/react_promise.h"

namespace tessarel::fuzzing {
namespace {

void CheckConversion(const ValueSet& message) {
  try {
    const JSValue keyboards = ConvertKeyboards(message);
    if (keyboards.Type() != JSValueType::Array) std::abort();
    testing::DiscardingWriter writer;
    WriteValue(writer, keyboards);
  } catch (const hresult_error&) {
    // A malformed model is a clean platform error.
  }
}

void CheckReplies(const ValueSet& message, std::uint8_t statusByte) {
  const AppServiceResponse response{static_cast<AppServiceResponseStatus>(statusByte % 6), message};
  for (const DeviceRequest& request : kDeviceRequests) {
    int settleCount = 0;
    bool settledByReply = false;
    {
      auto writer = std::make_shared<testing::DiscardingWriter>();
      auto count = [&settleCount](IJSValueWriter&) { ++settleCount; };
      const ReactPromise<JSValue> promise(writer, count, count);
      SettleFromResponse(request, response, promise);
      settledByReply = settleCount == 1;
    }
    // Dropping the promise must not produce a second answer either.
    if (!settledByReply || settleCount != 1) std::abort();
  }
}

}  // namespace
}  // namespace tessarel::fuzzing

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace tessarel::fuzzing;
  if (size == 0) return 0;
  ValueSetDecoder decoder(data + 1, size - 1);
  const tessarel::ValueSet message = decoder.DecodeSet();
  CheckConversion(message);
  CheckReplies(message, data[0]);
  return 0;
}
