#include "platform/value_set.h"

#include <gtest/gtest.h>

namespace tessarel {
namespace {

TEST(ValueSetTest, KeepsInsertionOrderAndReplacesInPlace) {
  ValueSet set;
  set.Insert("method", PropertyValue::CreateString("setLed"));
  set.Insert("x", PropertyValue::CreateInt32(1));
  set.Insert("b", PropertyValue::CreateInt32(2));
  EXPECT_TRUE(set.Insert("x", PropertyValue::CreateInt32(7)));
  std::vector<std::string> keys;
  for (const auto& [key, value] : set) keys.push_back(key);
  EXPECT_EQ(keys, (std::vector<std::string>{"method", "x", "b"}));
  EXPECT_EQ(*set.Lookup("x").TryInt32(), 7);
  EXPECT_TRUE(set.Remove("method"));
  EXPECT_EQ(*set.Lookup("b").TryInt32(), 2);
  EXPECT_EQ(set.Size(), 2u);
}

TEST(ValueSetTest, LookupOfAbsentKeyFailsWithNotFoundCode) {
  ValueSet set;
  try {
    set.Lookup("type");
    FAIL() << "Lookup of an absent key must throw";
  } catch (const hresult_error& error) {
    EXPECT_TRUE(IsNotFoundCode(error.code()));
  }
  EXPECT_FALSE(TolerantLookup(set, "type").has_value());
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
      EXPECT_EQ(error.message(), "No such interface supported");
    }
  }
}

TEST(ValueSetTest, NestedSetsCompareByContent) {
  ValueSet inner;
  inner.Insert("r", PropertyValue::CreateUInt8(1));
  ValueSet a, b;
  a.Insert("color", PropertyValue::CreateValueSet(inner));
  b.Insert("color", PropertyValue::CreateValueSet(inner));
  EXPECT_EQ(a, b);
  inner.Insert("g", PropertyValue::CreateUInt8(2));
  b.Insert("color", PropertyValue::CreateValueSet(inner));
  EXPECT_FALSE(a == b);
}

TEST(HResultErrorTest, MessageTexts) {
  struct Row {
    const char* desc;
    hresult_error error;
    const char* want;
  } rows[] = {
      {"system text", hresult_error(error_codes::kRpcServerUnavailable),
       "The RPC server is unavailable."},
      {"description wins", hresult_error(error_codes::kFail, "Bus closed \r\n"), "Bus closed"},
      {"empty description falls back", hresult_error(error_codes::kClassNotRegistered, ""),
       "Class not registered"},
      {"unknown code has no text", hresult_error(static_cast<hresult>(0x80FF0001)), ""},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.desc);
    EXPECT_EQ(row.error.message(), row.want);
  }
}

}  // namespace
}  // namespace tessarel
