// The script host's value reader and writer over JSON text, the form in which
// arguments and replies cross the web view's message channel.
//
//   JsonValueReader reader(R"([1, "two", {"b": true}])");
//   JSValue args = ReadValue(reader);            // [1.0, "two", {"b": true}]
//
//   JsonValueWriter writer;
//   WriteValue(writer, JSValue("1.0.0.0"));
//   writer.TakeJson();                           // "\"1.0.0.0\""
//
// Every script number arrives as a Double: a JavaScript number is a double,
// and JSON text cannot say otherwise. GetInt64 of a Double truncates toward
// zero and gives 0 outside the 64-bit range.
//
// Malformed text or nesting deeper than kMaxJsonDepth is refused by the
// reader's constructor with JsonFormatError; the writer never fails: invalid
// UTF-8 is replaced, NaN and the infinities are written as null (as
// JSON.stringify does), and calls out of order are ignored.
//
// Thread-safety: one thread at a time per reader or writer.
#pragma once

#include <cstddef>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include <nlohmann/json.hpp>

#include "values/js_value_reader.h"

namespace tessarel {

inline constexpr std::size_t kMaxJsonDepth = 128;

class JsonFormatError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// Parses `text` as one JSON value; throws JsonFormatError on bad text or
// nesting deeper than kMaxJsonDepth.
nlohmann::ordered_json ParseJsonText(std::string_view text);

class JsonValueReader final : public IJSValueReader {
 public:
  explicit JsonValueReader(std::string_view text);
  // Reads *value in place; it must outlive the reader.
  explicit JsonValueReader(const nlohmann::ordered_json* value);

  JSValueType ValueType() override;
  bool GetNextObjectProperty(std::string& propertyName) override;
  bool GetNextArrayItem() override;
  std::string GetString() override;
  bool GetBoolean() override;
  std::int64_t GetInt64() override;
  double GetDouble() override;

 private:
  struct Frame {
    const nlohmann::ordered_json* container;
    nlohmann::ordered_json::const_iterator position;
  };

  bool Advance(nlohmann::ordered_json::value_t kind);

  nlohmann::ordered_json owned_;
  const nlohmann::ordered_json* current_;
  // Set once the current container has been walked to its end, so that the
  // next Get* call moves on in the parent instead of walking it again.
  bool currentDone_ = false;
  std::vector<Frame> stack_;
};

// Writes JSON text as the calls come, with no tree in between: a reply of
// thousands of keys costs one pass and one growing string. A member name
// written twice in one object appears twice; JSON.parse keeps the last.
class JsonValueWriter final : public IJSValueWriter {
 public:
  void WriteNull() override;
  void WriteBoolean(bool value) override;
  void WriteInt64(std::int64_t value) override;
  void WriteDouble(double value) override;
  void WriteString(std::string_view value) override;
  void WriteObjectBegin() override;
  void WritePropertyName(std::string_view name) override;
  void WriteObjectEnd() override;
  void WriteArrayBegin() override;
  void WriteArrayEnd() override;

  // The value written so far as compact JSON text ("null" when nothing was
  // written); containers still open are closed in the text. The writer is
  // empty again afterwards.
  std::string TakeJson();

 private:
  // Starts a value: the separator and, in an object, the pending member name
  // ("" when none was written). False when the value has nowhere to go
  // because the top-level value is complete.
  bool BeginValue();
  void Open(char bracket, bool isObject);
  void Close(bool isObject);

  struct OpenContainer {
    bool isObject;
    bool empty = true;
  };

  std::string text_;
  bool rootDone_ = false;
  std::vector<OpenContainer> open_;
  std::string propertyName_;
};

}  // namespace tessarel
