// The keyboard model as the companion sends it (nested ValueSets) converted
// into the values the script receives (JSValue trees).
//
//   JSValue keyboards = ConvertKeyboards(reply.Lookup("keyboards"));
//   // [{"appPaths": [...8 strings], "id": "...", "layers": [...], "model": 2, "name": "..."}]
//
// Lists arrive in the companion's list encoding: a "count" entry (UInt32)
// and one entry per element under its decimal index "0", "1", ... Entries at
// or beyond count are never read.
//
// The top level is lenient: a bad "count" gives an empty list, a keyboard
// entry that is not a ValueSet is skipped, and "id", "name" and "model" fall
// back to defaults. Everything below a keyboard is strict: a required value
// that is absent or boxed as another type raises hresult_error(kNoInterface)
// and abandons the whole conversion, so no partial list is ever returned.
//
// Hostile input is bounded: one list may hold at most kMaxListCount elements
// and one conversion at most kMaxListElements list elements in all (holes
// included, since a hole still costs a null element). Beyond either bound the
// conversion fails with hresult_error(kBounds). The depth of the result is
// fixed by the model's shape (list, keyboard, layers, rows, keys, colours),
// whatever the nesting of the input; nested ValueSets are immutable once
// boxed, so the input can hold no cycles.
//
// Thread-safety: pure functions over immutable input; safe from any thread.
#pragma once

#include <cstddef>
#include <cstdint>

#include "platform/value_set.h"
#include "values/js_value.h"

namespace tessarel {

// No real keyboard comes near these: the largest model has a few keyboards of
// eight layers of six rows of about twenty keys.
inline constexpr std::uint32_t kMaxListCount = 4096;
inline constexpr std::size_t kMaxListElements = std::size_t{1} << 18;

// Counts the list elements one conversion has produced or skipped.
class ElementBudget {
 public:
  explicit ElementBudget(std::size_t limit = kMaxListElements) noexcept : remaining_(limit) {}

  // Accounts for a list of `count` elements; throws hresult_error(kBounds)
  // when the list, or the conversion as a whole, grows beyond its bound.
  void Charge(std::uint32_t count);

 private:
  std::size_t remaining_;
};

// Converts one list element (a present ValueSet entry).
using ElementConverter = JSValue (*)(const ValueSet& element, ElementBudget& budget);

// Keyboard list to Array of keyboard objects (lenient top level).
JSValue ConvertKeyboards(const ValueSet& keyboards);
JSValue ConvertKeyboards(const ValueSet& keyboards, ElementBudget& budget);

// Strict list: "count" must be a UInt32; an element that is absent or not a
// ValueSet becomes null, so positions are kept.
JSValue ConvertList(const ValueSet& list, ElementConverter convert, ElementBudget& budget);

// Layer {"type", "keys"} to {"keys": rows, "type": n}.
JSValue ConvertLayer(const ValueSet& layer);
JSValue ConvertLayer(const ValueSet& layer, ElementBudget& budget);

// List of rows, each a list of keys, to Array of Array (or null per hole).
JSValue ConvertKeyRows(const ValueSet& rows, ElementBudget& budget);
JSValue ConvertKeyRow(const ValueSet& row, ElementBudget& budget);

// The fixed table "0".."7" of {"appPath": string} to Array of eight strings.
JSValue ConvertAppPaths(const ValueSet& paths);

// Key to {"action", "activeColor", "icon", "inactiveColor", "orientation",
// "size"}.
JSValue ConvertKey(const ValueSet& key);
JSValue ConvertKey(const ValueSet& key, ElementBudget& budget);

// Optional members: anything but a ValueSet (or nothing) gives null; a
// ValueSet must hold all of its members.
JSValue ConvertIcon(const PropertyValue* value);
JSValue ConvertColor(const PropertyValue* value);

// List of UInt32 to Array of Int64, null for an entry of another type.
JSValue ConvertUInt32List(const ValueSet& list);
JSValue ConvertUInt32List(const ValueSet& list, ElementBudget& budget);

}  // namespace tessarel
