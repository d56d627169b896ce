// A map from strings to values held as one vector of members sorted by key:
// ascending byte-wise key order, each key at most once. The script's objects
// are small and mostly built in key order, so one allocation for all members
// and a binary search over contiguous memory cost far less than a tree node
// per member.
//
//   SortedMap<int> map;
//   map.try_emplace("b", 2);
//   map.try_emplace("a", 1);        // iterates "a", "b"
//   map.find("b")->second;          // 2
//
//   // A batch of members sorted once; "a" keeps its first value.
//   auto built = SortedMap<int>::FromMembers({{"b", 2}, {"a", 1}, {"a", 3}},
//                                            SortedMapDuplicates::KeepFirst);
//
// The operations are a subset of std::map's and behave as std::map's do:
// try_emplace, emplace and insert leave an existing member alone;
// insert_or_assign and operator[] reach the existing one; lookups take any
// string_view. The differences: an insertion or erasure invalidates iterators
// and references at and after its position (all of them when the vector
// grows), and a member's key must never be changed through an iterator.
//
// Thread-safety: a plain value; one thread at a time.
#pragma once

#include <algorithm>
#include <concepts>
#include <cstddef>
#include <initializer_list>
#include <iterator>
#include <stdexcept>
#include <string>
#include <string_view>
#include <tuple>
#include <utility>
#include <vector>

namespace tessarel {

// Byte-wise order of keys. Keys are mostly short and differ in their first
// byte, which is compared here without calling into the C library; the
// result is the one std::string_view's ordering gives (bytes as unsigned).
inline bool KeyBefore(std::string_view a, std::string_view b) noexcept {
  if (!a.empty() && !b.empty() && a.front() != b.front()) {
    return static_cast<unsigned char>(a.front()) < static_cast<unsigned char>(b.front());
  }
  return a < b;
}

// Which member a batch keeps when a key comes more than once.
enum class SortedMapDuplicates { KeepFirst, KeepLast };

template <class Value>
class SortedMap {
 public:
  using key_type = std::string;
  using mapped_type = Value;
  using value_type = std::pair<std::string, Value>;
  using size_type = std::size_t;
  using difference_type = std::ptrdiff_t;
  using reference = value_type&;
  using const_reference = const value_type&;
  using iterator = typename std::vector<value_type>::iterator;
  using const_iterator = typename std::vector<value_type>::const_iterator;

  SortedMap() noexcept = default;
  // As std::map's list constructor: a repeated key keeps its first value.
  SortedMap(std::initializer_list<value_type> members) : members_(members) {
    Normalize(SortedMapDuplicates::KeepFirst);
  }

  // Takes the members in any order and sorts them once.
  static SortedMap FromMembers(std::vector<value_type> members, SortedMapDuplicates keep) {
    SortedMap map;
    map.members_ = std::move(members);
    map.Normalize(keep);
    return map;
  }

  iterator begin() noexcept { return members_.begin(); }
  iterator end() noexcept { return members_.end(); }
  const_iterator begin() const noexcept { return members_.begin(); }
  const_iterator end() const noexcept { return members_.end(); }
  const_iterator cbegin() const noexcept { return members_.cbegin(); }
  const_iterator cend() const noexcept { return members_.cend(); }

  bool empty() const noexcept { return members_.empty(); }
  size_type size() const noexcept { return members_.size(); }
  void reserve(size_type count) { members_.reserve(count); }
  void clear() noexcept { members_.clear(); }

  iterator lower_bound(std::string_view key) {
    return std::lower_bound(members_.begin(), members_.end(), key, MemberBefore{});
  }
  const_iterator lower_bound(std::string_view key) const {
    return std::lower_bound(members_.begin(), members_.end(), key, MemberBefore{});
  }
  iterator find(std::string_view key) {
    const iterator found = lower_bound(key);
    return found != end() && found->first == key ? found : end();
  }
  const_iterator find(std::string_view key) const {
    const const_iterator found = lower_bound(key);
    return found != end() && found->first == key ? found : end();
  }
  bool contains(std::string_view key) const { return find(key) != end(); }
  size_type count(std::string_view key) const { return contains(key) ? 1 : 0; }

  Value& at(std::string_view key) {
    const iterator found = find(key);
    if (found == end()) throw std::out_of_range("SortedMap::at: no such key");
    return found->second;
  }
  const Value& at(std::string_view key) const {
    const const_iterator found = find(key);
    if (found == end()) throw std::out_of_range("SortedMap::at: no such key");
    return found->second;
  }

  // clang-format 14 mis-indents requires-clauses.
  // clang-format off
  template <class Key>
    requires std::constructible_from<std::string, Key&&>
  Value& operator[](Key&& key) {
    return try_emplace(std::forward<Key>(key)).first->second;
  }

  template <class Key, class... Args>
    requires std::constructible_from<std::string, Key&&>
  std::pair<iterator, bool> try_emplace(Key&& key, Args&&... args) {
    const std::string_view view(key);
    const iterator position = InsertPosition(view);
    if (position != end() && position->first == view) return {position, false};
    return {Put(position, std::forward<Key>(key), std::forward<Args>(args)...), true};
  }

  template <class Key, class... Args>
    requires std::constructible_from<std::string, Key&&>
  std::pair<iterator, bool> emplace(Key&& key, Args&&... args) {
    return try_emplace(std::forward<Key>(key), std::forward<Args>(args)...);
  }

  // Inserts at `hint` when the key belongs right there (in particular at
  // end() when members come in ascending order), else searches as
  // try_emplace does. Returns the member under the key.
  template <class Key, class... Args>
    requires std::constructible_from<std::string, Key&&>
  iterator emplace_hint(const_iterator hint, Key&& key, Args&&... args) {
    const std::string_view view(key);
    const bool afterPrevious = hint == cbegin() || KeyBefore(std::prev(hint)->first, view);
    const bool beforeNext = hint == cend() || KeyBefore(view, hint->first);
    if (afterPrevious && beforeNext) {
      const iterator position = begin() + (hint - cbegin());
      return Put(position, std::forward<Key>(key), std::forward<Args>(args)...);
    }
    return try_emplace(std::forward<Key>(key), std::forward<Args>(args)...).first;
  }

  template <class Key, class Mapped>
    requires std::constructible_from<std::string, Key&&>
  std::pair<iterator, bool> insert_or_assign(Key&& key, Mapped&& value) {
    const std::string_view view(key);
    const iterator position = InsertPosition(view);
    if (position != end() && position->first == view) {
      position->second = std::forward<Mapped>(value);
      return {position, false};
    }
    return {Put(position, std::forward<Key>(key), std::forward<Mapped>(value)), true};
  }
  // clang-format on

  std::pair<iterator, bool> insert(value_type&& member) {
    return try_emplace(std::move(member.first), std::move(member.second));
  }
  std::pair<iterator, bool> insert(const value_type& member) {
    return try_emplace(member.first, member.second);
  }

  iterator erase(iterator position) { return members_.erase(position); }
  iterator erase(const_iterator position) { return members_.erase(position); }
  iterator erase(const_iterator first, const_iterator last) { return members_.erase(first, last); }
  size_type erase(std::string_view key) {
    const iterator found = find(key);
    if (found == end()) return 0;
    members_.erase(found);
    return 1;
  }

  void swap(SortedMap& other) noexcept { members_.swap(other.members_); }

  friend bool operator==(const SortedMap& a, const SortedMap& b) {
    return a.members_ == b.members_;
  }

 private:
  // Up to this many members a batch is put in order by insertion, which
  // needs no scratch memory; larger ones by a merge sort.
  static constexpr std::size_t kInsertionSortLimit = 32;

  struct MemberBefore {
    bool operator()(const value_type& member, std::string_view key) const noexcept {
      return KeyBefore(member.first, key);
    }
    bool operator()(const value_type& a, const value_type& b) const noexcept {
      return KeyBefore(a.first, b.first);
    }
  };

  // Where `key` is or would go. Members mostly arrive in ascending order, so
  // the end is tried before searching.
  iterator InsertPosition(std::string_view key) {
    if (members_.empty() || KeyBefore(members_.back().first, key)) return end();
    return lower_bound(key);
  }

  template <class Key, class... Args>
  iterator Put(iterator position, Key&& key, Args&&... args) {
    return members_.emplace(position, std::piecewise_construct,
                            std::forward_as_tuple(std::forward<Key>(key)),
                            std::forward_as_tuple(std::forward<Args>(args)...));
  }

  // Sorts the members stably by key, then keeps one member per key.
  void Normalize(SortedMapDuplicates keep) {
    const MemberBefore before;
    if (std::adjacent_find(members_.begin(), members_.end(), [&](const auto& a, const auto& b) {
          return !before(a, b);
        }) == members_.end()) {
      return;  // already strictly ascending: nothing to sort or drop
    }
    if (members_.size() <= kInsertionSortLimit) {
      for (auto next = members_.begin() + 1; next != members_.end(); ++next) {
        if (!before(*next, *std::prev(next))) continue;
        value_type moving = std::move(*next);
        auto hole = next;
        for (; hole != members_.begin() && before(moving, *std::prev(hole)); --hole) {
          *hole = std::move(*std::prev(hole));
        }
        *hole = std::move(moving);
      }
    } else {
      std::stable_sort(members_.begin(), members_.end(), before);
    }
    // Runs of one key are adjacent now, in their original order.
    auto out = members_.begin();
    for (auto run = members_.begin(); run != members_.end();) {
      auto runEnd = std::next(run);
      while (runEnd != members_.end() && runEnd->first == run->first) ++runEnd;
      const auto kept = keep == SortedMapDuplicates::KeepFirst ? run : std::prev(runEnd);
      if (out != kept) *out = std::move(*kept);
      ++out;
      run = runEnd;
    }
    members_.erase(out, members_.end());
  }

  std::vector<value_type> members_;
};

}  // namespace tessarel
