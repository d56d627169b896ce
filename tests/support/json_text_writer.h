// A value writer for tests that produces compact JSON text in exactly the
// order of the calls, so member order shows in the text:
//
//   JsonTextWriter writer;
//   WriteValue(writer, JSValue::Object({{"r", 1}, {"b", 2}}));
//   writer.Text();   // {"b":2,"r":1}
//
// Strings are escaped for quotes, backslashes and control characters only.
#pragma once

#include <cstdio>
#include <string>
#include <string_view>
#include <vector>

#include "values/js_value.h"
#include "values/js_value_reader.h"

namespace tessarel::testing {

class JsonTextWriter : public IJSValueWriter {
 public:
  void WriteNull() override { Scalar("null"); }
  void WriteBoolean(bool value) override { Scalar(value ? "true" : "false"); }
  void WriteInt64(std::int64_t value) override { Scalar(std::to_string(value)); }
  void WriteDouble(double value) override { Scalar(DoubleToString(value)); }
  void WriteString(std::string_view value) override {
    Separate();
    Quote(value);
  }
  void WriteObjectBegin() override { Open('{'); }
  void WritePropertyName(std::string_view name) override {
    Separate();
    Quote(name);
    text_ += ':';
    afterName_ = true;
  }
  void WriteObjectEnd() override { Close('}'); }
  void WriteArrayBegin() override { Open('['); }
  void WriteArrayEnd() override { Close(']'); }

  const std::string& Text() const noexcept { return text_; }

 private:
  // A comma before every item but the first of its container; none after a
  // property name.
  void Separate() {
    if (afterName_) {
      afterName_ = false;
      return;
    }
    if (!firstInContainer_.empty()) {
      if (!firstInContainer_.back()) text_ += ',';
      firstInContainer_.back() = false;
    }
  }
  void Scalar(std::string_view token) {
    Separate();
    text_ += token;
  }
  void Open(char bracket) {
    Separate();
    text_ += bracket;
    firstInContainer_.push_back(true);
  }
  void Close(char bracket) {
    if (!firstInContainer_.empty()) firstInContainer_.pop_back();
    text_ += bracket;
  }
  void Quote(std::string_view value) {
    text_ += '"';
    for (char c : value) {
      if (c == '"' || c == '\\') {
        text_ += '\\';
        text_ += c;
      } else if (static_cast<unsigned char>(c) < 0x20) {
        char escaped[8];
        std::snprintf(escaped, sizeof escaped, "\\u%04x", static_cast<unsigned>(c));
        text_ += escaped;
      } else {
        text_ += c;
      }
    }
    text_ += '"';
  }

  std::string text_;
  std::vector<bool> firstInContainer_;
  bool afterName_ = false;
};

// The value as JSON text, members in written order.
inline std::string ToJson(const JSValue& value) {
  JsonTextWriter writer;
  WriteValue(writer, value);
  return writer.Text();
}

}  // namespace tessarel::testing
