// ValueSet on the wire: the D-Bus type a{sv}.
//
//   WriteValueSet(call, request);            // appends one a{sv}
//   ValueSet reply = ReadValueSet(message);  // reads the a{sv} at the cursor
//
// Each boxed type has one D-Bus type and comes back as the same boxed type:
//   String s, Boolean b, Int32 i, UInt8 y, UInt32 u, UInt64 t, ValueSet a{sv}.
// Keys and entries keep their order. A variant of any other type, a message
// nested deeper than kMaxValueSetDepth, or a string that D-Bus cannot carry
// (an embedded NUL, invalid UTF-8) is an hresult_error(kInvalidArgument) with
// a description; it never crashes. After a failed write the message is
// half-built and must not be sent.
//
// Thread-safety: the message belongs to the calling thread (the link thread).
#pragma once

#include <systemd/sd-bus.h>

#include "platform/value_set.h"

namespace tessarel::link {

// How many ValueSet levels a message may hold, the outermost counting as one.
// Each level costs three D-Bus containers (array, dict entry, variant); 16
// levels stay well inside the 64 that every D-Bus implementation accepts, and
// the keyboard model needs nine.
inline constexpr int kMaxValueSetDepth = 16;

inline constexpr char kValueSetSignature[] = "a{sv}";

void WriteValueSet(sd_bus_message* message, const ValueSet& set);
ValueSet ReadValueSet(sd_bus_message* message);

}  // namespace tessarel::link
