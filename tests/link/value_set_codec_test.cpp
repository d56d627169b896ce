#include "link/value_set_codec.h"

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <functional>
#include <string>

#include "link/bus_ptr.h"
#include "support/value_set_builders.h"

namespace tessarel::link {
namespace {

using namespace tessarel::testing;

// Messages need a bus that is open; one end of a socket pair in its handshake
// is enough to build, seal and read them back without sending anything.
class MessageBench {
 public:
  MessageBench() {
    int fds[2];
    EXPECT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, fds), 0);
    peer_ = fds[1];
    CheckBus(sd_bus_new(Out(bus_)), "bus");
    CheckBus(sd_bus_set_fd(bus_.get(), fds[0], fds[0]), "fd");
    CheckBus(sd_bus_start(bus_.get()), "start");
  }
  ~MessageBench() { close(peer_); }

  BusMessagePtr NewCall() {
    BusMessagePtr call;
    CheckBus(sd_bus_message_new_method_call(bus_.get(), Out(call), nullptr, "/test",
                                            "io.tessarel.Test", "Message"),
             "call");
    return call;
  }

  // Seals `message` as if sent and moves its cursor back to the start.
  static void ReadyForReading(sd_bus_message* message) {
    CheckBus(sd_bus_message_seal(message, ++cookie_, 0), "seal");
    CheckBus(sd_bus_message_rewind(message, 1), "rewind");
  }

  ValueSet RoundTrip(const ValueSet& set) {
    BusMessagePtr call = NewCall();
    WriteValueSet(call.get(), set);
    ReadyForReading(call.get());
    EXPECT_STREQ(sd_bus_message_get_signature(call.get(), 1), "a{sv}");
    return ReadValueSet(call.get());
  }

 private:
  BusPtr bus_;
  int peer_ = -1;
  static inline std::uint64_t cookie_ = 0;
};

ValueSet NestedTo(int depth) {
  ValueSet set = Set({{"leaf", U8(1)}});
  for (int level = 1; level < depth; ++level) set = Set({{"down", Nested(set)}});
  return set;
}

TEST(ValueSetCodecTest, EveryBoxedTypeComesBackAsItself) {
  struct Row {
    const char* desc;
    ValueSet set;
  };
  const Row rows[] = {
      {"empty", ValueSet{}},
      {"strings", Set({{"empty", Str("")}, {"utf8", Str("Grüße ✓ 鍵盤")}})},
      {"booleans", Set({{"yes", Bool(true)}, {"no", Bool(false)}})},
      {"int32 range", Set({{"min", I32(INT32_MIN)}, {"minus", I32(-1)}, {"max", I32(INT32_MAX)}})},
      {"uint8 is not uint32", Set({{"small", U8(200)}, {"wide", U32(200)}, {"zero", U8(0)}})},
      {"uint32 and uint64 extremes", Set({{"u32", U32(UINT32_MAX)}, {"u64", U64(UINT64_MAX)}})},
      {"nested and empty nested",
       Set({{"inner", Nested(Set({{"x", I32(3)}}))}, {"none", Nested(ValueSet{})}})},
      {"keys in insertion order", Set({{"z", U32(1)}, {"a", U32(2)}, {"m", U32(3)}})},
      {"a keyboard list", KeyboardShape{2, 2, 2, 3}.Build()},
      {"as deep as allowed", NestedTo(kMaxValueSetDepth)},
  };
  MessageBench bench;
  for (const Row& row : rows) {
    SCOPED_TRACE(row.desc);
    // ValueSet equality compares keys in order and boxed types exactly.
    EXPECT_EQ(bench.RoundTrip(row.set), row.set);
  }
}

TEST(ValueSetCodecTest, RefusesToWriteWhatTheWireCannotCarry) {
  struct Row {
    const char* desc;
    ValueSet set;
    const char* message;
  };
  const Row rows[] = {
      {"too deep", NestedTo(kMaxValueSetDepth + 1), "The message is nested too deeply"},
      {"NUL in a value", Set({{"name", Str(std::string("a\0b", 3))}}),
       "The string under key 'name' holds a NUL character"},
      {"NUL in a key", Set({{std::string("k\0", 2), U32(1)}}),
       "The string under key 'k' holds a NUL character"},
      {"invalid UTF-8", Set({{"path", Str("\xff\xfe")}}),
       "The value under key 'path' cannot be encoded"},
  };
  MessageBench bench;
  for (const Row& row : rows) {
    SCOPED_TRACE(row.desc);
    BusMessagePtr call = bench.NewCall();
    try {
      WriteValueSet(call.get(), row.set);
      ADD_FAILURE() << "written";
    } catch (const hresult_error& error) {
      EXPECT_EQ(error.code(), error_codes::kInvalidArgument);
      EXPECT_EQ(error.message(), row.message);
    }
  }
}

// What another implementation might send: each is a clean error.
TEST(ValueSetCodecTest, RejectsForeignTypesWithTheirKeyAndSignature) {
  struct Row {
    const char* desc;
    std::function<int(sd_bus_message*)> append;
    const char* message;
  };
  const Row rows[] = {
      {"a double",
       [](sd_bus_message* m) { return sd_bus_message_append(m, "a{sv}", 1, "x", "d", 1.5); },
       "Unsupported value type 'd' under key 'x'"},
      {"an int16",
       [](sd_bus_message* m) { return sd_bus_message_append(m, "a{sv}", 1, "n", "n", 7); },
       "Unsupported value type 'n' under key 'n'"},
      {"a string array",
       [](sd_bus_message* m) {
         return sd_bus_message_append(m, "a{sv}", 1, "list", "as", 2, "a", "b");
       },
       "Unsupported value type 'as' under key 'list'"},
      {"a map of another value type",
       [](sd_bus_message* m) {
         return sd_bus_message_append(m, "a{sv}", 1, "map", "a{su}", 1, "k", 1u);
       },
       "Unsupported value type 'a{su}' under key 'map'"},
      {"a variant in a variant",
       [](sd_bus_message* m) {
         return sd_bus_message_append(m, "a{sv}", 1, "boxed", "v", "s", "inner");
       },
       "Unsupported value type 'v' under key 'boxed'"},
      {"deep inside a nested set",
       [](sd_bus_message* m) {
         return sd_bus_message_append(m, "a{sv}", 1, "outer", "a{sv}", 1, "inner", "o", "/x");
       },
       "Unsupported value type 'o' under key 'inner'"},
      {"not a map", [](sd_bus_message* m) { return sd_bus_message_append(m, "s", "type"); },
       "The message is not a string-keyed map of values (a{sv})"},
      {"a map of strings",
       [](sd_bus_message* m) { return sd_bus_message_append(m, "a{ss}", 1, "type", "exit"); },
       "The message is not a string-keyed map of values (a{sv})"},
      {"nothing at all", [](sd_bus_message*) { return 0; },
       "The message is not a string-keyed map of values (a{sv})"},
  };
  MessageBench bench;
  for (const Row& row : rows) {
    SCOPED_TRACE(row.desc);
    BusMessagePtr call = bench.NewCall();
    ASSERT_GE(row.append(call.get()), 0);
    MessageBench::ReadyForReading(call.get());
    try {
      ReadValueSet(call.get());
      ADD_FAILURE() << "read";
    } catch (const hresult_error& error) {
      EXPECT_EQ(error.code(), error_codes::kInvalidArgument);
      EXPECT_EQ(error.message(), row.message);
    }
  }
}

// A peer may nest deeper than we would ever write; the reader stops at the
// same limit instead of recursing without bound.
TEST(ValueSetCodecTest, ReaderStopsAtTheDepthLimit) {
  MessageBench bench;
  BusMessagePtr call = bench.NewCall();
  sd_bus_message* m = call.get();
  for (int level = 0; level <= kMaxValueSetDepth; ++level) {
    ASSERT_GE(sd_bus_message_open_container(m, 'a', "{sv}"), 0);
    ASSERT_GE(sd_bus_message_open_container(m, 'e', "sv"), 0);
    ASSERT_GE(sd_bus_message_append(m, "s", "down"), 0);
    ASSERT_GE(sd_bus_message_open_container(m, 'v', "a{sv}"), 0);
  }
  ASSERT_GE(sd_bus_message_append(m, "a{sv}", 0), 0);
  for (int level = 0; level <= kMaxValueSetDepth; ++level) {
    for (int container = 0; container < 3; ++container) {
      ASSERT_GE(sd_bus_message_close_container(m), 0);
    }
  }
  MessageBench::ReadyForReading(m);
  try {
    ReadValueSet(m);
    FAIL() << "read";
  } catch (const hresult_error& error) {
    EXPECT_EQ(error.message(), "The message is nested too deeply");
  }
}

}  // namespace
}  // namespace tessarel::link
