#include <cerrno>
#include <cstring>
#include <string>

#include "link/bus_ptr.h"

namespace tessarel::link {

hresult_error BusError(int negativeErrno, std::string_view what) {
  const int error = -negativeErrno;
  switch (error) {
    case ENOTCONN:
    case ECONNRESET:
    case ECONNREFUSED:
    case ECONNABORTED:
    case EPIPE:
    case ESHUTDOWN:
      return DisconnectedError();
    case ENOMEM:
    case ENOBUFS:
      return hresult_error(error_codes::kOutOfMemory);
    default:
      break;
  }
  std::string description(what);
  description += ": ";
  char buffer[128];
  // The GNU strerror_r, which returns the text (maybe not in `buffer`).
  description += strerror_r(error, buffer, sizeof buffer);
  return hresult_error(error == EINVAL ? error_codes::kInvalidArgument : error_codes::kFail,
                       description);
}

hresult_error DisconnectedError() {
  return hresult_error(error_codes::kDisconnected);
}

}  // namespace tessarel::link
