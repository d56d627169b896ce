// A byte format for arbitrary ValueSet trees, so that a fuzzer's bytes can
// become companion messages (and seed inputs can be written from messages).
//
//   set     := entryCount(1 byte, taken % 32) entry*
//   entry   := keyByte key? typeByte value
//   keyByte := below the dictionary size: that dictionary key; otherwise a
//              literal key of (keyByte % 8) bytes follows
//   value   := by typeByte % 7: 0 string (length byte, bytes) | 1 boolean
//              (1 byte) | 2 Int32 (4 bytes) | 3 UInt8 (1 byte) | 4 UInt32
//              (4 bytes) | 5 UInt64 (8 bytes) | 6 nested set
//
// Integers are little-endian. Reading past the end gives zeros, so every
// input decodes, and nesting deeper than kMaxDepth gives empty sets.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "platform/value_set.h"

namespace tessarel::fuzzing {

// Keys the model and the replies look for, so that random input reaches them.
inline constexpr std::array<std::string_view, 40> kKeys = {"count",
                                                           "0",
                                                           "1",
                                                           "2",
                                                           "3",
                                                           "4",
                                                           "5",
                                                           "6",
                                                           "7",
                                                           "8",
                                                           "id",
                                                           "name",
                                                           "model",
                                                           "layers",
                                                           "appPaths",
                                                           "appPath",
                                                           "type",
                                                           "keys",
                                                           "sizeX",
                                                           "sizeY",
                                                           "icon",
                                                           "orientation",
                                                           "inactiveColor",
                                                           "activeColor",
                                                           "actionType",
                                                           "actionMacros",
                                                           "r",
                                                           "g",
                                                           "b",
                                                           "result",
                                                           "keyboards",
                                                           "method",
                                                           "9",
                                                           "10",
                                                           "4095",
                                                           "4096",
                                                           "",
                                                           "Count",
                                                           "01",
                                                           "-1"};

inline constexpr int kMaxDepth = 12;

enum class ValueTag : std::uint8_t {
  String = 0,
  Boolean = 1,
  Int32 = 2,
  UInt8 = 3,
  UInt32 = 4,
  UInt64 = 5,
  Set = 6
};

class ValueSetDecoder {
 public:
  ValueSetDecoder(const std::uint8_t* data, std::size_t size) : data_(data), size_(size) {}

  ValueSet DecodeSet(int depth = 0) {
    ValueSet set;
    const std::size_t entryCount = Byte() % 32;
    for (std::size_t i = 0; i < entryCount && !AtEnd(); ++i) {
      std::string key = Key();
      PropertyValue value = Value(depth);
      set.Insert(std::move(key), std::move(value));
    }
    return set;
  }

 private:
  bool AtEnd() const { return offset_ >= size_; }
  std::uint8_t Byte() { return AtEnd() ? 0 : data_[offset_++]; }
  template <class T>
  T Integer() {
    std::uint64_t value = 0;
    for (std::size_t i = 0; i < sizeof(T); ++i) value |= std::uint64_t{Byte()} << (8 * i);
    return static_cast<T>(value);
  }
  std::string Bytes(std::size_t length) {
    std::string text;
    for (std::size_t i = 0; i < length && !AtEnd(); ++i) text += static_cast<char>(Byte());
    return text;
  }
  std::string Key() {
    const std::uint8_t keyByte = Byte();
    if (keyByte < kKeys.size()) return std::string(kKeys[keyByte]);
    return Bytes(keyByte % 8);
  }
  PropertyValue Value(int depth) {
    switch (static_cast<ValueTag>(Byte() % 7)) {
      case ValueTag::String:
        return PropertyValue::CreateString(Bytes(Byte()));
      case ValueTag::Boolean:
        return PropertyValue::CreateBoolean(Byte() & 1);
      case ValueTag::Int32:
        return PropertyValue::CreateInt32(Integer<std::int32_t>());
      case ValueTag::UInt8:
        return PropertyValue::CreateUInt8(Byte());
      case ValueTag::UInt32:
        return PropertyValue::CreateUInt32(Integer<std::uint32_t>());
      case ValueTag::UInt64:
        return PropertyValue::CreateUInt64(Integer<std::uint64_t>());
      case ValueTag::Set:
        return PropertyValue::CreateValueSet(depth < kMaxDepth ? DecodeSet(depth + 1) : ValueSet{});
    }
    return PropertyValue::CreateBoolean(false);
  }

  const std::uint8_t* data_;
  std::size_t size_;
  std::size_t offset_ = 0;
};

// The inverse, for writing seed inputs. Sets of more than 31 entries or
// strings of more than 255 bytes cannot be written and are cut.
class ValueSetEncoder {
 public:
  void EncodeSet(const ValueSet& set) {
    bytes.push_back(static_cast<std::uint8_t>(set.Size() < 32 ? set.Size() : 31));
    std::size_t written = 0;
    for (const auto& [key, value] : set) {
      if (written++ == 31) break;
      EncodeKey(key);
      EncodeValue(value);
    }
  }

  std::vector<std::uint8_t> bytes;

 private:
  void EncodeKey(const std::string& key) {
    for (std::size_t i = 0; i < kKeys.size(); ++i) {
      if (kKeys[i] == key) {
        bytes.push_back(static_cast<std::uint8_t>(i));
        return;
      }
    }
    // A literal: the smallest byte at or above the dictionary with the length.
    const std::size_t length = key.size() < 8 ? key.size() : 7;
    auto keyByte = static_cast<std::uint8_t>(kKeys.size());
    while (keyByte % 8 != length) ++keyByte;
    bytes.push_back(keyByte);
    bytes.insert(bytes.end(), key.begin(), key.begin() + static_cast<std::ptrdiff_t>(length));
  }
  template <class T>
  void Integer(T value) {
    const auto bits = static_cast<std::uint64_t>(value);
    for (std::size_t i = 0; i < sizeof(T); ++i) bytes.push_back((bits >> (8 * i)) & 0xff);
  }
  void Tag(ValueTag tag) { bytes.push_back(static_cast<std::uint8_t>(tag)); }
  void EncodeValue(const PropertyValue& value) {
    if (const std::string* text = value.TryString()) {
      Tag(ValueTag::String);
      const std::size_t length = text->size() < 256 ? text->size() : 255;
      bytes.push_back(static_cast<std::uint8_t>(length));
      bytes.insert(bytes.end(), text->begin(), text->begin() + static_cast<std::ptrdiff_t>(length));
    } else if (const bool* flag = value.TryBoolean()) {
      Tag(ValueTag::Boolean);
      bytes.push_back(*flag ? 1 : 0);
    } else if (const std::int32_t* i32 = value.TryInt32()) {
      Tag(ValueTag::Int32);
      Integer(*i32);
    } else if (const std::uint8_t* u8 = value.TryUInt8()) {
      Tag(ValueTag::UInt8);
      bytes.push_back(*u8);
    } else if (const std::uint32_t* u32 = value.TryUInt32()) {
      Tag(ValueTag::UInt32);
      Integer(*u32);
    } else if (const std::uint64_t* u64 = value.TryUInt64()) {
      Tag(ValueTag::UInt64);
      Integer(*u64);
    } else if (const ValueSet* nested = value.TryValueSet()) {
      Tag(ValueTag::Set);
      EncodeSet(*nested);
    }
  }
};

}  // namespace tessarel::fuzzing
