// Platform failures as the rest of the host sees them: a 32-bit status code
// in the HRESULT style plus a message text.
//
//   throw hresult_error(error_codes::kNoInterface);          // system text
//   throw hresult_error(error_codes::kFail, "Bus closed");   // own description
//
// message() is the recorded description when there is one, else the system
// text for the code (empty for a code we have no text for), in both cases with
// trailing white space removed. Rejections shown to the script use it as is.
//
// Thread-safety: an hresult_error is an immutable value.
#pragma once

#include <cstdint>
#include <exception>
#include <string>
#include <string_view>

namespace tessarel {

using hresult = std::int32_t;

namespace error_codes {
inline constexpr hresult kNoInterface = static_cast<hresult>(0x80004002);
inline constexpr hresult kFail = static_cast<hresult>(0x80004005);
inline constexpr hresult kBounds = static_cast<hresult>(0x8000000B);
inline constexpr hresult kFileNotFound = static_cast<hresult>(0x80070002);
inline constexpr hresult kDisconnected = static_cast<hresult>(0x80010108);
inline constexpr hresult kRpcServerUnavailable = static_cast<hresult>(0x800706BA);
inline constexpr hresult kCanceled = static_cast<hresult>(0x800704C7);
inline constexpr hresult kClassNotRegistered = static_cast<hresult>(0x80040154);
inline constexpr hresult kScriptContextGone = static_cast<hresult>(0x89020001);
inline constexpr hresult kInvalidArgument = static_cast<hresult>(0x80070057);
inline constexpr hresult kAccessDenied = static_cast<hresult>(0x80070005);
inline constexpr hresult kOutOfMemory = static_cast<hresult>(0x8007000E);
}  // namespace error_codes

// The system's text for a code; empty when the code has none.
std::string_view SystemMessageForCode(hresult code) noexcept;

// The text with trailing spaces, tabs, CR and LF removed.
std::string TrimTrailingWhiteSpace(std::string_view text);

class hresult_error : public std::exception {
 public:
  explicit hresult_error(hresult code);
  hresult_error(hresult code, std::string_view description);

  hresult code() const noexcept { return code_; }
  const std::string& message() const noexcept { return message_; }
  const char* what() const noexcept override { return message_.c_str(); }

 private:
  hresult code_;
  std::string message_;
};

// True for the three lookup failures that count as "key absent".
constexpr bool IsNotFoundCode(hresult code) noexcept {
  return code == error_codes::kBounds || code == error_codes::kFail ||
         code == error_codes::kFileNotFound;
}

}  // namespace tessarel
