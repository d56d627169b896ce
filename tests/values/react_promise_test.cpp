#include "values/react_promise.h"

#include <gtest/gtest.h>

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

// Resolve wraps the value in a one-element list; reject writes code,
// message and userInfo in that order; an unsettled promise rejects on its
// last drop.
TEST(ReactPromiseTest, ReplyShapes) {
  FakeHost resolved, rejected, dropped;
  resolved.MakePromise().Resolve(JSValue("x"));
  rejected.MakePromise().Reject("No link");
  (void)dropped.MakePromise();
  using Replies = std::vector<std::string>;
  EXPECT_EQ(resolved.replies, Replies{"resolve [ s'x' ]"});
  EXPECT_EQ(rejected.replies,
            Replies{"reject [ { code: s'EUNSPECIFIED' message: s'No link' userInfo: null } ]"});
  EXPECT_EQ(dropped.replies, Replies{kDestroyedReply});
}

// Which handle operations lead to "Promise destroyed." and when.
TEST(ReactPromiseTest, DestroyedOnlyWhenTheLastCopyGoes) {
  FakeHost host;
  std::optional<ReactPromise<JSValue>> first(host.MakePromise());
  std::optional<ReactPromise<JSValue>> second(*first);  // copy
  ReactPromise<JSValue> third(std::move(*second));      // move: second now holds nothing
  first.reset();                                        // dropped while a copy lives
  second.reset();
  third = third;  // self-assignment keeps the promise
  third = std::move(third);
  ReactPromise<JSValue> moved = std::move(third);
  third.Resolve(JSValue(1));            // a moved-from handle settles nothing
  ReactPromise<JSValue> other = moved;  // another copy of the same promise
  other = moved;
  // Assigning a different promise over the last two copies releases the old one.
  FakeHost next;
  moved = next.MakePromise();
  EXPECT_TRUE(host.replies.empty()) << "the first promise settled while `other` holds it";
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
