// A value writer for tests that keeps every call as one short token, in
// order, so a test can assert the exact stream (member order included, which
// a JSValue cannot show since objects sort their members):
//
//   RecordingWriter writer;
//   WriteValue(writer, JSValue::Object({{"r", 1}, {"b", 2}}));
//   writer.Text();   // "{ b: i2 r: i1 }"
//
// Tokens: "{" "}" "[" "]", "name:" for a property name, "null", "true"/"false",
// "i<n>" for Int64, "d<text>" for Double (DoubleToString), "s'<text>'" for
// String. A test that needs the value rather than the stream uses
// JSValueTreeWriter instead.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "values/js_value.h"
#include "values/js_value_reader.h"

namespace tessarel::testing {

class RecordingWriter : public IJSValueWriter {
 public:
  void WriteNull() override { tokens.push_back("null"); }
  void WriteBoolean(bool value) override { tokens.push_back(value ? "true" : "false"); }
  void WriteInt64(std::int64_t value) override { tokens.push_back("i" + std::to_string(value)); }
  void WriteDouble(double value) override { tokens.push_back("d" + DoubleToString(value)); }
  void WriteString(std::string_view value) override {
    tokens.push_back("s'" + std::string(value) + "'");
  }
  void WriteObjectBegin() override { tokens.push_back("{"); }
  void WritePropertyName(std::string_view name) override {
    tokens.push_back(std::string(name) + ":");
  }
  void WriteObjectEnd() override { tokens.push_back("}"); }
  void WriteArrayBegin() override { tokens.push_back("["); }
  void WriteArrayEnd() override { tokens.push_back("]"); }

  // The tokens joined by single spaces.
  std::string Text() const {
    std::string text;
    for (const std::string& token : tokens) {
      if (!text.empty()) text += ' ';
      text += token;
    }
    return text;
  }

  std::vector<std::string> tokens;
};

}  // namespace tessarel::testing
