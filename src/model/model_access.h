// Reading the companion's property bags inside the model conversions: strict
// typed reads and the decimal index keys of the list encoding.
//
// Our ValueSet reports an absent key only as "not there" (never with another
// failure code), so a plain Find is the tolerant lookup here and costs no
// exception per absent key.
//
// Thread-safety: pure functions.
#pragma once

#include <charconv>
#include <cstdint>
#include <string_view>

#include "platform/value_set.h"

namespace tessarel::model_detail {

// The value under `key` boxed as T; hresult_error(kNoInterface) when it is
// absent or boxed as another type.
template <class T>
const T& Require(const ValueSet& set, std::string_view key) {
  const PropertyValue* value = set.Find(key);
  const T* typed = value ? detail::TryGet<T>(*value) : nullptr;
  if (typed == nullptr) throw hresult_error(error_codes::kNoInterface);
  return *typed;
}

// The value under `key` boxed as T, or nullptr.
template <class T>
const T* Optional(const ValueSet& set, std::string_view key) noexcept {
  const PropertyValue* value = set.Find(key);
  return value ? detail::TryGet<T>(*value) : nullptr;
}

// The key of list element `index`: its decimal digits, no sign, no padding.
class IndexKey {
 public:
  explicit IndexKey(std::uint32_t index) noexcept
      : length_(static_cast<std::size_t>(
            std::to_chars(digits_, digits_ + sizeof digits_, index).ptr - digits_)) {}
  std::string_view View() const noexcept { return {digits_, length_}; }

 private:
  char digits_[10];
  std::size_t length_;
};

}  // namespace tessarel::model_detail
