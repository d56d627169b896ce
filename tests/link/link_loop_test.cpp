#include "link/link_loop.h"

#include <gtest/gtest.h>

#include <numeric>
#include <vector>

#include "link/link_test_support.h"
#include "platform/async.h"

namespace tessarel::link {
namespace {

TEST(LinkLoopTest, RunsTasksInOrderOnItsOwnThread) {
  std::shared_ptr<LinkLoop> loop = LinkLoop::Start();
  std::vector<int> order;
  for (int i = 0; i < 100; ++i)
    loop->Post([&, i] { order.push_back(loop->IsCurrentThread() ? i : -1); });
  bool ranInline = false;
  // Already on the link thread: RunOrPost runs at once instead of queueing.
  loop->Invoke([&] {
    loop->RunOrPost([&] { ranInline = true; });
    EXPECT_TRUE(ranInline);
  });
  std::vector<int> expected(100);
  std::iota(expected.begin(), expected.end(), 0);
  EXPECT_EQ(order, expected);
  loop->Stop();
}

TEST(LinkLoopTest, WorkHandedToAStoppedLoopFailsInsteadOfWaiting) {
  std::shared_ptr<LinkLoop> loop = LinkLoop::Start();
  // Stopped from one of its own tasks: the thread is joined later, not there.
  loop->Invoke([&] { loop->Stop(); });
  loop->Stop();

  // A task that never runs is destroyed, and the operation it carried fails.
  AsyncCompletionSource<int> source;
  IAsyncOperation<int> operation = source.Operation();
  loop->Post([source]() mutable { source.Complete(1); });
  source = AsyncCompletionSource<int>();
  EXPECT_EQ(tessarel::testing::FailureCode(operation), error_codes::kDisconnected);
  try {
    loop->Invoke([] { ADD_FAILURE() << "ran"; });
    FAIL() << "Invoke returned";
  } catch (const hresult_error& error) {
    EXPECT_EQ(error.code(), error_codes::kDisconnected);
  }
}

}  // namespace
}  // namespace tessarel::link
