#include "values/sorted_map.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <random>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace tessarel {
namespace {

using Map = SortedMap<int>;
using Reference = std::map<std::string, int, std::less<>>;
using Members = std::vector<std::pair<std::string, int>>;

template <class AnyMap>
Members Contents(const AnyMap& map) {
  return Members(map.begin(), map.end());
}

// Random operations applied to std::map and to ours must leave both with the
// same members in the same order, and answer every call alike.
TEST(SortedMapTest, MatchesStdMapUnderRandomOperations) {
  // Keys whose byte order differs from a naive or signed-char order: the
  // empty key, upper before lower case, a prefix before its extension, an
  // embedded NUL, DEL and a UTF-8 lead byte (>= 0x80, after all ASCII).
  const std::vector<std::string> keys = {"",     "a",        "ab", "B", "b", std::string("a\0", 2),
                                         "\x7F", "\xC3\xA9", "z",  "zz"};
  std::mt19937 random(20240611);
  std::uniform_int_distribution<std::size_t> pickKey(0, keys.size() - 1);
  std::uniform_int_distribution<int> pickOperation(0, 3);
  Map map;
  Reference reference;
  for (int step = 0; step < 4000; ++step) {
    const std::string& key = keys[pickKey(random)];
    const int operation = pickOperation(random);
    SCOPED_TRACE("step " + std::to_string(step) + ", operation " + std::to_string(operation));
    switch (operation) {
      case 0: {
        const auto [at, inserted] = map.try_emplace(key, step);
        EXPECT_EQ(inserted, reference.try_emplace(key, step).second);
        EXPECT_EQ(at->second, reference.at(key));
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
        EXPECT_EQ(map.erase(key), reference.erase(key));
        break;
    }
    ASSERT_EQ(Contents(map), Contents(reference));
  }
  EXPECT_THROW(Map().at("absent"), std::out_of_range);
}

// A batch taken in any order comes out sorted with one member per key, the
// first or the last of a repeated key as asked, on the small-batch and the
// large-batch sorting paths.
TEST(SortedMapTest, BatchesSortOnceAndKeepOneMemberPerKey) {
  std::mt19937 random(7);
  for (int size : {0, 1, 12, 300}) {
    SCOPED_TRACE(size);
    Members members;
    for (int i = 0; i < size; ++i)
      members.emplace_back("k" + std::to_string(i % (size / 3 + 1)), i);
    std::shuffle(members.begin(), members.end(), random);
    Reference first;
    Reference last;
    for (const auto& [key, value] : members) {
      first.try_emplace(key, value);
      last.insert_or_assign(key, value);
    }
    EXPECT_EQ(Contents(Map::FromMembers(members, SortedMapDuplicates::KeepFirst)), Contents(first));
    EXPECT_EQ(Contents(Map::FromMembers(members, SortedMapDuplicates::KeepLast)), Contents(last));
  }
}

}  // namespace
}  // namespace tessarel
