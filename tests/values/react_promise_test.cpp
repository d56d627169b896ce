#include "values/react_promise.h"

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "support/recording_writer.h"

namespace tessarel {
namespace {

using testing::RecordingWriter;

constexpr const char* kDestroyedReply =
    "reject [ { code: s'EUNSPECIFIED' message: s'Promise destroyed.' userInfo: null } ]";

// Stands in for the script host's writer and result callbacks; each callback
// notes which one fired and what had been written by then.
struct FakeHost {
  std::shared_ptr<RecordingWriter> writer = std::make_shared<RecordingWriter>();
  std::vector<std::string> replies;  // "resolve <text>" or "reject <text>"

  ReactPromise<JSValue> MakePromise() {
    return ReactPromise<JSValue>(
        writer, [this](IJSValueWriter&) { replies.push_back("resolve " + writer->Text()); },
        [this](IJSValueWriter&) { replies.push_back("reject " + writer->Text()); });
  }
};

TEST(ReactPromiseTest, ReplyShapes) {
  struct Row {
    const char* desc;
    std::function<void(ReactPromise<JSValue>&)> settle;
    const char* want;
  } rows[] = {
      {"resolve wraps the value in a one-element list", [](auto& p) { p.Resolve(JSValue("x")); },
       "resolve [ s'x' ]"},
      {"reject writes code, message, userInfo in that order", [](auto& p) { p.Reject("No link"); },
       "reject [ { code: s'EUNSPECIFIED' message: s'No link' userInfo: null } ]"},
      {"resolve after reject is ignored",
       [](auto& p) {
         p.Reject("");
         p.Resolve(JSValue(1));
       },
       "reject [ { code: s'EUNSPECIFIED' message: s'' userInfo: null } ]"},
      {"a settled copy settles every copy",
       [](auto& p) {
         ReactPromise<JSValue>(p).Resolve(JSValue(2));
         p.Reject("late");
       },
       "resolve [ i2 ]"},
      {"unsettled: the last drop rejects", [](auto&) {}, kDestroyedReply},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.desc);
    FakeHost host;
    {
      ReactPromise<JSValue> promise = host.MakePromise();
      row.settle(promise);
    }
    ASSERT_EQ(host.replies.size(), 1u);
    EXPECT_EQ(host.replies[0], row.want);
  }
}

// Which handle operations lead to "Promise destroyed." and when.
TEST(ReactPromiseTest, DestroyedOnlyWhenTheLastCopyGoes) {
  FakeHost host;
  std::optional<ReactPromise<JSValue>> first(host.MakePromise());
  std::optional<ReactPromise<JSValue>> second(*first);  // copy
  ReactPromise<JSValue> third(std::move(*second));      // move: second now holds nothing
  first.reset();
  second.reset();
  EXPECT_TRUE(host.replies.empty()) << "dropped while a copy lives";

  third = third;  // self-assignment keeps the promise
  third = std::move(third);
  EXPECT_TRUE(host.replies.empty());

  ReactPromise<JSValue> moved = std::move(third);
  third.Resolve(JSValue(1));  // a moved-from handle settles nothing
  EXPECT_TRUE(host.replies.empty());

  ReactPromise<JSValue> other = moved;  // another copy of the same promise
  other = moved;
  EXPECT_TRUE(host.replies.empty());

  // Assigning a different promise over the last two copies releases the old one.
  FakeHost next;
  moved = next.MakePromise();
  EXPECT_TRUE(host.replies.empty()) << "`other` still holds the first promise";
  other = moved;
  EXPECT_EQ(host.replies, (std::vector<std::string>{kDestroyedReply}));
  EXPECT_TRUE(next.replies.empty());
  other.Resolve(JSValue("done"));
  EXPECT_EQ(next.replies, (std::vector<std::string>{"resolve [ s'done' ]"}));
}

// The host may hand over no writer or no callback: settling and the last
// drop must then do nothing rather than call through a null one.
TEST(ReactPromiseTest, MissingWriterOrCallbackSettlesQuietly) {
  auto writer = std::make_shared<RecordingWriter>();
  ReactPromise<JSValue>(writer, nullptr, nullptr).Resolve(JSValue(1));
  ReactPromise<JSValue>(writer, nullptr, nullptr);
  ReactPromise<JSValue>(
      nullptr, [](IJSValueWriter&) { FAIL(); }, [](IJSValueWriter&) { FAIL(); });
  EXPECT_TRUE(writer->tokens.empty());
}

}  // namespace
}  // namespace tessarel
