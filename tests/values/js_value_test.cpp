#include "values/js_value.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <clocale>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <limits>

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

// AsString, AsBoolean and AsInt64 of one value per row; a string row leaves
// AsString out (nullptr), as it is the string itself.
TEST(JSValueTest, Conversions) {
  struct Row {
    const char* desc;
    JSValue value;
    const char* text;
    bool boolean;
    std::int64_t int64;
  } rows[] = {
      {"null", JSValue(), "null", false, 0},
      {"empty object", JSValue(JSValueObject{}), "", false, 0},
      {"object", JSValue::Object({{"a", false}}), "", true, 0},
      {"array of false", Array({false}), "", true, 0},
      {"true", JSValue(true), "true", true, 1},
      {"int64 min", JSValue(kInt64Min), "-9223372036854775808", true, kInt64Min},
      {"uint32 zero-extends", JSValue(std::uint32_t{0xFFFFFFFF}), "4294967295", true, 4294967295},
      {"seven digits round to six", JSValue(1234567.0), "1.23457e+06", true, 1234567},
      {"rounding carries into the exponent", JSValue(999999.7), "1e+06", true, 999999},
      {"fixed down to 1e-4", JSValue(-1e-4), "-0.0001", true, 0},
      {"exponent below 1e-4", JSValue(1.5e-5), "1.5e-05", true, 0},
      {"NaN", JSValue(kNaN), "NaN", false, 0},
      {"infinity", JSValue(kInf), "Infinity", true, 0},
      {"negative infinity", JSValue(-kInf), "-Infinity", true, 0},
      {"negative zero", JSValue(-0.0), "-0", false, 0},
      {"truncates toward zero", JSValue(-3.9), "-3.9", true, -3},
      {"2^63 is the processor's INT64_MIN", JSValue(kTwoTo63), "9.22337e+18", true, kInt64Min},
      {"-2^63", JSValue(-kTwoTo63), "-9.22337e+18", true, kInt64Min},
      {"largest double below 2^63", JSValue(std::nextafter(kTwoTo63, 0.0)), "9.22337e+18", true,
       9223372036854774784},
      {"just beyond 2^63", JSValue(std::nextafter(kTwoTo63, kInf)), "9.22337e+18", true, 0},
      {"just beyond -2^63", JSValue(std::nextafter(-kTwoTo63, -kInf)), "-9.22337e+18", true, 0},
      // Strings: true for the words of the table in any ASCII case, and
      // numbers by the string-to-number rule.
      {"true word", JSValue("true"), nullptr, true, 0},
      {"upper-case YES", JSValue("YES"), nullptr, true, 0},
      {"mixed-case On", JSValue("On"), nullptr, true, 0},
      {"y", JSValue("y"), nullptr, true, 0},
      {"1", JSValue("1"), nullptr, true, 1},
      {"yes then a space is not trimmed", JSValue("yes "), nullptr, false, 0},
      {"2 is not in the table", JSValue("2"), nullptr, false, 2},
      {"non-ASCII is not folded", JSValue("\xC3\x9D"), nullptr, false, 0},
      {"all blank kinds trimmed", JSValue("\t\n\v\f\r 42\r\n"), nullptr, false, 42},
      {"42 followed by letters", JSValue("42abc"), nullptr, false, 0},
      {"embedded NUL is junk", JSValue(std::string("42\0", 3)), nullptr, false, 0},
      {"blanks only", JSValue(" \t "), nullptr, false, 0},
      {"sign and fraction", JSValue("-7.9"), nullptr, false, -7},
      {"hexadecimal", JSValue("0x10"), nullptr, false, 16},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.desc);
    if (row.text) {
      EXPECT_EQ(row.value.AsString(), row.text);
    }
    EXPECT_EQ(row.value.AsBoolean(), row.boolean);
    EXPECT_EQ(row.value.AsInt64(), row.int64);
  }
}

// GTK sets LC_NUMERIC from the environment; a decimal comma there must not
// change how numbers read or print. The comma locale is built here, as few
// machines ship one.
TEST(JSValueTest, NumericLocaleDoesNotChangeNumbers) {
  namespace fs = std::filesystem;
  const fs::path dir = fs::path(::testing::TempDir()) / ("comma-" + std::to_string(getpid()));
  fs::create_directories(dir);
  std::ofstream(dir / "comma.src")
      << "LC_NUMERIC\ndecimal_point \",\"\nthousands_sep \".\"\ngrouping 3;3\nEND LC_NUMERIC\n"
      << "LC_CTYPE\ncopy \"POSIX\"\nEND LC_CTYPE\n";
  const std::string build =
      "cd '" + dir.string() +
      "' && localedef -c -i comma.src -f ANSI_X3.4-1968 ./comma >/dev/null 2>&1";
  (void)std::system(build.c_str());
  setenv("LOCPATH", dir.c_str(), 1);
  const bool comma = std::setlocale(LC_NUMERIC, "comma") != nullptr;
  fs::remove_all(dir);
  if (!comma) GTEST_SKIP() << "localedef could not build a decimal-comma locale";

  EXPECT_EQ(StringToDouble("1.5"), 1.5);
  EXPECT_TRUE(std::isnan(StringToDouble("1,5")));
  EXPECT_EQ(JSValue("2.5e1").AsInt64(), 25);
  EXPECT_EQ(JSValue(0.5).AsString(), "0.5");
  std::setlocale(LC_NUMERIC, "C");
}

// Objects write their members in byte order of the names, whatever order
// they were built in; a repeated name keeps its first value.
TEST(JSValueTest, ObjectsWriteMembersInByteOrder) {
  RecordingWriter writer;
  WriteValue(writer, Array({JSValue::Object({{"r", 1}, {"g", 2}, {"b", 3}, {"g", 4}}), JSValue(),
                            JSValue::Object({{"z", Array({})}, {"y", JSValue(0.5)}}), JSValue("s"),
                            JSValue(false)}));
  EXPECT_EQ(writer.Text(), "[ { b: i3 g: i2 r: i1 } null { y: d0.5 z: [ ] } s's' false ]");
}

// A tree written and read back is the same tree. Streamed objects keep the
// last of a repeated name, unlike JSValue::Object; the writer also copes
// with a stream that is not balanced.
TEST(JSValueTest, TreeWriterAndReaderRoundTrip) {
  const JSValue tree = JSValue::Object(
      {{"s", JSValue("caf\xC3\xA9")},
       {"n", Array({Array({JSValue(), JSValue::Object({{"deep", JSValue(-0.25)}})}), kInt64Min})},
       {"t", true}});
  JSValueTreeWriter writer;
  WriteValue(writer, tree);
  EXPECT_EQ(writer.TakeValue(), tree);
  EXPECT_EQ(writer.TakeValue(), JSValue()) << "TakeValue leaves the writer empty";
  JSValueTreeReader reader(tree);
  EXPECT_EQ(ReadValue(reader), tree);

  writer.WriteArrayEnd();  // nothing open: ignored
  writer.WriteObjectBegin();
  writer.WriteInt64(1);  // no name: goes under ""
  writer.WritePropertyName("k");
  writer.WriteInt64(2);
  writer.WritePropertyName("k");
  writer.WriteArrayBegin();
  writer.WriteString("v");  // left open: TakeValue closes it
  EXPECT_EQ(writer.TakeValue(), JSValue::Object({{"", 1}, {"k", Array({JSValue("v")})}}));
}

// A reader client that ignores values it does not want: the reader must go
// on with the enclosing container.
TEST(JSValueTest, TreeReaderPassesOverUnreadValues) {
  JSValueTreeReader reader(JSValue::Object({{"a", Array({JSValue(1), JSValue(2)})},
                                            {"b", JSValue::Object({{"x", 1}, {"y", Array({})}})},
                                            {"c", 3}}));
  std::string name;
  std::string seen;
  while (reader.GetNextObjectProperty(name)) {
    seen += name;
    if (name == "b") {
      while (reader.GetNextObjectProperty(name)) seen += name;  // values left unread
    } else if (name == "c") {
      EXPECT_EQ(reader.GetInt64(), 3);
    }
  }
  EXPECT_EQ(seen, "abxyc");
  EXPECT_EQ(reader.ValueType(), JSValueType::Null);
}

// 256 levels are read, the rest skipped as null; the sibling after the
// skipped levels is still read.
TEST(JSValueTest, ReadingStopsNestingAtTheDepthLimit) {
  JSValue deep(1);
  for (int level = 0; level < 1000; ++level) deep = Array({std::move(deep)});
  JSValue cut;
  for (int level = 0; level < 255; ++level) cut = Array({std::move(cut)});
  JSValueTreeReader reader(Array({deep, JSValue("sibling")}));
  EXPECT_EQ(ReadValue(reader), Array({cut, JSValue("sibling")}));
}

}  // namespace
}  // namespace tessarel
