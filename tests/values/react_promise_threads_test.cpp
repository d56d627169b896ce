// Settlement and release of one promise from several threads at once. Run
// under TSan: only the winning thread may write into the host's writer.
#include <gtest/gtest.h>

#include <atomic>
#include <barrier>
#include <functional>
#include <memory>
#include <optional>
#include <thread>
#include <vector>

#include "support/recording_writer.h"
#include "values/react_promise.h"

namespace tessarel {
namespace {

using testing::RecordingWriter;

constexpr int kRounds = 300;

// Counts the host's result callbacks; the reply itself goes to `writer`.
struct Counts {
  std::atomic<int> resolves{0};
  std::atomic<int> rejects{0};
  std::shared_ptr<RecordingWriter> writer = std::make_shared<RecordingWriter>();

  ReactPromise<JSValue> MakePromise() {
    return ReactPromise<JSValue>(
        writer, [this](IJSValueWriter&) { resolves.fetch_add(1); },
        [this](IJSValueWriter&) { rejects.fetch_add(1); });
  }
};

// Runs each action on its own thread, all released together by a barrier.
void RunTogether(std::vector<std::function<void()>> actions) {
  std::barrier start(static_cast<std::ptrdiff_t>(actions.size()));
  std::vector<std::jthread> threads;
  for (auto& action : actions) {
    threads.emplace_back([&start, action = std::move(action)] {
      start.arrive_and_wait();
      action();
    });
  }
}

TEST(ReactPromiseThreadsTest, ConcurrentSettlementsHaveOneWinner) {
  for (int round = 0; round < kRounds; ++round) {
    Counts counts;
    {
      ReactPromise<JSValue> promise = counts.MakePromise();
      ReactPromise<JSValue> a = promise, b = promise, c = promise;
      RunTogether({[a] { a.Resolve(JSValue(1)); }, [b] { b.Reject("lost"); },
                   [c] { c.Resolve(JSValue(2)); }});
    }
    ASSERT_EQ(counts.resolves + counts.rejects, 1) << "round " << round;
    const std::string text = counts.writer->Text();
    if (counts.resolves == 1) {
      ASSERT_TRUE(text == "[ i1 ]" || text == "[ i2 ]") << text;
    } else {
      ASSERT_EQ(text, "[ { code: s'EUNSPECIFIED' message: s'lost' userInfo: null } ]");
    }
  }
}

// The last copies released on several threads at once: exactly one of them
// is the last holder and rejects, however the releases interleave.
TEST(ReactPromiseThreadsTest, ConcurrentLastDropsRejectOnce) {
  for (int threadCount : {2, 4}) {
    SCOPED_TRACE(threadCount);
    for (int round = 0; round < kRounds; ++round) {
      Counts counts;
      std::vector<std::function<void()>> drops;
      {
        ReactPromise<JSValue> promise = counts.MakePromise();
        for (int i = 0; i < threadCount; ++i) {
          // Each action owns one copy and destroys it when it runs.
          auto copy = std::make_shared<std::optional<ReactPromise<JSValue>>>(promise);
          drops.push_back([copy] { copy->reset(); });
        }
      }
      EXPECT_EQ(counts.rejects, 0) << "copies are still held";
      RunTogether(std::move(drops));
      ASSERT_EQ(counts.rejects, 1) << "round " << round;
      ASSERT_EQ(counts.resolves, 0);
      ASSERT_EQ(counts.writer->Text(),
                "[ { code: s'EUNSPECIFIED' message: s'Promise destroyed.' userInfo: null } ]");
    }
  }
}

}  // namespace
}  // namespace tessarel
