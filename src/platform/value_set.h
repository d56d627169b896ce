// The companion link's message: a map from case-sensitive keys to boxed
// values, and the boxed value itself.
//
//   ValueSet request;
//   request.Insert("method", PropertyValue::CreateString("keyboards"));
//   auto result = TolerantLookup(reply, "result");        // nullopt when absent
//   uint32_t state = UnboxOr<uint32_t>(result, 0);         // 0 when absent or of another type
//
// Strings are UTF-8 throughout (the wire and the script use UTF-8 too, so no
// conversion happens anywhere on Linux). A ValueSet keeps its keys in
// insertion order, so a request goes out, and a test sees it, in the order in
// which it was built; Insert of an existing key replaces the value in place.
//
// Boxed types are kept exactly: UInt8 and UInt32 are different types, and the
// unboxing helpers never convert one into the other.
//
// Thread-safety: plain values. A nested ValueSet is shared immutably between
// copies, so copies may travel to other threads freely.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <variant>
#include <vector>

#include "platform/hresult_error.h"

namespace tessarel {

class ValueSet;

// The kinds of boxed value a message may carry. The numbers are those of the
// platform's PropertyType where it has them.
enum class PropertyType : int {
  UInt8 = 1,
  Int32 = 4,
  UInt32 = 5,
  UInt64 = 7,
  Boolean = 11,
  String = 12,
  ValueSet = 1000,  // a nested property bag; not a scalar property type
};

class PropertyValue {
 public:
  static PropertyValue CreateString(std::string value);
  static PropertyValue CreateBoolean(bool value);
  static PropertyValue CreateInt32(std::int32_t value);
  static PropertyValue CreateUInt8(std::uint8_t value);
  static PropertyValue CreateUInt32(std::uint32_t value);
  static PropertyValue CreateUInt64(std::uint64_t value);
  static PropertyValue CreateValueSet(ValueSet value);

  PropertyType Type() const noexcept;

  // Typed access; nullptr when the value is of another type.
  const std::string* TryString() const noexcept { return std::get_if<std::string>(&value_); }
  const bool* TryBoolean() const noexcept { return std::get_if<bool>(&value_); }
  const std::int32_t* TryInt32() const noexcept { return std::get_if<std::int32_t>(&value_); }
  const std::uint8_t* TryUInt8() const noexcept { return std::get_if<std::uint8_t>(&value_); }
  const std::uint32_t* TryUInt32() const noexcept { return std::get_if<std::uint32_t>(&value_); }
  const std::uint64_t* TryUInt64() const noexcept { return std::get_if<std::uint64_t>(&value_); }
  const ValueSet* TryValueSet() const noexcept;

  friend bool operator==(const PropertyValue& a, const PropertyValue& b);

 private:
  using Storage = std::variant<std::string, bool, std::int32_t, std::uint8_t, std::uint32_t,
                               std::uint64_t, std::shared_ptr<const ValueSet>>;
  explicit PropertyValue(Storage value) : value_(std::move(value)) {}
  Storage value_;
};

class ValueSet {
 public:
  using Entry = std::pair<std::string, PropertyValue>;

  ValueSet() = default;

  // Inserts or replaces; returns true when the key was already there.
  bool Insert(std::string key, PropertyValue value);
  bool Remove(std::string_view key);
  bool HasKey(std::string_view key) const noexcept;

  // The value under key; throws hresult_error(kBounds) when there is none,
  // as the platform's map lookup does.
  const PropertyValue& Lookup(std::string_view key) const;

  // nullptr when absent; never throws.
  const PropertyValue* Find(std::string_view key) const noexcept;

  std::size_t Size() const noexcept { return entries_.size(); }
  bool Empty() const noexcept { return entries_.empty(); }
  auto begin() const noexcept { return entries_.begin(); }
  auto end() const noexcept { return entries_.end(); }

  friend bool operator==(const ValueSet& a, const ValueSet& b);

 private:
  // Sets of up to this many entries are searched by a scan; larger ones keep
  // a hash index from key to position.
  static constexpr std::size_t kScanLimit = 16;
  static constexpr std::size_t kAbsent = static_cast<std::size_t>(-1);

  std::size_t Position(std::string_view key) const noexcept;
  void Reindex();

  std::vector<Entry> entries_;
  std::unordered_map<std::string, std::size_t> index_;  // empty up to kScanLimit entries
};

// Lookup in which the failures kBounds, kFail and kFileNotFound count as an
// absent key (nullopt); any other failure propagates.
std::optional<PropertyValue> TolerantLookup(const ValueSet& set, std::string_view key);

namespace detail {
template <class T>
const T* TryGet(const PropertyValue& value) noexcept {
  if constexpr (std::is_same_v<T, std::string>) {
    return value.TryString();
  } else if constexpr (std::is_same_v<T, bool>) {
    return value.TryBoolean();
  } else if constexpr (std::is_same_v<T, std::int32_t>) {
    return value.TryInt32();
  } else if constexpr (std::is_same_v<T, std::uint8_t>) {
    return value.TryUInt8();
  } else if constexpr (std::is_same_v<T, std::uint32_t>) {
    return value.TryUInt32();
  } else if constexpr (std::is_same_v<T, std::uint64_t>) {
    return value.TryUInt64();
  } else if constexpr (std::is_same_v<T, ValueSet>) {
    return value.TryValueSet();
  } else {
    static_assert(sizeof(T) == 0, "not a boxable type");
  }
}
}  // namespace detail

// Strict unbox: throws hresult_error(kNoInterface) when the value is absent or
// of another boxed type.
template <class T>
T Unbox(const std::optional<PropertyValue>& value) {
  if (value) {
    if (const T* typed = detail::TryGet<T>(*value)) return *typed;
  }
  throw hresult_error(error_codes::kNoInterface);
}

// Lenient unbox: the fallback when the value is absent or of another type.
template <class T>
T UnboxOr(const std::optional<PropertyValue>& value, T fallback) {
  if (value) {
    if (const T* typed = detail::TryGet<T>(*value)) return *typed;
  }
  return fallback;
}

}  // namespace tessarel
