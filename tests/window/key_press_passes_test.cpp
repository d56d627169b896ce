// Each press reaches the script once, however the web view's second passes
// of unused presses interleave with new presses (ForwardFirstPass with
// KeyPressPasses), and the presses it holds are let go once they cannot come
// back.
#include "app/key_press_passes.h"

#include <gdk/gdkkeysyms.h>
#include <gtest/gtest.h>

#include <map>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "app/app.h"
#include "app/key_forwarding.h"
#include "modules/key_binder_js.h"

namespace tessarel {
namespace {

class RecordingBinder final : public KeyDown {
 public:
  void OnKeyDown(std::int32_t code) override { codes.push_back(code); }
  std::vector<std::int32_t> codes;
};

struct Key {
  std::uint32_t keyval;
  std::uint32_t keycode;
};

// Keys a page uses (letters in a text field) and keys it does not (F1, F2,
// Scroll Lock): the table does not care which, the order of passes does.
const std::map<std::string, Key> kKeys = {
    {"a", {GDK_KEY_a, 38}},            // usage 4
    {"b", {GDK_KEY_b, 56}},            // 5
    {"Return", {GDK_KEY_Return, 36}},  // 40
    {"F1", {GDK_KEY_F1, 67}},          // 58
    {"F2", {GDK_KEY_F2, 68}},          // 59
};

class KeyPressPassesTest : public ::testing::Test {
 protected:
  void SetUp() override { app_.KeyBinders().push_back(&binder_); }

  App app_;
  RecordingBinder binder_;
};

// Each row is the order in which presses pass the page. A word is one event:
// "F1" and "F1#2" are two presses of F1 (key repeat, or F1 typed twice), and a
// word seen again is that event's second pass. "-" is a press GTK gives
// without an event.
TEST_F(KeyPressPassesTest, EachPressReachesTheScriptOnce) {
  struct Row {
    const char* what;
    const char* passes;
    std::vector<std::int32_t> want;  // usages the script gets, in order
    std::size_t stillHeld;           // presses that could still come back
  };
  const Row rows[] = {
      {"slow, unused keys: each comes back before the next", "F1 F1 F2 F2", {58, 59}, 0},
      {"fast, unused keys: all come back after the last",
       "F1 F2 Return F1 F2 Return",
       {58, 59, 40},
       0},
      {"fast, used keys: none comes back", "a b Return", {4, 5, 40}, 3},
      {"fast, used and unused mixed", "a F1 b F2 F1 F2", {4, 58, 5, 59}, 0},
      {"second passes between new presses", "F1 a F1 F2 b F2", {58, 4, 59, 5}, 1},
      {"a used press after the last second pass stays", "F1 F2 F1 a F2", {58, 59, 4}, 1},
      {"the same key twice: two presses, each back once", "F1 F1#2 F1 F1#2", {58, 58}, 0},
      {"key repeat of a used key", "a a#2 a#3", {4, 4, 4}, 3},
      {"no event: forwarded each time, never held", "- -", {4, 4}, 0},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.what);
    binder_.codes.clear();
    KeyPressPasses passes;
    std::map<std::string, KeyPressPasses::Press> events;
    std::vector<std::weak_ptr<const void>> made;
    std::istringstream words(row.passes);
    for (std::string word; words >> word;) {
      if (word == "-") {
        ForwardFirstPass(passes, nullptr, GDK_KEY_a, 38);
        continue;
      }
      KeyPressPasses::Press& event = events[word];
      if (!event) {
        event = std::make_shared<int>(0);
        made.push_back(event);
      }
      const Key& key = kKeys.at(word.substr(0, word.find('#')));
      ForwardFirstPass(passes, event, key.keyval, key.keycode);
    }
    EXPECT_EQ(binder_.codes, row.want);
    EXPECT_EQ(passes.Remembered(), row.stillHeld);
    // What cannot come back any more is let go; what can is held.
    events.clear();
    std::size_t alive = 0;
    for (const auto& event : made) alive += event.expired() ? 0 : 1;
    EXPECT_EQ(alive, row.stillHeld);
  }
}

// A page that uses every key sends nothing back: what is remembered stays
// bounded, and unused presses after that still reach the script once.
TEST_F(KeyPressPassesTest, PressesThatNeverComeBackAreNotKeptForever) {
  KeyPressPasses passes;
  constexpr int kPresses = 3 * static_cast<int>(KeyPressPasses::kLimit);
  for (int i = 0; i < kPresses; ++i) {
    ForwardFirstPass(passes, std::make_shared<int>(i), GDK_KEY_a, 38);
  }
  EXPECT_EQ(passes.Remembered(), KeyPressPasses::kLimit);
  const auto f1 = std::make_shared<int>(-1);
  const auto f2 = std::make_shared<int>(-2);
  for (const auto& event : {f1, f2, f1, f2}) ForwardFirstPass(passes, event, GDK_KEY_F1, 67);
  EXPECT_EQ(binder_.codes.size(), static_cast<std::size_t>(kPresses) + 2);
  EXPECT_EQ(passes.Remembered(), 0u);
}

}  // namespace
}  // namespace tessarel
