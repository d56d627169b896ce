// Reading the companion's property bags inside the model conversions: strict
// typed reads and the decimal index keys of the list encoding.
//
// Our ValueSet reports an absent key only as "not there" (never with another
// failure code), so a plain search is the tolerant lookup here and costs no
// exception per absent key. Model sets are small (a key has eight entries, a
// colour three), and for those a scan of the entries is much cheaper than
// hashing a copy of the key; larger sets use the set's index.
//
// Thread-safety: pure functions.
#pragma once

#include <array>
#include <charconv>
#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

#include "platform/value_set.h"

namespace tessarel::model_detail {

inline constexpr std::size_t kScanLimit = 16;

// Equality of two short keys, byte by byte: model keys are a few bytes long,
// and comparing them inline costs less than a call into the C library.
inline bool SameKey(std::string_view a, std::string_view b) noexcept {
  if (a.size() != b.size()) return false;
  for (std::size_t i = 0; i < a.size(); ++i) {
    if (a[i] != b[i]) return false;
  }
  return true;
}

inline const PropertyValue* Entry(const ValueSet& set, std::string_view key) noexcept {
  if (set.Size() > kScanLimit) return set.Find(key);
  for (const auto& [name, value] : set) {
    if (SameKey(name, key)) return &value;
  }
  return nullptr;
}

// The entries under `names`, found in one pass over the set (nullptr for an
// absent one). Keys are unique in a set, so this finds what one lookup per
// name would, without scanning the set once per name.
template <std::size_t N>
std::array<const PropertyValue*, N> Gather(const ValueSet& set,
                                           const std::array<std::string_view, N>& names) noexcept {
  std::array<const PropertyValue*, N> found{};
  for (const auto& [name, value] : set) {
    for (std::size_t i = 0; i < N; ++i) {
      if (SameKey(name, names[i])) {
        found[i] = &value;
        break;
      }
    }
  }
  return found;
}

// The value boxed as T; hresult_error(kNoInterface) when it is absent or
// boxed as another type.
template <class T>
const T& Require(const PropertyValue* value) {
  const T* typed = value ? detail::TryGet<T>(*value) : nullptr;
  if (typed == nullptr) throw hresult_error(error_codes::kNoInterface);
  return *typed;
}

// The value under `key` boxed as T; hresult_error(kNoInterface) when it is
// absent or boxed as another type.
template <class T>
const T& Require(const ValueSet& set, std::string_view key) {
  const PropertyValue* value = Entry(set, key);
  const T* typed = value ? detail::TryGet<T>(*value) : nullptr;
  if (typed == nullptr) throw hresult_error(error_codes::kNoInterface);
  return *typed;
}

// The value under `key` boxed as T, or nullptr.
template <class T>
const T* Optional(const ValueSet& set, std::string_view key) noexcept {
  const PropertyValue* value = Entry(set, key);
  return value ? detail::TryGet<T>(*value) : nullptr;
}

// The list index that `name` spells when it is the decimal key of an index
// below `count` ("0", "1", ... exactly: no sign, no leading zero, no blanks);
// nullopt for any other key.
inline std::optional<std::uint32_t> ListIndex(std::string_view name, std::uint32_t count) noexcept {
  if (name.empty() || name.size() > 10 || (name.size() > 1 && name[0] == '0')) return std::nullopt;
  std::uint64_t index = 0;
  for (const char c : name) {
    if (c < '0' || c > '9') return std::nullopt;
    index = index * 10 + static_cast<std::uint64_t>(c - '0');
  }
  if (index >= count) return std::nullopt;
  return static_cast<std::uint32_t>(index);
}

// The entries of a list, by index: slot i holds the entry under the decimal
// key of i, or nullptr for a hole. One pass over the entries; entries at or
// beyond `count` and keys of any other form are ignored.
inline std::vector<const PropertyValue*> ListSlots(const ValueSet& list, std::uint32_t count) {
  std::vector<const PropertyValue*> slots(count, nullptr);
  for (const auto& [name, value] : list) {
    if (const std::optional<std::uint32_t> index = ListIndex(name, count)) slots[*index] = &value;
  }
  return slots;
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
