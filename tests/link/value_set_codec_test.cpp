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

// Messages need an open bus; one end of a socket pair in its handshake is
// enough to build, seal and read them back without sending anything.
class CodecTest : public ::testing::Test {
 protected:
  CodecTest() {
    int fds[2];
    EXPECT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, fds), 0);
    peer_ = fds[1];
    CheckBus(sd_bus_new(Out(bus_)), "bus");
    CheckBus(sd_bus_set_fd(bus_.get(), fds[0], fds[0]), "fd");
    CheckBus(sd_bus_start(bus_.get()), "start");
  }
  ~CodecTest() override { close(peer_); }

  BusMessagePtr NewCall() {
    BusMessagePtr call;
    CheckBus(sd_bus_message_new_method_call(bus_.get(), Out(call), nullptr, "/test",
                                            "io.tessarel.Test", "Message"),
             "call");
    return call;
  }
  // Seals `message` as if sent and reads it back.
  static ValueSet ReadBack(sd_bus_message* message) {
    CheckBus(sd_bus_message_seal(message, ++cookie_, 0), "seal");
    CheckBus(sd_bus_message_rewind(message, 1), "rewind");
    return ReadValueSet(message);
  }
  // The message an hresult_error carries; ADD_FAILURE when there is none.
  static std::string ErrorOf(const std::function<void()>& action) {
    try {
      action();
      ADD_FAILURE() << "no error";
    } catch (const hresult_error& error) {
      EXPECT_EQ(error.code(), error_codes::kInvalidArgument);
      return error.message();
    }
    return {};
  }

  BusPtr bus_;
  int peer_ = -1;
  static inline std::uint64_t cookie_ = 0;
};

ValueSet NestedTo(int depth) {
  ValueSet set = Set({{"leaf", U8(1)}});
  for (int level = 1; level < depth; ++level) set = Set({{"down", Nested(set)}});
  return set;
}

// Deeper than we would ever write: the reader must stop at the same limit
// instead of recursing without bound.
int AppendTooDeep(sd_bus_message* m) {
  for (int level = 0; level <= kMaxValueSetDepth; ++level) {
    sd_bus_message_open_container(m, 'a', "{sv}");
    sd_bus_message_open_container(m, 'e', "sv");
    sd_bus_message_append(m, "s", "down");
    sd_bus_message_open_container(m, 'v', "a{sv}");
  }
  int result = sd_bus_message_append(m, "a{sv}", 0);
  for (int container = 0; container < 3 * (kMaxValueSetDepth + 1) && result >= 0; ++container)
    result = sd_bus_message_close_container(m);
  return result;
}

TEST_F(CodecTest, EveryBoxedTypeAndTheKeyOrderComeBackAsThemselves) {
  const ValueSet rows[] = {
      ValueSet{},
      // ValueSet equality compares keys in order and boxed types exactly:
      // 200 as UInt8 is not 200 as UInt32.
      Set({{"z", Str("Grüße ✓")},
           {"a", Bool(false)},
           {"i", I32(INT32_MIN)},
           {"y", U8(200)},
           {"u", U32(200)},
           {"t", U64(UINT64_MAX)},
           {"empty", Nested(ValueSet{})}}),
      NestedTo(kMaxValueSetDepth),
  };
  for (const ValueSet& set : rows) {
    BusMessagePtr call = NewCall();
    WriteValueSet(call.get(), set);
    EXPECT_EQ(ReadBack(call.get()), set);
    EXPECT_STREQ(sd_bus_message_get_signature(call.get(), 1), "a{sv}");
  }
}

TEST_F(CodecTest, RefusesWhatTheWireCannotCarry) {
  const std::pair<ValueSet, const char*> rows[] = {
      {NestedTo(kMaxValueSetDepth + 1), "The message is nested too deeply"},
      {Set({{"name", Str({"a\0b", 3})}}), "The string under key 'name' holds a NUL character"},
      {Set({{"path", Str("\xff\xfe")}}), "The value under key 'path' cannot be encoded"},
  };
  for (const auto& [set, message] : rows) {
    BusMessagePtr call = NewCall();
    EXPECT_EQ(ErrorOf([&] { WriteValueSet(call.get(), set); }), message);
  }
}

// What another implementation might send: each is a clean error naming it,
// an unsupported type by the innermost key it sits under.
TEST_F(CodecTest, RejectsForeignTypesAndShapes) {
  using Append = std::function<int(sd_bus_message*)>;
  const std::pair<Append, const char*> rows[] = {
      {[](sd_bus_message* m) {
         return sd_bus_message_append(m, "a{sv}", 1, "o", "a{sv}", 1, "in", "o", "/");
       },
       "Unsupported value type 'o' under key 'in'"},
      {[](sd_bus_message* m) { return sd_bus_message_append(m, "a{ss}", 1, "type", "exit"); },
       "The message is not a string-keyed map of values (a{sv})"},
      {AppendTooDeep, "The message is nested too deeply"},
  };
  for (const auto& [append, message] : rows) {
    SCOPED_TRACE(message);
    BusMessagePtr call = NewCall();
    ASSERT_GE(append(call.get()), 0);
    EXPECT_EQ(ErrorOf([&] { ReadBack(call.get()); }), message);
  }
}

}  // namespace
}  // namespace tessarel::link
