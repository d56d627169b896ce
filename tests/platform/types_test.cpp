// The platform's plain types: ValueSet and its boxed values, hresult_error,
// and Event.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "platform/event.h"
#include "platform/value_set.h"
#include "support/value_set_builders.h"

namespace tessarel {
namespace {

using namespace testing;  // the value set builders
using namespace error_codes;

auto ThrowsCode(hresult code) {
  return ::testing::Throws<hresult_error>(::testing::Property(&hresult_error::code, code));
}

// Small sets are scanned, larger ones indexed: both keep insertion order,
// replace in place, put a removed key back at the end, and still find every
// key by lookup after a removal.
TEST(ValueSetTest, KeepsInsertionOrderAndReplacesInPlace) {
  // 17 crosses the line between the two on the way up and back down again on
  // the removal.
  for (int size : {3, 17, 40}) {
    SCOPED_TRACE(size);
    ValueSet set;
    std::vector<std::pair<std::string, int>> want;
    for (int i = size; i > 0; --i) {
      want.emplace_back("k" + std::to_string(i), i);
      EXPECT_FALSE(set.Insert(want.back().first, I32(i)));
    }
    EXPECT_TRUE(set.Insert(want[1].first, I32(-1)));
    want[1].second = -1;
    EXPECT_TRUE(set.Remove(want[0].first));
    EXPECT_FALSE(set.Insert(want[0].first, I32(0)));
    want.emplace_back(want[0].first, 0);
    want.erase(want.begin());
    std::vector<std::pair<std::string, int>> got;
    for (const auto& [key, value] : set) got.emplace_back(key, *set.Lookup(key).TryInt32());
    EXPECT_EQ(got, want);
    EXPECT_EQ(set.Size(), want.size());
  }
}

// Lookup fails with kBounds; the tolerant lookup treats the three not-found
// codes as an absent key and no other.
TEST(ValueSetTest, LookupOfAbsentKey) {
  const ValueSet set = Set({{"type", Str("x")}});
  EXPECT_THAT([&] { set.Lookup("Type"); }, ThrowsCode(kBounds));
  EXPECT_FALSE(TolerantLookup(set, "Type").has_value());
  EXPECT_EQ(*TolerantLookup(set, "type")->TryString(), "x");
  for (hresult code : {kBounds, kFail, kFileNotFound}) EXPECT_TRUE(IsNotFoundCode(code)) << code;
  for (hresult code : {kNoInterface, kDisconnected, kRpcServerUnavailable, kAccessDenied}) {
    EXPECT_FALSE(IsNotFoundCode(code)) << code;
  }
}

TEST(ValueSetTest, UnboxKeepsBoxedTypesApart) {
  const std::optional<PropertyValue> u8 = U8(200), u32 = U32(200), absent;
  EXPECT_EQ(Unbox<std::uint8_t>(u8), 200);
  EXPECT_EQ(UnboxOr<std::uint32_t>(u8, 9), 9u);  // UInt8 is not a UInt32
  EXPECT_EQ(UnboxOr<std::uint32_t>(u32, 9), 200u);
  EXPECT_EQ(UnboxOr<bool>(absent, true), true);
  EXPECT_THAT([&] { Unbox<std::uint32_t>(u8); }, ThrowsCode(kNoInterface));
  EXPECT_THAT([&] { Unbox<std::uint32_t>(absent); }, ThrowsCode(kNoInterface));
}

TEST(HResultErrorTest, MessageTexts) {
  const std::pair<hresult_error, const char*> rows[] = {
      {hresult_error(kRpcServerUnavailable), "The RPC server is unavailable."},  // system text
      {hresult_error(kFail, "Bus closed \r\n"), "Bus closed"},           // the description, trimmed
      {hresult_error(kClassNotRegistered, ""), "Class not registered"},  // empty: system text
      {hresult_error(static_cast<hresult>(0x80FF0001)), ""},             // unknown code
  };
  for (const auto& [error, want] : rows) EXPECT_EQ(error.message(), want);
}

// Handlers run in order of registration; Remove takes out exactly the one
// registered under its token, also from inside a handler while it runs.
TEST(EventTest, AddAndRemoveByToken) {
  Event<int> event;
  std::vector<std::string> calls;
  event_token self;
  const event_token first =
      event.Add([&](int n) { calls.push_back("first " + std::to_string(n)); });
  self = event.Add([&](int) {
    calls.push_back("self");
    event.Remove(self);
  });
  event.Add([&](int n) { calls.push_back("last " + std::to_string(n)); });
  EXPECT_NE(first, self);
  event.Raise(1);
  event.Remove(first);
  event.Remove(first);  // an unknown token changes nothing
  event.Raise(2);
  EXPECT_EQ(calls, (std::vector<std::string>{"first 1", "self", "last 1", "last 2"}));
}

}  // namespace
}  // namespace tessarel
