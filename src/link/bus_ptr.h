// Owning handles for the sd-bus and sd-event objects of the link, and the one
// place where a negative errno from them becomes an hresult_error.
//
//   BusMessagePtr call;
//   CheckBus(sd_bus_message_new_method_call(bus, Out(call), ...), "Creating a request");
//
// Thread-safety: sd-bus objects are not thread-safe. Every object held by
// these handles belongs to the link thread (see link_loop.h) and is created,
// used and released there.
#pragma once

#include <systemd/sd-bus.h>
#include <systemd/sd-event.h>

#include <memory>
#include <string_view>

#include "platform/hresult_error.h"

namespace tessarel::link {

template <auto Release>
struct CDeleter {
  void operator()(auto* object) const noexcept { Release(object); }
};

// sd_bus_close_unref rather than the flushing variant: a flush blocks until the
// peer has read everything, and a stuck peer must not stall the link thread.
using BusPtr = std::unique_ptr<sd_bus, CDeleter<sd_bus_close_unref>>;
using BusMessagePtr = std::unique_ptr<sd_bus_message, CDeleter<sd_bus_message_unref>>;
using BusSlotPtr = std::unique_ptr<sd_bus_slot, CDeleter<sd_bus_slot_unref>>;
using EventPtr = std::unique_ptr<sd_event, CDeleter<sd_event_unref>>;
using EventSourcePtr = std::unique_ptr<sd_event_source, CDeleter<sd_event_source_disable_unref>>;

// Lets a C out-parameter fill a handle: sd_bus_new(Out(bus)).
template <class Handle>
class OutParam {
 public:
  explicit OutParam(Handle& handle) : handle_(handle) {}
  ~OutParam() { handle_.reset(raw_); }
  OutParam(const OutParam&) = delete;
  OutParam& operator=(const OutParam&) = delete;
  operator typename Handle::pointer *() noexcept { return &raw_; }

 private:
  Handle& handle_;
  typename Handle::pointer raw_ = nullptr;
};
template <class Handle>
OutParam<Handle> Out(Handle& handle) {
  return OutParam<Handle>(handle);
}

// The platform error for a failed sd-bus or socket call: errors that mean the
// other side has gone become kDisconnected with its system text; the others
// carry `what` and the errno text as their description.
hresult_error BusError(int negativeErrno, std::string_view what);

// Returns `result` when it is not negative, else throws BusError.
inline int CheckBus(int result, std::string_view what) {
  if (result < 0) throw BusError(result, what);
  return result;
}

// The error of a send on a connection that is closed or has died.
hresult_error DisconnectedError();

}  // namespace tessarel::link
