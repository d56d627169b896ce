#include "platform/async.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <thread>
#include <type_traits>

#include "platform/dispatcher.h"

namespace tessarel {
namespace {

IAsyncOperation<int> AwaitAndRecordThread(IAsyncOperation<int> operation,
                                          std::thread::id* resumedOn) {
  const int value = co_await operation;
  *resumedOn = std::this_thread::get_id();
  co_return value + 1;
}

TEST(AsyncTest, ResumesOnTheCapturedLoopThreadWhenCompletedElsewhere) {
  auto loop = std::make_shared<ManualDispatcher>();
  ScopedThreadDispatcher installed(loop);
  AsyncCompletionSource<int> source;
  std::thread::id resumedOn;
  auto outer = AwaitAndRecordThread(source.Operation(), &resumedOn);
  std::thread([&] { source.Complete(41); }).join();
  EXPECT_EQ(outer.Status(), AsyncStatus::Started);  // not resumed on the producer
  ASSERT_TRUE(loop->RunUntil([&] { return outer.Status() != AsyncStatus::Started; }));
  EXPECT_EQ(resumedOn, std::this_thread::get_id());
  EXPECT_EQ(outer.Get(), 42);
}

// This thread has no dispatcher: the awaiter resumes on the pool, not on the
// thread that completes the source.
TEST(AsyncTest, ResumesOnThePoolWhenTheAwaiterHadNoDispatcher) {
  AsyncCompletionSource<int> source;
  std::thread::id resumedOn;
  auto outer = AwaitAndRecordThread(source.Operation(), &resumedOn);
  source.Complete(1);
  EXPECT_EQ(outer.Get(), 2);
  EXPECT_NE(resumedOn, std::this_thread::get_id());
}

// The first outcome wins; a source dropped without an answer fails its
// operation with kDisconnected rather than leaving the awaiter hanging.
TEST(AsyncTest, FirstOutcomeWinsAndAnAbandonedSourceFails) {
  const auto throwsCode = [](hresult code) {
    return ::testing::Throws<hresult_error>(::testing::Property(&hresult_error::code, code));
  };
  AsyncCompletionSource<int> failed;
  failed.Fail(std::make_exception_ptr(hresult_error(error_codes::kRpcServerUnavailable)));
  failed.Complete(5);
  EXPECT_THAT([&] { failed.Operation().Get(); }, throwsCode(error_codes::kRpcServerUnavailable));
  std::optional<AsyncCompletionSource<int>> abandoned(std::in_place);
  const IAsyncOperation<int> operation = abandoned->Operation();
  abandoned.reset();
  EXPECT_THAT([&] { operation.Get(); }, throwsCode(error_codes::kDisconnected));
}

// The frame holds its own copy of the argument, named or not.
IAsyncAction Throwing(std::shared_ptr<int> /*owned*/) {
  throw std::runtime_error("not a platform error");
  co_return;
}

TEST(AsyncTest, FrameReleasesItsArgumentsWhenTheBodyThrows) {
  auto owned = std::make_shared<int>(1);
  std::weak_ptr<int> watch = owned;
  auto action = Throwing(std::move(owned));
  EXPECT_TRUE(watch.expired());
  EXPECT_THROW(action.Get(), std::runtime_error);
}

TEST(AsyncTest, RaceBetweenCompletionAndAwaitSettlesEveryAwaiter) {
  constexpr int kRounds = 2000;
  std::vector<IAsyncOperation<int>> outers;
  std::vector<AsyncCompletionSource<int>> sources(kRounds);
  std::thread producer([&] {
    for (auto& source : sources) source.Complete(1);
  });
  std::vector<std::thread::id> resumedOn(kRounds);
  for (int i = 0; i < kRounds; ++i) {
    outers.push_back(AwaitAndRecordThread(sources[i].Operation(), &resumedOn[i]));
  }
  producer.join();
  for (auto& outer : outers) ASSERT_EQ(outer.Get(), 2);
}

// GCC 12 destroys a co_awaited aggregate temporary twice, which would drop
// the dispatcher early; ResumeOn must stay a class with a constructor.
static_assert(!std::is_aggregate_v<ResumeOn>);

IAsyncAction HopTo(std::shared_ptr<Dispatcher> target, std::thread::id* ranOn) {
  co_await ResumeOn(std::move(target));  // a temporary awaiter, as callers write it
  *ranOn = std::this_thread::get_id();
}

TEST(AsyncTest, ResumeOnContinuesOnTheTargetThreadAndKeepsItsDispatcher) {
  auto target = std::make_shared<ManualDispatcher>();
  std::weak_ptr<ManualDispatcher> watch = target;
  std::thread::id ranOn;
  IAsyncAction hop{nullptr};
  std::thread starter([&] { hop = HopTo(target, &ranOn); });
  starter.join();
  target.reset();  // the posted continuation alone keeps the queue's task
  ASSERT_FALSE(watch.expired()) << "the awaiter released the dispatcher early";
  watch.lock()->RunPending();
  EXPECT_EQ(ranOn, std::this_thread::get_id());
  EXPECT_EQ(hop.Status(), AsyncStatus::Completed);
}

}  // namespace
}  // namespace tessarel
