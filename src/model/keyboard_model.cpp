#include "model/keyboard_model.h"

#include <string>
#include <utility>

#include "model/model_access.h"

namespace tessarel {

using namespace std::string_view_literals;

using model_detail::IndexKey;
using model_detail::ListSlots;
using model_detail::Optional;
using model_detail::Require;

namespace {
constexpr std::uint32_t kAppPathCount = 8;
}  // namespace

void ElementBudget::Charge(std::uint32_t count) {
  // Checked before anything is allocated for the list, so a forged count
  // costs neither memory nor time.
  if (count > kMaxListCount) {
    throw hresult_error(error_codes::kBounds, "Companion list of " + std::to_string(count) +
                                                  " elements exceeds the limit of " +
                                                  std::to_string(kMaxListCount));
  }
  if (count > remaining_) {
    throw hresult_error(error_codes::kBounds, "Keyboard model exceeds the limit of " +
                                                  std::to_string(kMaxListElements) +
                                                  " list elements");
  }
  remaining_ -= count;
}

JSValue ConvertKeyboards(const ValueSet& keyboards) {
  ElementBudget budget;
  return ConvertKeyboards(keyboards, budget);
}

JSValue ConvertKeyboards(const ValueSet& keyboards, ElementBudget& budget) {
  // Lenient: a missing or wrongly boxed count is an empty list.
  const std::uint32_t* counted = Optional<std::uint32_t>(keyboards, "count");
  const std::uint32_t count = counted ? *counted : 0;
  budget.Charge(count);

  JSValueArray result;
  result.reserve(count);  // within the bound: Charge has checked it
  const std::vector<const PropertyValue*> entries = ListSlots(keyboards, count);
  for (const PropertyValue* entry : entries) {
    const ValueSet* keyboard = entry ? entry->TryValueSet() : nullptr;
    if (keyboard == nullptr) continue;  // skipped: later keyboards move up

    const std::string* id = Optional<std::string>(*keyboard, "id");
    const std::string* name = Optional<std::string>(*keyboard, "name");
    const std::uint32_t* model = Optional<std::uint32_t>(*keyboard, "model");
    JSValue layers = ConvertList(Require<ValueSet>(*keyboard, "layers"), ConvertLayer, budget);
    JSValue appPaths = ConvertAppPaths(Require<ValueSet>(*keyboard, "appPaths"));

    // Members go in in ascending key order, so each insertion is at the end.
    JSValueObject object;
    object.reserve(5);
    object.emplace_hint(object.end(), "appPaths"sv, std::move(appPaths));
    object.emplace_hint(object.end(), "id"sv, JSValue(id ? *id : std::string("unknown id")));
    object.emplace_hint(object.end(), "layers"sv, std::move(layers));
    object.emplace_hint(object.end(), "model"sv, JSValue(model ? *model : std::uint32_t{0}));
    object.emplace_hint(object.end(), "name"sv,
                        JSValue(name ? *name : std::string("unknown name")));
    result.emplace_back(std::move(object));
  }
  return JSValue(std::move(result));
}

JSValue ConvertList(const ValueSet& list, ElementConverter convert, ElementBudget& budget) {
  const std::uint32_t count = Require<std::uint32_t>(list, "count");
  budget.Charge(count);

  JSValueArray result;
  result.reserve(count);
  for (const PropertyValue* entry : ListSlots(list, count)) {
    const ValueSet* element = entry ? entry->TryValueSet() : nullptr;
    // A hole keeps its position as null.
    result.push_back(element ? convert(*element, budget) : JSValue());
  }
  return JSValue(std::move(result));
}

JSValue ConvertLayer(const ValueSet& layer) {
  ElementBudget budget;
  return ConvertLayer(layer, budget);
}

JSValue ConvertLayer(const ValueSet& layer, ElementBudget& budget) {
  const std::uint32_t type = Require<std::uint32_t>(layer, "type");
  JSValue keys = ConvertKeyRows(Require<ValueSet>(layer, "keys"), budget);

  JSValueObject object;
  object.reserve(2);
  object.emplace_hint(object.end(), "keys"sv, std::move(keys));
  object.emplace_hint(object.end(), "type"sv, JSValue(type));
  return JSValue(std::move(object));
}

JSValue ConvertKeyRows(const ValueSet& rows, ElementBudget& budget) {
  return ConvertList(rows, ConvertKeyRow, budget);
}

JSValue ConvertKeyRow(const ValueSet& row, ElementBudget& budget) {
  return ConvertList(row, ConvertKey, budget);
}

JSValue ConvertAppPaths(const ValueSet& paths) {
  // A fixed table of eight: no "count", and entries beyond "7" are ignored.
  JSValueArray result;
  result.reserve(kAppPathCount);
  for (std::uint32_t i = 0; i < kAppPathCount; ++i) {
    const ValueSet& entry = Require<ValueSet>(paths, IndexKey(i).View());
    result.emplace_back(Require<std::string>(entry, "appPath"));
  }
  return JSValue(std::move(result));
}

}  // namespace tessarel
