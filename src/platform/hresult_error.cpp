#include "platform/hresult_error.h"

namespace tessarel {

std::string_view SystemMessageForCode(hresult code) noexcept {
  using namespace error_codes;
  switch (code) {
    case kNoInterface: return "No such interface supported";
    case kFail: return "Unspecified error";
    case kBounds: return "The operation attempted to access data outside the valid range";
    case kFileNotFound: return "The system cannot find the file specified.";
    case kDisconnected: return "The object invoked has disconnected from its clients.";
    case kRpcServerUnavailable: return "The RPC server is unavailable.";
    case kCanceled: return "The operation was canceled by the user.";
    case kClassNotRegistered: return "Class not registered";
    case kScriptContextGone: return "The script context can no longer run.";
    case kInvalidArgument: return "The parameter is incorrect.";
    case kAccessDenied: return "Access is denied.";
    case kOutOfMemory: return "Not enough memory resources are available to complete this operation.";
    default: return {};
  }
}

std::string TrimTrailingWhiteSpace(std::string_view text) {
  const auto end = text.find_last_not_of(" \t\r\n\f\v");
  return std::string(end == std::string_view::npos ? std::string_view{} : text.substr(0, end + 1));
}

hresult_error::hresult_error(hresult code)
    : code_(code), message_(TrimTrailingWhiteSpace(SystemMessageForCode(code))) {}

hresult_error::hresult_error(hresult code, std::string_view description)
    : code_(code),
      message_(TrimTrailingWhiteSpace(description.empty() ? SystemMessageForCode(code)
                                                          : description)) {}

}  // namespace tessarel
