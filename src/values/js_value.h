// The dynamic script value: null, object, array, string, boolean, 64-bit
// integer or double. Objects keep their members sorted by key (byte-wise), so
// they are always written in ascending key order whatever order built them.
//
//   JSValue color = JSValue::Object({{"r", 255}, {"g", 0}, {"b", 128}});
//   WriteValue(writer, color);      // writes "b", "g", "r"
//   JSValue("42 ").AsInt64();       // 42
//
// The conversions AsString, AsBoolean and AsInt64 never fail; every kind has a
// defined result. Copying is deep.
//
// Thread-safety: a plain value; one thread at a time.
#pragma once

#include <concepts>
#include <cstdint>
#include <functional>
#include <initializer_list>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include "values/js_value_reader.h"
#include "values/sorted_map.h"

namespace tessarel {

class JSValue;
using JSValueObject = SortedMap<JSValue>;
using JSValueArray = std::vector<JSValue>;

class JSValue {
 public:
  JSValue() noexcept = default;
  JSValue(std::nullptr_t) noexcept {}
  JSValue(JSValueObject&& value) noexcept;
  JSValue(JSValueArray&& value) noexcept;
  JSValue(std::string value) noexcept;
  JSValue(std::string_view value);
  JSValue(const char* value);
  JSValue(bool value) noexcept;
  // Any integer but bool and the character types; unsigned sources are
  // widened by zero extension.
  // clang-format 14 mis-indents requires-clauses.
  // clang-format off
  template <std::integral T>
    requires(!std::same_as<T, bool> && !std::same_as<T, char> && !std::same_as<T, char8_t> &&
             !std::same_as<T, char16_t> && !std::same_as<T, char32_t> &&
             !std::same_as<T, wchar_t>)
  JSValue(T value) noexcept : value_(static_cast<std::int64_t>(value)) {}
  // clang-format on
  JSValue(double value) noexcept;

  // An object from (key, value) pairs in any order, sorted once; a repeated
  // key keeps its first value.
  static JSValue Object(std::initializer_list<std::pair<std::string_view, JSValue>> members);

  JSValue(const JSValue& other);
  JSValue& operator=(const JSValue& other);
  JSValue(JSValue&& other) noexcept;
  JSValue& operator=(JSValue&& other) noexcept;
  ~JSValue();

  JSValueType Type() const noexcept;

  std::string AsString() const;
  bool AsBoolean() const noexcept;
  std::int64_t AsInt64() const noexcept;

  // Typed access; nullptr when the value is of another kind.
  const JSValueObject* TryGetObject() const noexcept;
  const JSValueArray* TryGetArray() const noexcept;
  const std::string* TryGetString() const noexcept;
  const bool* TryGetBoolean() const noexcept;
  const std::int64_t* TryGetInt64() const noexcept;
  const double* TryGetDouble() const noexcept;

  friend bool operator==(const JSValue& a, const JSValue& b);

 private:
  std::variant<std::monostate, JSValueObject, JSValueArray, std::string, bool, std::int64_t, double>
      value_;
};

// The string-to-number rule: empty or blank gives 0.0; otherwise the text
// trimmed of " \n\r\t\f\v" must parse completely with strtod, else NaN.
double StringToDouble(std::string_view text) noexcept;

// The double as a standard stream writes it with default flags (%g, precision
// 6), with "NaN", "Infinity" and "-Infinity" for the special values.
std::string DoubleToString(double value);

// Builds the value the reader is on. Containers nested deeper than 256 levels
// are read past and become null, so a script cannot make the recursive
// copies, writes and destruction of a value run out of stack.
JSValue ReadValue(IJSValueReader& reader);
void WriteValue(IJSValueWriter& writer, const JSValue& value);

}  // namespace tessarel
