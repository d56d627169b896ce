#include "values/js_value.h"

#include <array>
#include <charconv>
#include <clocale>
#include <cmath>
#include <cstdlib>
#include <limits>

// strtod_l and newlocale come from the C library (glibc declares them in
// <stdlib.h> and <locale.h>); no platform toolkit header is involved.
#include <locale.h>
#include <stdlib.h>

namespace tessarel {
namespace {

// ASCII words that AsBoolean accepts as true, compared after ASCII
// lower-casing. Fixed at compile time and read-only.
constexpr std::array<std::string_view, 5> kTrueStrings = {"true", "1", "yes", "y", "on"};

constexpr std::string_view kBlanks = " \n\r\t\f\v";

// Deeper containers than this are read as null: the conversions, copies and
// the destructor recurse once per level, and a script can send any depth.
constexpr int kMaxReadDepth = 256;

char AsciiLower(char c) noexcept {
  return (c >= 'A' && c <= 'Z') ? static_cast<char>(c - 'A' + 'a') : c;
}

bool IsTrueString(std::string_view text) noexcept {
  for (std::string_view word : kTrueStrings) {
    if (word.size() != text.size()) continue;
    bool same = true;
    for (std::size_t i = 0; i < word.size() && same; ++i) same = AsciiLower(text[i]) == word[i];
    if (same) return true;
  }
  return false;
}

// The "C" locale for number parsing. GTK may set LC_NUMERIC from the
// environment, and a decimal comma must not change what the script's numbers
// mean. Created on first use and never changed afterwards.
locale_t NumericCLocale() noexcept {
  static const locale_t locale = newlocale(LC_NUMERIC_MASK, "C", locale_t{});
  return locale;
}

// Truncation toward zero within [-2^63, 2^63]; everything else (NaN too) is 0.
// 2^63 itself has no int64 counterpart; the processor's conversion (cvttsd2si)
// gives INT64_MIN for it, and that is the result kept here, spelled out so that
// no out-of-range conversion happens in C++.
std::int64_t DoubleToInt64(double value) noexcept {
  constexpr double kTwoTo63 = 9223372036854775808.0;
  if (!(value >= -kTwoTo63 && value <= kTwoTo63)) return 0;
  if (value == kTwoTo63) return std::numeric_limits<std::int64_t>::min();
  return static_cast<std::int64_t>(value);
}

// Skips the value the reader is on without building it, iteratively, so that
// any nesting depth is passed over with constant stack use.
void SkipValue(IJSValueReader& reader) {
  std::vector<JSValueType> open;
  std::string name;
  JSValueType type = reader.ValueType();
  if (type != JSValueType::Object && type != JSValueType::Array) return;
  open.push_back(type);
  while (!open.empty()) {
    const bool more = open.back() == JSValueType::Object ? reader.GetNextObjectProperty(name)
                                                         : reader.GetNextArrayItem();
    if (!more) {
      open.pop_back();
      continue;
    }
    type = reader.ValueType();
    if (type == JSValueType::Object || type == JSValueType::Array) open.push_back(type);
  }
}

JSValue ReadValueAt(IJSValueReader& reader, int depth) {
  switch (reader.ValueType()) {
    case JSValueType::Null:
      return JSValue();
    case JSValueType::Object: {
      if (depth >= kMaxReadDepth) {
        SkipValue(reader);
        return JSValue();
      }
      // Gathered as they come and sorted once: a reader may give the members
      // in any order, and inserting each into its sorted place would cost
      // time quadratic in their number. A repeated name keeps its last value.
      std::vector<JSValueObject::value_type> members;
      std::string name;
      while (reader.GetNextObjectProperty(name)) {
        JSValue member = ReadValueAt(reader, depth + 1);
        members.emplace_back(std::move(name), std::move(member));
        name.clear();
      }
      return JSValue(JSValueObject::FromMembers(std::move(members), SortedMapDuplicates::KeepLast));
    }
    case JSValueType::Array: {
      if (depth >= kMaxReadDepth) {
        SkipValue(reader);
        return JSValue();
      }
      JSValueArray array;
      while (reader.GetNextArrayItem()) array.push_back(ReadValueAt(reader, depth + 1));
      return JSValue(std::move(array));
    }
    case JSValueType::String:
      return JSValue(reader.GetString());
    case JSValueType::Boolean:
      return JSValue(reader.GetBoolean());
    case JSValueType::Int64:
      return JSValue(reader.GetInt64());
    case JSValueType::Double:
      return JSValue(reader.GetDouble());
  }
  return JSValue();
}

}  // namespace

JSValue::JSValue(JSValueObject&& value) noexcept : value_(std::move(value)) {}
JSValue::JSValue(JSValueArray&& value) noexcept : value_(std::move(value)) {}
JSValue::JSValue(std::string value) noexcept : value_(std::move(value)) {}
JSValue::JSValue(std::string_view value) : value_(std::string(value)) {}
JSValue::JSValue(const char* value) : value_(std::string(value ? value : "")) {}
JSValue::JSValue(bool value) noexcept : value_(value) {}
JSValue::JSValue(double value) noexcept : value_(value) {}

JSValue JSValue::Object(std::initializer_list<std::pair<std::string_view, JSValue>> members) {
  std::vector<JSValueObject::value_type> pairs;
  pairs.reserve(members.size());
  for (const auto& [key, value] : members) pairs.emplace_back(key, value);
  return JSValue(JSValueObject::FromMembers(std::move(pairs), SortedMapDuplicates::KeepFirst));
}

JSValue::JSValue(const JSValue& other) = default;
JSValue& JSValue::operator=(const JSValue& other) = default;
JSValue::JSValue(JSValue&& other) noexcept = default;
JSValue& JSValue::operator=(JSValue&& other) noexcept = default;
JSValue::~JSValue() = default;

JSValueType JSValue::Type() const noexcept {
  // The variant's alternatives are listed in the order of JSValueType.
  return static_cast<JSValueType>(value_.index());
}

std::string JSValue::AsString() const {
  switch (Type()) {
    case JSValueType::Null:
      return "null";
    case JSValueType::Object:
    case JSValueType::Array:
      return std::string();
    case JSValueType::String:
      return std::get<std::string>(value_);
    case JSValueType::Boolean:
      return std::get<bool>(value_) ? "true" : "false";
    case JSValueType::Int64: {
      std::array<char, 24> text{};
      const auto result =
          std::to_chars(text.data(), text.data() + text.size(), std::get<std::int64_t>(value_));
      return std::string(text.data(), result.ptr);
    }
    case JSValueType::Double:
      return DoubleToString(std::get<double>(value_));
  }
  return std::string();
}

bool JSValue::AsBoolean() const noexcept {
  switch (Type()) {
    case JSValueType::Null:
      return false;
    case JSValueType::Object:
      return !std::get<JSValueObject>(value_).empty();
    case JSValueType::Array:
      return !std::get<JSValueArray>(value_).empty();
    case JSValueType::String:
      return IsTrueString(std::get<std::string>(value_));
    case JSValueType::Boolean:
      return std::get<bool>(value_);
    case JSValueType::Int64:
      return std::get<std::int64_t>(value_) != 0;
    case JSValueType::Double: {
      const double value = std::get<double>(value_);
      return !std::isnan(value) && value != 0.0;
    }
  }
  return false;
}

std::int64_t JSValue::AsInt64() const noexcept {
  switch (Type()) {
    case JSValueType::Null:
    case JSValueType::Object:
    case JSValueType::Array:
      return 0;
    case JSValueType::String:
      return DoubleToInt64(StringToDouble(std::get<std::string>(value_)));
    case JSValueType::Boolean:
      return std::get<bool>(value_) ? 1 : 0;
    case JSValueType::Int64:
      return std::get<std::int64_t>(value_);
    case JSValueType::Double:
      return DoubleToInt64(std::get<double>(value_));
  }
  return 0;
}

const JSValueObject* JSValue::TryGetObject() const noexcept {
  return std::get_if<JSValueObject>(&value_);
}
const JSValueArray* JSValue::TryGetArray() const noexcept {
  return std::get_if<JSValueArray>(&value_);
}
const std::string* JSValue::TryGetString() const noexcept {
  return std::get_if<std::string>(&value_);
}
const bool* JSValue::TryGetBoolean() const noexcept {
  return std::get_if<bool>(&value_);
}
const std::int64_t* JSValue::TryGetInt64() const noexcept {
  return std::get_if<std::int64_t>(&value_);
}
const double* JSValue::TryGetDouble() const noexcept {
  return std::get_if<double>(&value_);
}

bool operator==(const JSValue& a, const JSValue& b) {
  return a.value_ == b.value_;
}

double StringToDouble(std::string_view text) noexcept {
  const std::size_t first = text.find_first_not_of(kBlanks);
  if (first == std::string_view::npos) return 0.0;  // empty or blanks only
  const std::size_t last = text.find_last_not_of(kBlanks);
  // strtod needs a terminated string; an embedded NUL ends the parse early
  // and so counts as trailing junk, as it would for the C library.
  const std::string trimmed(text.substr(first, last - first + 1));
  const char* begin = trimmed.c_str();
  char* end = nullptr;
  const locale_t locale = NumericCLocale();
  const double value = locale ? strtod_l(begin, &end, locale) : std::strtod(begin, &end);
  if (end != begin + trimmed.size()) return std::numeric_limits<double>::quiet_NaN();
  return value;
}

std::string DoubleToString(double value) {
  if (std::isnan(value)) return "NaN";
  if (std::isinf(value)) return value > 0 ? "Infinity" : "-Infinity";
  // to_chars with a precision formats as printf's %.6g does in the "C"
  // locale: the same text a default-formatted stream gives, with no locale.
  std::array<char, 32> text{};
  const auto result =
      std::to_chars(text.data(), text.data() + text.size(), value, std::chars_format::general, 6);
  return std::string(text.data(), result.ptr);
}

JSValue ReadValue(IJSValueReader& reader) {
  return ReadValueAt(reader, 0);
}

void WriteValue(IJSValueWriter& writer, const JSValue& value) {
  switch (value.Type()) {
    case JSValueType::Null:
      writer.WriteNull();
      return;
    case JSValueType::Object:
      writer.WriteObjectBegin();
      for (const auto& [key, member] : *value.TryGetObject()) {
        writer.WritePropertyName(key);
        WriteValue(writer, member);
      }
      writer.WriteObjectEnd();
      return;
    case JSValueType::Array:
      writer.WriteArrayBegin();
      for (const JSValue& item : *value.TryGetArray()) WriteValue(writer, item);
      writer.WriteArrayEnd();
      return;
    case JSValueType::String:
      writer.WriteString(*value.TryGetString());
      return;
    case JSValueType::Boolean:
      writer.WriteBoolean(*value.TryGetBoolean());
      return;
    case JSValueType::Int64:
      writer.WriteInt64(*value.TryGetInt64());
      return;
    case JSValueType::Double:
      writer.WriteDouble(*value.TryGetDouble());
      return;
  }
}

}  // namespace tessarel
