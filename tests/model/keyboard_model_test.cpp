#include "model/keyboard_model.h"

#include <gtest/gtest.h>

#include <string>

#include "support/to_json.h"
#include "support/value_set_builders.h"

namespace tessarel {
namespace {

using namespace testing;  // NOLINT: the builders read as a small language

const std::string kPathsJson =
    R"(["/bin/app0","/bin/app1","/bin/app2","/bin/app3","/bin/app4","/bin/app5","/bin/app6","/bin/app7"])";

std::string KeyJson(int macro) {
  return R"({"action":{"macros":[)" + std::to_string(macro) +
         R"(],"type":4},"activeColor":{"b":128,"g":0,"r":255},"icon":{"id":9,"type":"glyph"},)"
         R"("inactiveColor":{"b":3,"g":2,"r":1},"orientation":3,"size":{"x":1,"y":2}})";
}

std::string EmptyKeyboardJson(const std::string& id) {
  return R"({"appPaths":)" + kPathsJson + R"(,"id":")" + id +
         R"(","layers":[],"model":2,"name":"Board"})";
}

ValueSet EmptyKeyboard(const std::string& id) {
  return Keyboard(id, List({}));
}

// One layer, one row, one key: the smallest keyboard that reaches every level.
ValueSet KeyboardWithKey(const ValueSet& key) {
  return Keyboard("a", List({Nested(Layer(5, List({Nested(List({Nested(key)}))})))}));
}

struct ConversionRow {
  const char* desc;
  ValueSet in;
  std::string wantJson;
};

TEST(ConvertKeyboardsTest, ConvertsWithDefaultsAndHoles) {
  const ConversionRow rows[] = {
      {"a count boxed as Int32 is an empty list",
       Set({{"count", I32(1)}, {"0", Nested(EmptyKeyboard("a"))}}), "[]"},
      {"a missing keyboard and one not a ValueSet are skipped, later ones move up",
       ListWithCount(
           4, {{0, Nested(EmptyKeyboard("a"))}, {1, Str("junk")}, {3, Nested(EmptyKeyboard("c"))}}),
       "[" + EmptyKeyboardJson("a") + "," + EmptyKeyboardJson("c") + "]"},
      {"entries at or beyond count are not read",
       ListWithCount(1, {{0, Nested(EmptyKeyboard("a"))}, {1, Nested(EmptyKeyboard("b"))}}),
       "[" + EmptyKeyboardJson("a") + "]"},
      {"id and name of another type, model boxed as UInt8",
       List({Nested(With(With(With(EmptyKeyboard("a"), "id", U32(1)), "name", Bool(true)), "model",
                         U8(2)))}),
       R"([{"appPaths":)" + kPathsJson +
           R"(,"id":"unknown id","layers":[],"model":0,"name":"unknown name"}])"},
      {"a layer under a padded index is a hole",
       List({Nested(Keyboard("a", With(ListWithCount(2, {{1, Nested(Layer(1, List({})))}}), "01",
                                       Nested(Layer(2, List({}))))))}),
       R"([{"appPaths":)" + kPathsJson +
           R"(,"id":"a","layers":[null,{"keys":[],"type":1}],"model":2,"name":"Board"}])"},
      {"ten app paths give the first eight",
       List({Nested(With(EmptyKeyboard("a"), "appPaths", Nested(AppPaths(10))))}),
       "[" + EmptyKeyboardJson("a") + "]"},
      {"every level, members in key order", List({Nested(KeyboardWithKey(FullKey(7)))}),
       R"([{"appPaths":)" + kPathsJson + R"(,"id":"a","layers":[{"keys":[[)" + KeyJson(7) +
           R"(]],"type":5}],"model":2,"name":"Board"}])"},
      {"holes in layers, rows and keys stay as nulls",
       List({Nested(Keyboard(
           "a",
           ListWithCount(
               3, {{0, Nested(Layer(1, ListWithCount(3, {{1, Nested(ListWithCount(
                                                                 2, {{1, Nested(FullKey(3))}}))},
                                                         {2, Str("row")}})))},
                   {2, I32(4)}})))}),
       R"([{"appPaths":)" + kPathsJson + R"(,"id":"a","layers":[{"keys":[null,[null,)" +
           KeyJson(3) + R"(],null],"type":1},null,null],"model":2,"name":"Board"}])"},
  };
  for (const ConversionRow& row : rows) {
    SCOPED_TRACE(row.desc);
    EXPECT_EQ(ToJson(ConvertKeyboards(row.in)), row.wantJson);
  }
}

TEST(ConvertKeyTest, ConvertsOptionalMembersAndNumbers) {
  const ConversionRow rows[] = {
      {"no icon, a colour given as text, a colour missing",
       Without(With(Without(FullKey(7), "icon"), "activeColor", Str("#ff0080")), "inactiveColor"),
       R"({"action":{"macros":[7],"type":4},"activeColor":null,"icon":null,)"
       R"("inactiveColor":null,"orientation":3,"size":{"x":1,"y":2}})"},
      {"icon id reinterpreted as signed",
       With(FullKey(7), "icon", Nested(Set({{"type", Str("t")}, {"id", U64(UINT64_MAX)}}))),
       R"({"action":{"macros":[7],"type":4},"activeColor":{"b":128,"g":0,"r":255},)"
       R"("icon":{"id":-1,"type":"t"},"inactiveColor":{"b":3,"g":2,"r":1},"orientation":3,)"
       R"("size":{"x":1,"y":2}})"},
      {"unsigned values widened without sign, codes passed through",
       With(With(With(FullKey(7), "sizeX", U32(4294967295u)), "orientation", U32(4000000000u)),
            "actionType", U32(99)),
       R"({"action":{"macros":[7],"type":99},"activeColor":{"b":128,"g":0,"r":255},)"
       R"("icon":{"id":9,"type":"glyph"},"inactiveColor":{"b":3,"g":2,"r":1},)"
       R"("orientation":4000000000,"size":{"x":4294967295,"y":2}})"},
      {"bad macro entries become nulls in place",
       With(FullKey(7), "actionMacros",
            Nested(ListWithCount(4, {{0, Str("1")}, {1, U32(8)}, {2, I32(9)}}))),
       R"({"action":{"macros":[null,8,null,null],"type":4},"activeColor":{"b":128,"g":0,"r":255},)"
       R"("icon":{"id":9,"type":"glyph"},"inactiveColor":{"b":3,"g":2,"r":1},"orientation":3,)"
       R"("size":{"x":1,"y":2}})"},
  };
  for (const ConversionRow& row : rows) {
    SCOPED_TRACE(row.desc);
    EXPECT_EQ(ToJson(ConvertKey(row.in)), row.wantJson);
  }
}

// The error a conversion fails with; a conversion that returns is a failure.
hresult_error ConversionError(const ValueSet& keyboards) {
  try {
    ADD_FAILURE() << "converted to " << ToJson(ConvertKeyboards(keyboards));
  } catch (const hresult_error& error) {
    return error;
  }
  return hresult_error(0);
}

struct FailureRow {
  const char* desc;
  ValueSet keyboards;
};

// Each row spoils one required value below the top level; the whole
// conversion must fail with no-such-interface, never return a partial list.
TEST(ConvertKeyboardsTest, StrictLevelsFailWholeConversion) {
  const ValueSet good = EmptyKeyboard("good");
  auto afterGood = [&good](ValueSet bad) { return List({Nested(good), Nested(std::move(bad))}); };
  auto badKey = [&](ValueSet key) { return afterGood(KeyboardWithKey(key)); };
  auto badLayer = [&](ValueSet layer) { return afterGood(Keyboard("a", List({Nested(layer)}))); };
  ValueSet paths = AppPaths(8);
  const FailureRow rows[] = {
      {"layers missing", afterGood(Without(EmptyKeyboard("a"), "layers"))},
      {"appPaths not a ValueSet", afterGood(With(EmptyKeyboard("a"), "appPaths", Str("/bin")))},
      {"seven app paths", afterGood(With(EmptyKeyboard("a"), "appPaths", Nested(AppPaths(7))))},
      {"app path entry not a ValueSet",
       afterGood(With(EmptyKeyboard("a"), "appPaths", Nested(With(paths, "3", Str("/x")))))},
      {"appPath not a string",
       afterGood(With(EmptyKeyboard("a"), "appPaths",
                      Nested(With(paths, "7", Nested(Set({{"appPath", U32(1)}}))))))},
      {"appPath missing",
       afterGood(With(EmptyKeyboard("a"), "appPaths", Nested(With(paths, "0", Nested(Set({}))))))},
      {"layer list without count", afterGood(Keyboard("a", Without(List({}), "count")))},
      {"layer count boxed as Int32", afterGood(Keyboard("a", Set({{"count", I32(0)}})))},
      {"layer type boxed as UInt8", badLayer(With(Layer(1, List({})), "type", U8(1)))},
      {"layer keys missing", badLayer(Without(Layer(1, List({})), "keys"))},
      {"row without count", badLayer(Layer(1, List({Nested(Set({}))})))},
      {"sizeX as a string", badKey(With(FullKey(), "sizeX", Str("1")))},
      {"sizeY missing", badKey(Without(FullKey(), "sizeY"))},
      {"orientation missing", badKey(Without(FullKey(), "orientation"))},
      {"actionType boxed as Int32", badKey(With(FullKey(), "actionType", I32(4)))},
      {"actionMacros not a ValueSet", badKey(With(FullKey(), "actionMacros", U32(1)))},
      {"actionMacros without count", badKey(With(FullKey(), "actionMacros", Nested(Set({}))))},
      {"colour channel boxed as UInt32",
       badKey(With(FullKey(), "inactiveColor",
                   Nested(Set({{"r", U8(1)}, {"g", U32(2)}, {"b", U8(3)}}))))},
      {"icon id boxed as UInt32",
       badKey(With(FullKey(), "icon", Nested(Set({{"type", Str("t")}, {"id", U32(1)}}))))},
      {"icon type missing", badKey(With(FullKey(), "icon", Nested(Set({{"id", U64(1)}}))))},
  };
  for (const FailureRow& row : rows) {
    SCOPED_TRACE(row.desc);
    const hresult_error error = ConversionError(row.keyboards);
    EXPECT_EQ(error.code(), error_codes::kNoInterface);
    EXPECT_EQ(error.message(), "No such interface supported");
  }
}

// A forged count must be refused before it costs memory or time, while a
// count of holes within the bound is still a list of nulls.
TEST(ConvertKeyboardsTest, BoundsForgedCounts) {
  ValueSet nullLayers = Keyboard("a", ListWithCount(kMaxListCount, {}));
  JSValue converted = ConvertKeyboards(List({Nested(nullLayers)}));
  const JSValue& layers = converted.TryGetArray()->at(0).TryGetObject()->at("layers");
  ASSERT_NE(layers.TryGetArray(), nullptr);
  EXPECT_EQ(layers.TryGetArray()->size(), kMaxListCount);
  EXPECT_EQ(layers.TryGetArray()->back().Type(), JSValueType::Null);

  // Shared nested sets let a small input describe a huge tree: 4096 layers,
  // each the same set of 4096 empty rows, would be 16 million elements.
  const ValueSet wideRows = ListWithCount(kMaxListCount, {});
  std::vector<PropertyValue> sameLayer(kMaxListCount, Nested(Layer(1, wideRows)));
  const struct {
    const char* desc;
    ValueSet keyboards;
  } rows[] = {
      {"top-level count", ListWithCount(UINT32_MAX, {})},
      {"layer count", List({Nested(Keyboard("a", ListWithCount(kMaxListCount + 1, {})))})},
      {"macro count", List({Nested(KeyboardWithKey(With(FullKey(), "actionMacros",
                                                        Nested(ListWithCount(UINT32_MAX, {})))))})},
      {"elements in all", List({Nested(Keyboard("a", List(sameLayer)))})},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.desc);
    const hresult_error error = ConversionError(row.keyboards);
    EXPECT_EQ(error.code(), error_codes::kBounds);
    EXPECT_NE(error.message().find("limit"), std::string::npos) << error.message();
  }
}

}  // namespace
}  // namespace tessarel
