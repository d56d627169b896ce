// Short ways to build companion messages in tests, the benchmark and the
// fuzzer:
//
//   ValueSet key = Set({{"sizeX", U32(1)}, {"icon", Str("none")}});
//   ValueSet row = List({Nested(key), Nested(key)});      // count 2, "0", "1"
//   ValueSet holes = ListWithCount(3, {{0, Nested(key)}}); // "1", "2" missing
//
// KeyboardShape builds a whole valid keyboard list of any size.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <string>
#include <utility>
#include <vector>

#include "platform/value_set.h"

namespace tessarel::testing {

inline PropertyValue Str(std::string value) {
  return PropertyValue::CreateString(std::move(value));
}
inline PropertyValue Bool(bool value) {
  return PropertyValue::CreateBoolean(value);
}
inline PropertyValue I32(std::int32_t value) {
  return PropertyValue::CreateInt32(value);
}
inline PropertyValue U8(std::uint8_t value) {
  return PropertyValue::CreateUInt8(value);
}
inline PropertyValue U32(std::uint32_t value) {
  return PropertyValue::CreateUInt32(value);
}
inline PropertyValue U64(std::uint64_t value) {
  return PropertyValue::CreateUInt64(value);
}
inline PropertyValue Nested(ValueSet value) {
  return PropertyValue::CreateValueSet(std::move(value));
}

inline ValueSet Set(std::initializer_list<std::pair<std::string, PropertyValue>> entries) {
  ValueSet set;
  for (const auto& [key, value] : entries) set.Insert(key, value);
  return set;
}

// The set with `key` removed or replaced: for rows that spoil one member.
inline ValueSet Without(ValueSet set, std::string_view key) {
  set.Remove(key);
  return set;
}
inline ValueSet With(ValueSet set, std::string key, PropertyValue value) {
  set.Insert(std::move(key), std::move(value));
  return set;
}

// The list encoding: "count" first, then one entry per element.
inline ValueSet List(const std::vector<PropertyValue>& elements) {
  ValueSet list;
  list.Insert("count", U32(static_cast<std::uint32_t>(elements.size())));
  for (std::size_t i = 0; i < elements.size(); ++i) list.Insert(std::to_string(i), elements[i]);
  return list;
}

// A list with an explicit count and only the given entries.
inline ValueSet ListWithCount(std::uint32_t count,
                              std::initializer_list<std::pair<std::uint32_t, PropertyValue>> at) {
  ValueSet list;
  list.Insert("count", U32(count));
  for (const auto& [index, value] : at) list.Insert(std::to_string(index), value);
  return list;
}

inline ValueSet Color(std::uint8_t r, std::uint8_t g, std::uint8_t b) {
  return Set({{"r", U8(r)}, {"g", U8(g)}, {"b", U8(b)}});
}

// A key with every member present.
inline ValueSet FullKey(std::uint32_t macro = 7) {
  return Set({{"sizeX", U32(1)},
              {"sizeY", U32(2)},
              {"icon", Nested(Set({{"type", Str("glyph")}, {"id", U64(9)}}))},
              {"orientation", U32(3)},
              {"inactiveColor", Nested(Color(1, 2, 3))},
              {"activeColor", Nested(Color(255, 0, 128))},
              {"actionType", U32(4)},
              {"actionMacros", Nested(List({U32(macro)}))}});
}

inline ValueSet AppPaths(std::size_t count, const std::string& stem = "/bin/app") {
  ValueSet paths;
  for (std::size_t i = 0; i < count; ++i) {
    paths.Insert(std::to_string(i), Nested(Set({{"appPath", Str(stem + std::to_string(i))}})));
  }
  return paths;
}

inline ValueSet Layer(std::uint32_t type, ValueSet rows) {
  return Set({{"type", U32(type)}, {"keys", Nested(std::move(rows))}});
}

inline ValueSet Keyboard(std::string id, ValueSet layers) {
  return Set({{"id", Str(std::move(id))},
              {"name", Str("Board")},
              {"model", U32(2)},
              {"layers", Nested(std::move(layers))},
              {"appPaths", Nested(AppPaths(8))}});
}

// A keyboard list of the given size, every key a FullKey.
struct KeyboardShape {
  std::uint32_t keyboards = 1;
  std::uint32_t layers = 1;
  std::uint32_t rows = 1;
  std::uint32_t keysPerRow = 1;

  ValueSet Build() const {
    std::vector<PropertyValue> keyboardList;
    for (std::uint32_t k = 0; k < keyboards; ++k) {
      std::vector<PropertyValue> layerList;
      for (std::uint32_t l = 0; l < layers; ++l) {
        std::vector<PropertyValue> rowList;
        for (std::uint32_t r = 0; r < rows; ++r) {
          std::vector<PropertyValue> keys;
          for (std::uint32_t x = 0; x < keysPerRow; ++x) keys.push_back(Nested(FullKey(x)));
          rowList.push_back(Nested(List(keys)));
        }
        layerList.push_back(Nested(Layer(l, List(rowList))));
      }
      keyboardList.push_back(Nested(Keyboard("kb" + std::to_string(k), List(layerList))));
    }
    return List(keyboardList);
  }
};

}  // namespace tessarel::testing
