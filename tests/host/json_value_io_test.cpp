// The JSON reader and writer through which arguments and replies cross the
// page's message channel, checked against JSValue (values/) as the oracle.
#include "host/json_value_io.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>

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

TEST(JsonValueReaderTest, ReadsEveryKind) {
  struct Row {
    const char* desc;
    const char* json;
    JSValue want;
  };
  const Row rows[] = {
      {"null", "null", JSValue()},
      {"true", "true", JSValue(true)},
      {"an integer is a JS number, so a Double", "42", JSValue(42.0)},
      {"beyond int64 still a number", "9223372036854775808", JSValue(9223372036854775808.0)},
      {"beyond uint64", "18446744073709551616", JSValue(18446744073709551616.0)},
      {"string with escapes", R"("a\"b\\c\u00e9\n")", JSValue("a\"b\\c\xc3\xa9\n")},
      {"surrogate pair", R"("\ud83d\ude00")", JSValue("\xf0\x9f\x98\x80")},
      {"nested array", "[1, [2, []], {}]",
       JSValue(JSValueArray{JSValue(1.0),
                            JSValue(JSValueArray{JSValue(2.0), JSValue(JSValueArray{})}),
                            JSValue(JSValueObject{})})},
      {"object members are sorted by key", R"({"r": 1, "g": 2, "b": {"z": null, "a": true}})",
       JSValue::Object(
           {{"b", JSValue::Object({{"a", true}, {"z", nullptr}})}, {"g", 2.0}, {"r", 1.0}})},
      {"empty object in array", "[{}, {}]",
       JSValue(JSValueArray{JSValue(JSValueObject{}), JSValue(JSValueObject{})})},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.desc);
    EXPECT_EQ(Read(row.json), row.want);
  }
}

TEST(JsonValueReaderTest, RefusesBadTextAndDeepNesting) {
  struct Row {
    const char* desc;
    std::string json;
    bool ok;
  };
  const Row rows[] = {
      {"unclosed object", "{", false},
      {"two values", "1 2", false},
      {"empty text", "", false},
      {"at the depth limit", Nested(kMaxJsonDepth), true},
      {"one deeper than the limit", Nested(kMaxJsonDepth + 1), false},
      {"brackets inside strings do not count", "[\"" + std::string(500, '[') + "\"]", true},
      {"escaped quote inside a string", R"(["\"[[[", 1])", true},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.desc);
    if (row.ok) {
      EXPECT_NO_THROW(Read(row.json));
    } else {
      EXPECT_THROW(Read(row.json), JsonFormatError);
    }
  }
}

TEST(JsonValueReaderTest, TypedGettersConvertOrGiveEmpty) {
  struct Row {
    const char* json;
    std::int64_t int64;
    double number;
    bool boolean;
    const char* text;
  };
  const Row rows[] = {
      {"-3.9", -3, -3.9, false, ""},
      {"-9223372036854775808", std::numeric_limits<std::int64_t>::min(), -9223372036854775808.0,
       false, ""},
      {"9223372036854775808", 0, 9223372036854775808.0, false, ""},
      {"\"12\"", 0, 0.0, false, "12"},
      {"true", 0, 0.0, true, ""},
      {"null", 0, 0.0, false, ""},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.json);
    JsonValueReader reader(row.json);
    EXPECT_EQ(reader.GetInt64(), row.int64);
    EXPECT_EQ(reader.GetDouble(), row.number);
    EXPECT_EQ(reader.GetBoolean(), row.boolean);
    EXPECT_EQ(reader.GetString(), row.text);
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
  struct Row {
    const char* desc;
    JSValue value;
    const char* want;
  };
  const double nan = std::numeric_limits<double>::quiet_NaN();
  const double infinity = std::numeric_limits<double>::infinity();
  const Row rows[] = {
      {"null", JSValue(), "null"},
      {"int64 keeps all its digits", JSValue(std::int64_t{-9007199254740993}), "-9007199254740993"},
      {"double", JSValue(0.1), "0.1"},
      {"NaN as JSON.stringify writes it", JSValue(nan), "null"},
      {"infinity likewise", JSValue(JSValueArray{JSValue(infinity), JSValue(-infinity)}),
       "[null,null]"},
      {"members in key order", JSValue::Object({{"r", 255}, {"g", 0}, {"b", 128}}),
       R"({"b":128,"g":0,"r":255})"},
      {"escapes", JSValue("quote\" backslash\\ newline\n nul" + std::string(1, '\0')),
       R"("quote\" backslash\\ newline\n nul\u0000")"},
      {"invalid UTF-8 is replaced, not thrown", JSValue(std::string("a\xff")), "\"a\xef\xbf\xbd\""},
      {"UTF-8 text and DEL go as they are", JSValue("\xe2\x82\xac\x7f"), "\"\xe2\x82\xac\x7f\""},
      {"member names are escaped like strings", JSValue::Object({{"a\"b", 1}, {"\xff", 2}}),
       "{\"a\\\"b\":1,\"\xef\xbf\xbd\":2}"},
      {"nested", JSValue(JSValueArray{JSValue(JSValueArray{}), JSValue(JSValueObject{})}),
       "[[],{}]"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.desc);
    EXPECT_EQ(Write(row.value), row.want);
  }
}

TEST(JsonValueWriterTest, ToleratesCallsOutOfOrder) {
  JsonValueWriter writer;
  writer.WriteObjectEnd();  // nothing open: ignored
  writer.WriteArrayBegin();
  writer.WriteObjectEnd();  // not an object: ignored
  writer.WriteInt64(1);
  writer.WriteObjectBegin();
  writer.WriteString("no name");  // goes under ""
  // Left open: TakeJson closes both containers.
  EXPECT_EQ(writer.TakeJson(), R"([1,{"":"no name"}])");

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
