#include "values/js_value.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <limits>
#include <sstream>

#include "support/recording_writer.h"
#include "values/js_value_tree.h"

namespace tessarel {
namespace {

using testing::RecordingWriter;

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInf = std::numeric_limits<double>::infinity();
constexpr double kTwoTo63 = 9223372036854775808.0;
constexpr std::int64_t kInt64Min = std::numeric_limits<std::int64_t>::min();

JSValue Array(std::initializer_list<JSValue> items) {
  return JSValue(JSValueArray(items));
}

TEST(JSValueTest, KindsAndConstruction) {
  struct Row {
    const char* desc;
    JSValue value;
    JSValueType want;
  } rows[] = {
      {"default", JSValue(), JSValueType::Null},
      {"nullptr", JSValue(nullptr), JSValueType::Null},
      {"pairs", JSValue::Object({{"a", 1}}), JSValueType::Object},
      {"array", Array({1}), JSValueType::Array},
      {"literal", JSValue("x"), JSValueType::String},
      {"bool", JSValue(true), JSValueType::Boolean},
      {"uint8", JSValue(std::uint8_t{200}), JSValueType::Int64},
      {"double", JSValue(0.5), JSValueType::Double},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.desc);
    EXPECT_EQ(row.value.Type(), row.want);
  }
  // Unsigned sources widen by zero extension, not sign extension.
  EXPECT_EQ(JSValue(std::uint8_t{0xFF}).AsInt64(), 255);
  EXPECT_EQ(JSValue(std::uint32_t{0xFFFFFFFF}).AsInt64(), 4294967295);
  EXPECT_EQ(JSValue(std::int32_t{-1}).AsInt64(), -1);
}

TEST(JSValueTest, AsString) {
  struct Row {
    const char* desc;
    JSValue value;
    const char* want;
  } rows[] = {
      {"null", JSValue(), "null"},
      {"object is not serialised", JSValue::Object({{"a", 1}}), ""},
      {"array is not serialised", Array({1, 2}), ""},
      {"string", JSValue("text"), "text"},
      {"true", JSValue(true), "true"},
      {"false", JSValue(false), "false"},
      {"negative int", JSValue(-42), "-42"},
      {"int64 min", JSValue(kInt64Min), "-9223372036854775808"},
      {"seven digits round to six", JSValue(1234567.0), "1.23457e+06"},
      {"NaN", JSValue(kNaN), "NaN"},
      {"infinity", JSValue(kInf), "Infinity"},
      {"negative infinity", JSValue(-kInf), "-Infinity"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.desc);
    EXPECT_EQ(row.value.AsString(), row.want);
  }
}

// The default-formatted stream is the reference for finite doubles.
TEST(JSValueTest, DoubleTextMatchesDefaultStream) {
  std::vector<double> values = {-0.0,
                                42.0,
                                1e-4,
                                1e-5,
                                123456.0,
                                999999.7,
                                1e300,
                                5e-324,
                                2.2250738585072014e-308,
                                1.7976931348623157e308,
                                0.000123456789,
                                0.5,
                                99999.95,
                                999999.4,
                                -31.25};
  for (int exponent = -12; exponent <= 12; ++exponent) {
    const double scale = std::pow(10.0, exponent);
    for (double mantissa : {1.0, 1.23456789, -7.654321, 9.9999996, 3.0000004})
      values.push_back(mantissa * scale);
  }
  for (double value : values) {
    std::ostringstream stream;
    stream << value;
    EXPECT_EQ(DoubleToString(value), stream.str()) << "for " << value;
  }
}

TEST(JSValueTest, AsBoolean) {
  struct Row {
    const char* desc;
    JSValue value;
    bool want;
  } rows[] = {
      {"null", JSValue(), false},
      {"empty object", JSValue(JSValueObject{}), false},
      {"object", JSValue::Object({{"a", false}}), true},
      {"empty array", JSValue(JSValueArray{}), false},
      {"array of false", Array({false}), true},
      {"true", JSValue("true"), true},
      {"upper-case YES", JSValue("YES"), true},
      {"mixed-case On", JSValue("On"), true},
      {"y", JSValue("y"), true},
      {"1", JSValue("1"), true},
      {"yes followed by a space is not trimmed", JSValue("yes "), false},
      {"0", JSValue("0"), false},
      {"empty string", JSValue(""), false},
      {"false", JSValue("false"), false},
      {"no", JSValue("no"), false},
      {"2 is not in the table", JSValue("2"), false},
      {"non-ASCII is not folded", JSValue("\xC3\x9D"), false},
      {"bool true", JSValue(true), true},
      {"int zero", JSValue(0), false},
      {"negative int", JSValue(-1), true},
      {"double zero", JSValue(0.0), false},
      {"negative zero", JSValue(-0.0), false},
      {"NaN", JSValue(kNaN), false},
      {"tiny double", JSValue(5e-324), true},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.desc);
    EXPECT_EQ(row.value.AsBoolean(), row.want);
  }
}

TEST(JSValueTest, AsInt64) {
  struct Row {
    const char* desc;
    JSValue value;
    std::int64_t want;
  } rows[] = {
      {"null", JSValue(), 0},
      {"object", JSValue::Object({{"a", 5}}), 0},
      {"array", Array({5}), 0},
      {"true", JSValue(true), 1},
      {"false", JSValue(false), 0},
      {"int64 max passes through", JSValue(std::numeric_limits<std::int64_t>::max()),
       std::numeric_limits<std::int64_t>::max()},
      {"minus 3.9 truncates toward zero", JSValue(-3.9), -3},
      {"3.9 truncates toward zero", JSValue(3.9), 3},
      {"2^63 is the processor's INT64_MIN", JSValue(kTwoTo63), kInt64Min},
      {"-2^63", JSValue(-kTwoTo63), kInt64Min},
      {"largest double below 2^63", JSValue(std::nextafter(kTwoTo63, 0.0)), 9223372036854774784},
      {"just beyond 2^63", JSValue(std::nextafter(kTwoTo63, kInf)), 0},
      {"just beyond -2^63", JSValue(std::nextafter(-kTwoTo63, -kInf)), 0},
      {"1e300", JSValue(1e300), 0},
      {"infinity", JSValue(kInf), 0},
      {"NaN", JSValue(kNaN), 0},
      {"string 2^63", JSValue("9223372036854775808"), kInt64Min},
      {"string beyond 2^63", JSValue("9223372036854777856"), 0},
      {"42 between spaces", JSValue(" 42 "), 42},
      {"42 then a space", JSValue("42 "), 42},
      {"all blank kinds trimmed", JSValue("\t\n\v\f\r 42\r\n"), 42},
      {"42 followed by letters", JSValue("42abc"), 0},
      {"empty string", JSValue(""), 0},
      {"blank string", JSValue(" \t "), 0},
      {"sign", JSValue("-7.9"), -7},
      {"plus sign", JSValue("+7"), 7},
      {"two signs", JSValue("--7"), 0},
      {"exponent", JSValue("1e3"), 1000},
      {"hexadecimal", JSValue("0x10"), 16},
      {"decimal comma is junk", JSValue("1,5"), 0},
      {"blank inside", JSValue("4 2"), 0},
      {"no digits", JSValue("abc"), 0},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.desc);
    EXPECT_EQ(row.value.AsInt64(), row.want);
  }
}

TEST(JSValueTest, StringToDouble) {
  struct Row {
    const char* desc;
    std::string text;
    double want;  // NaN: the result must be NaN
  } rows[] = {
      {"empty", "", 0.0},
      {"blanks only", " \n\r\t\f\v", 0.0},
      {"fraction", " 1.5\t", 1.5},
      {"hexadecimal float", "0x1p3", 8.0},
      {"infinity word", "-Infinity", -kInf},
      {"overflow is infinity", "1e400", kInf},
      {"nan word", "nan", kNaN},
      {"trailing junk", "1.5x", kNaN},
      {"embedded NUL is junk", std::string("42\0", 3), kNaN},
      {"lone sign", "-", kNaN},
      {"hex prefix only", "0x", kNaN},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.desc);
    const double got = StringToDouble(row.text);
    if (std::isnan(row.want)) {
      EXPECT_TRUE(std::isnan(got)) << got;
    } else {
      EXPECT_EQ(got, row.want);
    }
  }
}

TEST(JSValueTest, ObjectsWriteMembersInByteOrder) {
  struct Row {
    const char* desc;
    JSValue value;
    const char* want;
  } rows[] = {
      {"colour built r, g, b", JSValue::Object({{"r", 1}, {"g", 2}, {"b", 3}}),
       "{ b: i3 g: i2 r: i1 }"},
      {"key object",
       JSValue::Object({{"size", 1},
                        {"orientation", 2},
                        {"inactiveColor", 3},
                        {"icon", 4},
                        {"activeColor", 5},
                        {"action", 6}}),
       "{ action: i6 activeColor: i5 icon: i4 inactiveColor: i3 orientation: i2 size: i1 }"},
      // Byte order: upper case before lower case, a prefix before its
      // extensions, and UTF-8 lead bytes (>= 0x80) after ASCII.
      {"byte-wise keys", JSValue::Object({{"\xC3\xA9", 1}, {"ab", 2}, {"a", 3}, {"B", 4}, {"", 5}}),
       "{ : i5 B: i4 a: i3 ab: i2 \xC3\xA9: i1 }"},
      {"repeated key keeps the first", JSValue::Object({{"k", 1}, {"k", 2}}), "{ k: i1 }"},
      {"nested and mixed",
       Array({JSValue(), JSValue::Object({{"z", Array({})}, {"y", JSValue(0.5)}}), JSValue("s"),
              JSValue(false)}),
       "[ null { y: d0.5 z: [ ] } s's' false ]"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.desc);
    RecordingWriter writer;
    WriteValue(writer, row.value);
    EXPECT_EQ(writer.Text(), row.want);
  }
}

TEST(JSValueTest, CopiesAreDeep) {
  JSValue original = JSValue::Object({{"keys", Array({JSValue::Object({{"id", 1}})})}});
  JSValue copy = original;
  EXPECT_EQ(copy, original);
  const JSValue* innerOriginal = &original.TryGetObject()->at("keys").TryGetArray()->at(0);
  const JSValue* innerCopy = &copy.TryGetObject()->at("keys").TryGetArray()->at(0);
  EXPECT_NE(innerOriginal, innerCopy);
  copy = JSValue(7);
  EXPECT_EQ(original.TryGetObject()->at("keys").TryGetArray()->size(), 1u);
  JSValue moved = std::move(original);
  EXPECT_EQ(moved.TryGetObject()->size(), 1u);
}

JSValue SampleTree() {
  return JSValue::Object({
      {"null", JSValue()},
      {"string", JSValue("caf\xC3\xA9")},
      {"empty string", JSValue("")},
      {"bool", JSValue(true)},
      {"int", JSValue(kInt64Min)},
      {"double", JSValue(-0.25)},
      {"empty object", JSValue(JSValueObject{})},
      {"empty array", JSValue(JSValueArray{})},
      {"nested", Array({Array({JSValue(1), JSValue::Object({{"deep", Array({JSValue()})}})}),
                        JSValue("after")})},
      {"tail", JSValue(2)},
  });
}

TEST(JSValueTest, ReaderWriterRoundTrip) {
  const JSValue tree = SampleTree();
  JSValueTreeWriter writer;
  WriteValue(writer, tree);
  EXPECT_EQ(writer.TakeValue(), tree);
  EXPECT_EQ(writer.TakeValue(), JSValue()) << "TakeValue leaves the writer empty";

  JSValueTreeReader reader(tree);
  EXPECT_EQ(ReadValue(reader), tree);

  for (const JSValue& scalar : {JSValue(), JSValue("x"), JSValue(3), JSValue(1.5)}) {
    JSValueTreeReader scalarReader(scalar);
    EXPECT_EQ(ReadValue(scalarReader), scalar);
  }
}

// A reader client that ignores members it does not want: the reader must go
// on with the enclosing container.
TEST(JSValueTest, TreeReaderPassesOverUnreadValues) {
  JSValueTreeReader reader(JSValue::Object(
      {{"a", Array({JSValue(1), JSValue(2)})}, {"b", JSValue::Object({{"x", 1}})}, {"c", 3}}));
  std::string name;
  std::vector<std::string> names;
  while (reader.GetNextObjectProperty(name)) {
    names.push_back(name);
    if (name == "c") {
      EXPECT_EQ(reader.GetInt64(), 3);
    }
    if (name == "b") {
      // An object member is entered by the next object call; read it out.
      std::string inner;
      ASSERT_TRUE(reader.GetNextObjectProperty(inner));
      EXPECT_EQ(inner, "x");
      EXPECT_FALSE(reader.GetNextObjectProperty(inner));
    }
  }
  EXPECT_EQ(names, (std::vector<std::string>{"a", "b", "c"}));
  EXPECT_EQ(reader.ValueType(), JSValueType::Null);
  EXPECT_FALSE(reader.GetNextArrayItem());
}

TEST(JSValueTest, ReadingStopsNestingAtTheDepthLimit) {
  JSValue deep(1);
  for (int level = 0; level < 1000; ++level) deep = Array({std::move(deep)});
  JSValueTreeReader reader(Array({deep, JSValue("sibling")}));
  const JSValue read = ReadValue(reader);
  ASSERT_EQ(read.TryGetArray()->size(), 2u);
  EXPECT_EQ(read.TryGetArray()->at(1), JSValue("sibling")) << "the skipped value was left behind";
  int arrays = 0;
  const JSValue* at = &read;
  while (const JSValueArray* array = at->TryGetArray()) {
    ++arrays;
    at = &array->front();
  }
  EXPECT_EQ(arrays, 256);
  EXPECT_EQ(at->Type(), JSValueType::Null);
}

TEST(JSValueTest, TreeWriterToleratesUnbalancedStreams) {
  JSValueTreeWriter writer;
  writer.WriteArrayEnd();  // nothing open: ignored
  writer.WriteObjectBegin();
  writer.WriteInt64(1);  // no name: goes under ""
  writer.WritePropertyName("k");
  writer.WriteArrayBegin();
  writer.WriteString("v");
  EXPECT_EQ(writer.TakeValue(), JSValue::Object({{"", 1}, {"k", Array({JSValue("v")})}}));
}

}  // namespace
}  // namespace tessarel
