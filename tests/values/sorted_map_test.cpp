#include "values/sorted_map.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "values/js_value.h"
#include "values/js_value_tree.h"

namespace tessarel {
namespace {

using Map = SortedMap<int>;
using Reference = std::map<std::string, int, std::less<>>;
using Members = std::vector<std::pair<std::string, int>>;

// Keys whose byte order differs from a naive or signed-char order: the empty
// key, upper before lower case, a prefix before its extension, an embedded
// NUL, DEL and a UTF-8 lead byte (>= 0x80, after all ASCII).
const std::vector<std::string>& Keys() {
  static const std::vector<std::string> keys = {
      "", "a", "ab", "B", "b", std::string("a\0", 2), "\x7F", "\xC3\xA9", "z", "zz"};
  return keys;
}

Members Contents(const Map& map) {
  return Members(map.begin(), map.end());
}
Members Contents(const Reference& map) {
  return Members(map.begin(), map.end());
}

// Random operations applied to std::map and to ours must leave both with the
// same members in the same order, and answer every lookup alike.
TEST(SortedMapTest, MatchesStdMapUnderRandomOperations) {
  std::mt19937 random(20240611);
  const std::vector<std::string>& keys = Keys();
  std::uniform_int_distribution<std::size_t> pickKey(0, keys.size() - 1);
  std::uniform_int_distribution<int> pickOperation(0, 5);
  Map map;
  Reference reference;
  for (int step = 0; step < 4000; ++step) {
    const std::string& key = keys[pickKey(random)];
    const int operation = pickOperation(random);
    SCOPED_TRACE("step " + std::to_string(step) + ", operation " + std::to_string(operation));
    switch (operation) {
      case 0: {
        const auto [at, inserted] = map.try_emplace(key, step);
        const auto [referenceAt, referenceInserted] = reference.try_emplace(key, step);
        EXPECT_EQ(inserted, referenceInserted);
        EXPECT_EQ(at->second, referenceAt->second);
        break;
      }
      case 1: {
        const auto [at, inserted] = map.insert_or_assign(key, step);
        EXPECT_EQ(inserted, reference.insert_or_assign(key, step).second);
        EXPECT_EQ(at->first, key);
        break;
      }
      case 2: {
        // A hint anywhere, right or wrong, must not break the order.
        const auto offset = static_cast<Map::difference_type>(random() % (map.size() + 1));
        const auto at = map.emplace_hint(map.cbegin() + offset, key, step);
        reference.emplace(key, step);
        EXPECT_EQ(at->first, key);
        EXPECT_EQ(at->second, reference.at(key));
        break;
      }
      case 3:
        map[key] += step;
        reference[key] += step;
        break;
      case 4:
        EXPECT_EQ(map.erase(key), reference.erase(key));
        break;
      case 5:
        if (const auto found = map.find(key); found != map.end()) map.erase(found);
        reference.erase(key);
        break;
    }
    ASSERT_EQ(Contents(map), Contents(reference));
  }
  for (const std::string& key : keys) {
    EXPECT_EQ(map.contains(key), reference.contains(key)) << key;
    EXPECT_EQ(map.count(key), reference.count(key)) << key;
  }
  EXPECT_THROW(Map().at("absent"), std::out_of_range);
}

// A batch taken in any order comes out sorted with one member per key, the
// first or the last of a repeated key as asked; both sorting paths (small
// and large batches) are covered.
TEST(SortedMapTest, BatchesSortOnceAndKeepOneMemberPerKey) {
  std::mt19937 random(7);
  Members large;
  for (int i = 0; i < 300; ++i) large.emplace_back("k" + std::to_string(i % 97), i);
  std::shuffle(large.begin(), large.end(), random);
  Members smallShuffled;
  for (int i = 0; i < 24; ++i) smallShuffled.emplace_back(Keys()[i % Keys().size()], i);
  std::shuffle(smallShuffled.begin(), smallShuffled.end(), random);

  struct Row {
    const char* desc;
    Members members;
  } rows[] = {
      {"empty", {}},
      {"already sorted", {{"a", 1}, {"b", 2}, {"c", 3}}},
      {"reversed with repeats", {{"c", 1}, {"b", 2}, {"c", 3}, {"a", 4}, {"b", 5}}},
      {"one key only", {{"k", 1}, {"k", 2}, {"k", 3}}},
      {"byte-order keys shuffled, with repeats", smallShuffled},
      {"large shuffled batch with repeats", large},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.desc);
    Reference first;
    Reference last;
    for (const auto& [key, value] : row.members) {
      first.try_emplace(key, value);
      last.insert_or_assign(key, value);
    }
    EXPECT_EQ(Contents(Map::FromMembers(row.members, SortedMapDuplicates::KeepFirst)),
              Contents(first));
    EXPECT_EQ(Contents(Map::FromMembers(row.members, SortedMapDuplicates::KeepLast)),
              Contents(last));
  }
}

// The members of a flat object of numbers; empty for anything else.
Members ObjectContents(const JSValue& value) {
  Members members;
  if (const JSValueObject* object = value.TryGetObject()) {
    for (const auto& [key, member] : *object) {
      members.emplace_back(key, static_cast<int>(member.AsInt64()));
    }
  }
  return members;
}

// Yields one flat object of Int64 members in the given order, repeats and
// all, as a script's JSON text may.
class FlatObjectReader final : public IJSValueReader {
 public:
  explicit FlatObjectReader(const Members& members) : members_(members) {}
  JSValueType ValueType() override { return next_ == 0 ? JSValueType::Object : JSValueType::Int64; }
  bool GetNextObjectProperty(std::string& propertyName) override {
    if (next_ == members_.size()) return false;
    propertyName = members_[next_++].first;
    return true;
  }
  bool GetNextArrayItem() override { return false; }
  std::string GetString() override { return std::string(); }
  bool GetBoolean() override { return false; }
  std::int64_t GetInt64() override { return members_[next_ - 1].second; }
  double GetDouble() override { return 0.0; }

 private:
  const Members& members_;
  std::size_t next_ = 0;
};

// Objects arriving member by member through ReadValue or the tree writer end
// sorted, and a repeated name keeps its last value there.
TEST(SortedMapTest, StreamedObjectsEndSortedAndKeepTheLastRepeat) {
  Members large;
  for (int i = 0; i < 80; ++i) large.emplace_back("m" + std::to_string(79 - i % 40), i);
  struct Row {
    const char* desc;
    Members members;
  } rows[] = {
      {"descending", {{"r", 1}, {"g", 2}, {"b", 3}}},
      {"repeat later in the stream", {{"b", 1}, {"a", 2}, {"b", 3}}},
      {"large descending, every name twice", large},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.desc);
    Reference last;
    for (const auto& [key, value] : row.members) last.insert_or_assign(key, value);
    const Members want = Contents(last);

    FlatObjectReader reader(row.members);
    EXPECT_EQ(ObjectContents(ReadValue(reader)), want);

    JSValueTreeWriter writer;
    writer.WriteObjectBegin();
    for (const auto& [key, value] : row.members) {
      writer.WritePropertyName(key);
      writer.WriteInt64(value);
    }
    writer.WriteObjectEnd();
    EXPECT_EQ(ObjectContents(writer.TakeValue()), want);
  }
}

}  // namespace
}  // namespace tessarel
