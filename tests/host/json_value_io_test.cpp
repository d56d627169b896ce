// The JSON reader and writer through which arguments and replies cross the
// page's message channel, checked against JSValue (values/) as the oracle.
#include "host/json_value_io.h"

#include <gtest/gtest.h>

#include <limits>
#include <string>
#include <tuple>

#include "values/js_value.h"

namespace tessarel {
namespace {

JSValue Read(std::string_view text) {
  JsonValueReader reader(text);
  return ReadValue(reader);
}

std::string Write(const JSValue& value) {
  JsonValueWriter writer;
  WriteValue(writer, value);
  return writer.TakeJson();
}

std::string Nested(std::size_t depth) {
  return std::string(depth, '[') + std::string(depth, ']');
}

// Containers are read back in the round trip below.
TEST(JsonValueReaderTest, ReadsEveryScalar) {
  const std::pair<const char*, JSValue> rows[] = {
      {"null", JSValue()},
      {"true", JSValue(true)},
      // Every number is a JS number, so a Double, also beyond int64.
      {"42", JSValue(42.0)},
      {"9223372036854775808", JSValue(9223372036854775808.0)},
      {R"("a\"b\\c\u00e9\n")", JSValue("a\"b\\c\xc3\xa9\n")},
      {R"("\ud83d\ude00")", JSValue("\xf0\x9f\x98\x80")},
  };
  for (const auto& [json, want] : rows) {
    SCOPED_TRACE(json);
    EXPECT_EQ(Read(json), want);
  }
}

TEST(JsonValueReaderTest, RefusesBadTextAndDeepNesting) {
  const std::pair<std::string, bool> rows[] = {
      {"{", false},
      {Nested(kMaxJsonDepth), true},
      {Nested(kMaxJsonDepth + 1), false},
      // Brackets inside strings, also after an escaped quote, do not count.
      {"[\"" + std::string(500, '[') + "\"]", true},
      {R"(["\"[[[", 1])", true},
  };
  for (const auto& [json, ok] : rows) {
    SCOPED_TRACE(json.substr(0, 20));
    if (ok) {
      EXPECT_NO_THROW(Read(json));
    } else {
      EXPECT_THROW(Read(json), JsonFormatError);
    }
  }
}

TEST(JsonValueReaderTest, TypedGettersConvertOrGiveEmpty) {
  // Text; then what GetInt64, GetDouble, GetBoolean and GetString give.
  const std::tuple<const char*, std::int64_t, double, bool, const char*> rows[] = {
      {"-3.9", -3, -3.9, false, ""},
      {"-9223372036854775808", std::numeric_limits<std::int64_t>::min(), -9223372036854775808.0,
       false, ""},
      {"9223372036854775808", 0, 9223372036854775808.0, false, ""},
      {"\"12\"", 0, 0.0, false, "12"},
      {"true", 0, 0.0, true, ""},
  };
  for (const auto& [json, int64, number, boolean, text] : rows) {
    SCOPED_TRACE(json);
    JsonValueReader reader(json);
    EXPECT_EQ(reader.GetInt64(), int64);
    EXPECT_EQ(reader.GetDouble(), number);
    EXPECT_EQ(reader.GetBoolean(), boolean);
    EXPECT_EQ(reader.GetString(), text);
  }
}

// A caller that reads only part of the arguments (a method with fewer
// parameters than items) must not disturb what it did read; one with more
// parameters than items finds the end.
TEST(JsonValueReaderTest, StopsWhereTheCallerStops) {
  JsonValueReader reader(R"([{"a": [1, 2]}, "second", 3])");
  ASSERT_EQ(reader.ValueType(), JSValueType::Array);
  ASSERT_TRUE(reader.GetNextArrayItem());
  EXPECT_EQ(ReadValue(reader), JSValue::Object({{"a", JSValue(JSValueArray{1.0, 2.0})}}));
  ASSERT_TRUE(reader.GetNextArrayItem());
  EXPECT_EQ(ReadValue(reader), JSValue("second"));
  ASSERT_TRUE(reader.GetNextArrayItem());
  EXPECT_EQ(reader.GetDouble(), 3.0);
  EXPECT_FALSE(reader.GetNextArrayItem());
  EXPECT_FALSE(reader.GetNextArrayItem());
  std::string name;
  EXPECT_FALSE(reader.GetNextObjectProperty(name));
  // Arguments that are not a list give no items at all.
  EXPECT_FALSE(JsonValueReader(R"({"0": 1})").GetNextArrayItem());
}

TEST(JsonValueWriterTest, WritesEveryKind) {
  const double nan = std::numeric_limits<double>::quiet_NaN();
  const double infinity = std::numeric_limits<double>::infinity();
  const std::pair<JSValue, const char*> rows[] = {
      {JSValue(std::int64_t{-9007199254740993}), "-9007199254740993"},  // all its digits
      {JSValue(0.1), "0.1"},
      // NaN and infinities as JSON.stringify writes them.
      {JSValue(JSValueArray{JSValue(nan), JSValue(infinity), JSValue(-infinity)}),
       "[null,null,null]"},
      {JSValue::Object({{"r", 255}, {"g", 0}, {"b", 128}}), R"({"b":128,"g":0,"r":255})"},
      {JSValue("quote\" backslash\\ newline\n nul" + std::string(1, '\0')),
       R"("quote\" backslash\\ newline\n nul\u0000")"},
      // Invalid UTF-8 is replaced, not thrown.
      {JSValue(std::string("a\xff")), "\"a\xef\xbf\xbd\""},
      // UTF-8 text and DEL go as they are.
      {JSValue("\xe2\x82\xac\x7f"), "\"\xe2\x82\xac\x7f\""},
      // Member names are escaped like strings.
      {JSValue::Object({{"a\"b", 1}, {"\xff", 2}}), "{\"a\\\"b\":1,\"\xef\xbf\xbd\":2}"},
  };
  for (const auto& [value, want] : rows) {
    SCOPED_TRACE(want);
    EXPECT_EQ(Write(value), want);
  }
}

TEST(JsonValueWriterTest, KeepsCallOrderAndToleratesCallsOutOfOrder) {
  JsonValueWriter writer;
  writer.WriteObjectEnd();  // nothing open: ignored
  writer.WriteArrayBegin();
  writer.WriteObjectEnd();  // not an object: ignored
  writer.WriteInt64(1);
  writer.WriteObjectBegin();
  writer.WritePropertyName("z");
  writer.WriteNull();
  writer.WriteString("no name");  // goes under ""
  // Left open: TakeJson closes both containers. Members stay as written.
  EXPECT_EQ(writer.TakeJson(), R"([1,{"z":null,"":"no name"}])");

  writer.WriteBoolean(true);
  writer.WriteBoolean(false);  // a second top-level value has nowhere to go
  EXPECT_EQ(writer.TakeJson(), "true");
  EXPECT_EQ(writer.TakeJson(), "null");  // taken: empty again
}

TEST(JsonValueIoTest, WriteThenReadGivesTheValueBack) {
  const JSValue value = JSValue::Object({
      {"keys", JSValue(JSValueArray{JSValue::Object({{"x", 1.5}, {"label", "F1"}}), JSValue()})},
      {"on", true},
      {"text", "\xe2\x82\xac 5"},
      // Shortest digits that read back as the same double, at the extremes.
      {"numbers",
       JSValue(JSValueArray{JSValue(0.30000000000000004), JSValue(1e21), JSValue(5e-324),
                            JSValue(-1.7976931348623157e308), JSValue(-0.0), JSValue(3.0)})},
  });
  EXPECT_EQ(Read(Write(value)), value);
}

}  // namespace
}  // namespace tessarel
