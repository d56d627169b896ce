#include <array>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "model/keyboard_model.h"
#include "model/model_access.h"

namespace tessarel {

using namespace std::string_view_literals;

using model_detail::Gather;
using model_detail::ListIndex;
using model_detail::Optional;
using model_detail::Require;

JSValue ConvertKey(const ValueSet& key) {
  ElementBudget budget;
  return ConvertKey(key, budget);
}

JSValue ConvertKey(const ValueSet& key, ElementBudget& budget) {
  static constexpr std::array<std::string_view, 8> kNames = {
      "sizeX",         "sizeY",       "icon",       "orientation",
      "inactiveColor", "activeColor", "actionType", "actionMacros"};
  const auto [sizeXEntry, sizeYEntry, iconEntry, orientationEntry, inactiveColorEntry,
              activeColorEntry, actionTypeEntry, actionMacrosEntry] = Gather(key, kNames);
  // Read in the key's own order; any strict read that fails abandons the key.
  const std::uint32_t sizeX = Require<std::uint32_t>(sizeXEntry);
  const std::uint32_t sizeY = Require<std::uint32_t>(sizeYEntry);
  JSValue icon = ConvertIcon(iconEntry);
  const std::uint32_t orientation = Require<std::uint32_t>(orientationEntry);
  JSValue inactiveColor = ConvertColor(inactiveColorEntry);
  JSValue activeColor = ConvertColor(activeColorEntry);
  const std::uint32_t actionType = Require<std::uint32_t>(actionTypeEntry);
  JSValue macros = ConvertUInt32List(Require<ValueSet>(actionMacrosEntry), budget);

  // Every object is sized once and filled in ascending key order, the order
  // it keeps, so each member goes in at the end.
  JSValueObject action;
  action.reserve(2);
  action.emplace_hint(action.end(), "macros"sv, std::move(macros));
  action.emplace_hint(action.end(), "type"sv, JSValue(actionType));

  JSValueObject size;
  size.reserve(2);
  size.emplace_hint(size.end(), "x"sv, JSValue(sizeX));
  size.emplace_hint(size.end(), "y"sv, JSValue(sizeY));

  JSValueObject object;
  object.reserve(6);
  object.emplace_hint(object.end(), "action"sv, JSValue(std::move(action)));
  object.emplace_hint(object.end(), "activeColor"sv, std::move(activeColor));
  object.emplace_hint(object.end(), "icon"sv, std::move(icon));
  object.emplace_hint(object.end(), "inactiveColor"sv, std::move(inactiveColor));
  object.emplace_hint(object.end(), "orientation"sv, JSValue(orientation));
  object.emplace_hint(object.end(), "size"sv, JSValue(std::move(size)));
  return JSValue(std::move(object));
}

JSValue ConvertIcon(const PropertyValue* value) {
  const ValueSet* icon = value ? value->TryValueSet() : nullptr;
  if (icon == nullptr) return JSValue();
  static constexpr std::array<std::string_view, 2> kNames = {"type", "id"};
  const auto [typeEntry, idEntry] = Gather(*icon, kNames);
  const std::string& type = Require<std::string>(typeEntry);
  // The companion's icon ids are 64-bit patterns; the script sees them signed.
  const auto id = static_cast<std::int64_t>(Require<std::uint64_t>(idEntry));

  JSValueObject object;
  object.reserve(2);
  object.emplace_hint(object.end(), "id"sv, JSValue(id));
  object.emplace_hint(object.end(), "type"sv, JSValue(type));
  return JSValue(std::move(object));
}

JSValue ConvertColor(const PropertyValue* value) {
  const ValueSet* color = value ? value->TryValueSet() : nullptr;
  if (color == nullptr) return JSValue();
  static constexpr std::array<std::string_view, 3> kNames = {"r", "g", "b"};
  const auto [rEntry, gEntry, bEntry] = Gather(*color, kNames);
  // Channels are UInt8 exactly; a UInt32 channel is a different boxed type.
  const std::uint8_t r = Require<std::uint8_t>(rEntry);
  const std::uint8_t g = Require<std::uint8_t>(gEntry);
  const std::uint8_t b = Require<std::uint8_t>(bEntry);

  JSValueObject object;
  object.reserve(3);
  object.emplace_hint(object.end(), "b"sv, JSValue(b));
  object.emplace_hint(object.end(), "g"sv, JSValue(g));
  object.emplace_hint(object.end(), "r"sv, JSValue(r));
  return JSValue(std::move(object));
}

JSValue ConvertUInt32List(const ValueSet& list) {
  ElementBudget budget;
  return ConvertUInt32List(list, budget);
}

JSValue ConvertUInt32List(const ValueSet& list, ElementBudget& budget) {
  const std::uint32_t count = Require<std::uint32_t>(list, "count");
  budget.Charge(count);

  // Starts as all holes (null) and fills in the numbers in one pass over the
  // entries: nothing here can fail part way, so the entries' order does not
  // matter and no table of slots is needed.
  JSValueArray result(count);
  for (const auto& [name, entry] : list) {
    const std::optional<std::uint32_t> index = ListIndex(name, count);
    if (!index) continue;
    if (const std::uint32_t* number = entry.TryUInt32()) result[*index] = JSValue(*number);
  }
  return JSValue(std::move(result));
}

}  // namespace tessarel
