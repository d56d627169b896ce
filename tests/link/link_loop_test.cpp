#include "link/link_loop.h"

#include <gtest/gtest.h>

#include <atomic>
#include <vector>

#include "platform/async.h"

namespace tessarel::link {
namespace {

TEST(LinkLoopTest, RunsTasksInOrderOnItsOwnThread) {
  std::shared_ptr<LinkLoop> loop = LinkLoop::Start();
  std::vector<int> order;
  std::atomic<bool> onLoop{true};
  for (int i = 0; i < 100; ++i) {
    loop->Post([&, i] {
      order.push_back(i);
      if (!loop->IsCurrentThread()) onLoop = false;
    });
  }
  bool inline_ = false;
  loop->Invoke([&] {
    // Already on the link thread: RunOrPost does not wait for the next turn.
    loop->RunOrPost([&] { inline_ = true; });
    EXPECT_TRUE(inline_);
  });
  EXPECT_FALSE(loop->IsCurrentThread());
  EXPECT_TRUE(onLoop);
  std::vector<int> expected(100);
  for (int i = 0; i < 100; ++i) expected[i] = i;
  EXPECT_EQ(order, expected);
  loop->Stop();
}

TEST(LinkLoopTest, WorkHandedToAStoppedLoopFailsInsteadOfWaiting) {
  std::shared_ptr<LinkLoop> loop = LinkLoop::Start();
  loop->Stop();
  loop->Stop();  // idempotent

  // A task that never runs is destroyed, and the operation it carried fails.
  AsyncCompletionSource<int> source;
  IAsyncOperation<int> operation = source.Operation();
  loop->Post([source]() mutable { source.Complete(1); });
  source = AsyncCompletionSource<int>();
  try {
    operation.Get(std::chrono::seconds(5));
    FAIL() << "completed";
  } catch (const hresult_error& error) {
    EXPECT_EQ(error.code(), error_codes::kDisconnected);
  }

  try {
    loop->Invoke([] { ADD_FAILURE() << "ran"; });
    FAIL() << "Invoke returned";
  } catch (const hresult_error& error) {
    EXPECT_EQ(error.code(), error_codes::kDisconnected);
  }
}

TEST(LinkLoopTest, StopsFromOneOfItsOwnTasks) {
  std::shared_ptr<LinkLoop> loop = LinkLoop::Start();
  std::atomic<bool> after{false};
  loop->Invoke([&] { loop->Stop(); });
  loop->Post([&] { after = true; });  // dropped: the loop is stopping
  loop->Stop();                       // joins the finished thread
  EXPECT_FALSE(after);
}

}  // namespace
}  // namespace tessarel::link
