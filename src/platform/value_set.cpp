#include "platform/value_set.h"

namespace tessarel {

PropertyValue PropertyValue::CreateString(std::string value) {
  return PropertyValue(Storage(std::in_place_type<std::string>, std::move(value)));
}
PropertyValue PropertyValue::CreateBoolean(bool value) {
  return PropertyValue(Storage(std::in_place_type<bool>, value));
}
PropertyValue PropertyValue::CreateInt32(std::int32_t value) {
  return PropertyValue(Storage(std::in_place_type<std::int32_t>, value));
}
PropertyValue PropertyValue::CreateUInt8(std::uint8_t value) {
  return PropertyValue(Storage(std::in_place_type<std::uint8_t>, value));
}
PropertyValue PropertyValue::CreateUInt32(std::uint32_t value) {
  return PropertyValue(Storage(std::in_place_type<std::uint32_t>, value));
}
PropertyValue PropertyValue::CreateUInt64(std::uint64_t value) {
  return PropertyValue(Storage(std::in_place_type<std::uint64_t>, value));
}
PropertyValue PropertyValue::CreateValueSet(ValueSet value) {
  return PropertyValue(Storage(std::in_place_type<std::shared_ptr<const ValueSet>>,
                               std::make_shared<const ValueSet>(std::move(value))));
}

PropertyType PropertyValue::Type() const noexcept {
  switch (value_.index()) {
    case 0:
      return PropertyType::String;
    case 1:
      return PropertyType::Boolean;
    case 2:
      return PropertyType::Int32;
    case 3:
      return PropertyType::UInt8;
    case 4:
      return PropertyType::UInt32;
    case 5:
      return PropertyType::UInt64;
    default:
      return PropertyType::ValueSet;
  }
}

const ValueSet* PropertyValue::TryValueSet() const noexcept {
  const auto* nested = std::get_if<std::shared_ptr<const ValueSet>>(&value_);
  return nested ? nested->get() : nullptr;
}

bool operator==(const PropertyValue& a, const PropertyValue& b) {
  if (a.value_.index() != b.value_.index()) return false;
  if (const ValueSet* nested = a.TryValueSet()) return *nested == *b.TryValueSet();
  return a.value_ == b.value_;
}

// Most sets are small (a key has eight entries, a colour three): scanning
// those is cheaper than hashing, and a hash index for each of the thousands
// of sets of a keyboard model would triple its memory. Larger sets keep one.
std::size_t ValueSet::Position(std::string_view key) const noexcept {
  if (index_.empty()) {
    for (std::size_t i = 0; i < entries_.size(); ++i) {
      if (entries_[i].first == key) return i;
    }
    return kAbsent;
  }
  // The index is keyed by std::string; a heterogeneous lookup would need C++20
  // transparent hashing, which libstdc++ 12 lacks for unordered_map.
  const auto it = index_.find(std::string(key));
  return it == index_.end() ? kAbsent : it->second;
}

void ValueSet::Reindex() {
  index_.clear();
  if (entries_.size() <= kScanLimit) return;
  index_.reserve(entries_.size());
  for (std::size_t i = 0; i < entries_.size(); ++i) index_.emplace(entries_[i].first, i);
}

bool ValueSet::Insert(std::string key, PropertyValue value) {
  if (const std::size_t position = Position(key); position != kAbsent) {
    entries_[position].second = std::move(value);
    return true;
  }
  entries_.emplace_back(std::move(key), std::move(value));
  if (!index_.empty()) {
    index_.emplace(entries_.back().first, entries_.size() - 1);
  } else if (entries_.size() > kScanLimit) {
    Reindex();
  }
  return false;
}

bool ValueSet::Remove(std::string_view key) {
  const std::size_t position = Position(key);
  if (position == kAbsent) return false;
  entries_.erase(entries_.begin() + static_cast<std::ptrdiff_t>(position));
  if (!index_.empty()) Reindex();
  return true;
}

bool ValueSet::HasKey(std::string_view key) const noexcept {
  return Find(key) != nullptr;
}

const PropertyValue* ValueSet::Find(std::string_view key) const noexcept {
  const std::size_t position = Position(key);
  return position == kAbsent ? nullptr : &entries_[position].second;
}

const PropertyValue& ValueSet::Lookup(std::string_view key) const {
  if (const PropertyValue* value = Find(key)) return *value;
  throw hresult_error(error_codes::kBounds);
}

bool operator==(const ValueSet& a, const ValueSet& b) {
  return a.entries_ == b.entries_;
}

std::optional<PropertyValue> TolerantLookup(const ValueSet& set, std::string_view key) {
  // Our map reports absence only through kBounds; going through Find avoids
  // an exception per absent key in the hot conversion paths.
  if (const PropertyValue* value = set.Find(key)) return *value;
  return std::nullopt;
}

}  // namespace tessarel
