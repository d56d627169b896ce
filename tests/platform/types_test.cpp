// The platform's plain types: ValueSet and its boxed values, hresult_error,
// and Event.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "platform/event.h"
#include "platform/value_set.h"

namespace tessarel {
namespace {

// Small sets are scanned, larger ones indexed: both keep insertion order,
// replace in place, and still find every key after a removal.
TEST(ValueSetTest, KeepsInsertionOrderAndReplacesInPlace) {
  // Small sets are scanned, larger ones indexed: 17 crosses the line on the
  // way up and back down again on the removal.
  for (int size : {3, 17, 40}) {
    SCOPED_TRACE(size);
    ValueSet set;
    std::vector<std::string> keys;
    for (int i = size; i > 0; --i) {
      keys.push_back("k" + std::to_string(i));
      EXPECT_FALSE(set.Insert(keys.back(), PropertyValue::CreateInt32(i)));
    }
    EXPECT_TRUE(set.Insert(keys[1], PropertyValue::CreateInt32(-1)));
    EXPECT_TRUE(set.Remove(keys[0]));
    keys.erase(keys.begin());
    std::vector<std::string> order;
    for (const auto& [key, value] : set) order.push_back(key);
    EXPECT_EQ(order, keys);
    EXPECT_EQ(*set.Lookup(keys[0]).TryInt32(), -1);
    for (std::size_t i = 1; i < keys.size(); ++i)
      EXPECT_EQ(*set.Lookup(keys[i]).TryInt32(), size - 1 - static_cast<int>(i));
    EXPECT_EQ(set.Find("k" + std::to_string(size)), nullptr);
    // Back in, at the end, once.
    EXPECT_FALSE(set.Insert("k" + std::to_string(size), PropertyValue::CreateInt32(0)));
    EXPECT_TRUE(set.Insert("k" + std::to_string(size), PropertyValue::CreateInt32(0)));
    EXPECT_EQ(set.Size(), keys.size() + 1);
  }
}

// Lookup fails with kBounds; the tolerant lookup treats the three not-found
// codes as an absent key and no other.
TEST(ValueSetTest, LookupOfAbsentKey) {
  ValueSet set;
  set.Insert("type", PropertyValue::CreateString("x"));
  try {
    set.Lookup("Type");
    FAIL() << "Lookup of an absent key must throw";
  } catch (const hresult_error& error) {
    EXPECT_EQ(error.code(), error_codes::kBounds);
  }
  EXPECT_FALSE(TolerantLookup(set, "Type").has_value());
  EXPECT_EQ(*TolerantLookup(set, "type")->TryString(), "x");
  using namespace error_codes;
  for (hresult code : {kBounds, kFail, kFileNotFound}) EXPECT_TRUE(IsNotFoundCode(code)) << code;
  for (hresult code : {kNoInterface, kDisconnected, kRpcServerUnavailable, kAccessDenied}) {
    EXPECT_FALSE(IsNotFoundCode(code)) << code;
  }
}

TEST(ValueSetTest, UnboxKeepsBoxedTypesApart) {
  const std::optional<PropertyValue> u8 = PropertyValue::CreateUInt8(200);
  const std::optional<PropertyValue> u32 = PropertyValue::CreateUInt32(200);
  const std::optional<PropertyValue> absent;
  EXPECT_EQ(Unbox<std::uint8_t>(u8), 200);
  EXPECT_EQ(UnboxOr<std::uint32_t>(u8, 9), 9u);  // UInt8 is not a UInt32
  EXPECT_EQ(UnboxOr<std::uint32_t>(u32, 9), 200u);
  EXPECT_EQ(UnboxOr<bool>(absent, true), true);
  for (const auto* value : {&u8, &absent}) {
    try {
      Unbox<std::uint32_t>(*value);
      FAIL() << "strict unbox of the wrong type must throw";
    } catch (const hresult_error& error) {
      EXPECT_EQ(error.code(), error_codes::kNoInterface);
    }
  }
}

TEST(HResultErrorTest, MessageTexts) {
  struct Row {
    const char* desc;
    hresult_error error;
    const char* want;
  } rows[] = {
      {"system text", hresult_error(error_codes::kRpcServerUnavailable),
       "The RPC server is unavailable."},
      {"description wins, trimmed", hresult_error(error_codes::kFail, "Bus closed \r\n"),
       "Bus closed"},
      {"empty description falls back", hresult_error(error_codes::kClassNotRegistered, ""),
       "Class not registered"},
      {"unknown code has no text", hresult_error(static_cast<hresult>(0x80FF0001)), ""},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.desc);
    EXPECT_EQ(row.error.message(), row.want);
  }
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
