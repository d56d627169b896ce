#include "platform/dispatcher.h"

#include <chrono>
#include <utility>

namespace tessarel {
namespace {
thread_local std::shared_ptr<Dispatcher> threadDispatcher;

std::mutex mainViewMutex;
std::shared_ptr<Dispatcher> mainViewDispatcher;
}  // namespace

ThreadPool::ThreadPool(std::size_t threadCount) {
  workers_.reserve(threadCount);
  for (std::size_t i = 0; i < threadCount; ++i) workers_.emplace_back([this] { Work(); });
}

ThreadPool::~ThreadPool() {
  {
    std::lock_guard lock(mutex_);
    stopping_ = true;
  }
  wake_.notify_all();
  for (auto& worker : workers_) {
    // The last owner of the pool may be one of its own tasks.
    if (worker.get_id() == std::this_thread::get_id()) worker.detach();
    else worker.join();
  }
}

void ThreadPool::Post(Task task) {
  {
    std::lock_guard lock(mutex_);
    tasks_.push_back(std::move(task));
  }
  wake_.notify_one();
}

void ThreadPool::Work() {
  for (;;) {
    Task task;
    {
      std::unique_lock lock(mutex_);
      wake_.wait(lock, [this] { return stopping_ || !tasks_.empty(); });
      if (tasks_.empty()) return;
      task = std::move(tasks_.front());
      tasks_.pop_front();
    }
    task();
  }
}

std::shared_ptr<ThreadPool> ThreadPool::Default() {
  static const std::shared_ptr<ThreadPool> pool = std::make_shared<ThreadPool>(2);
  return pool;
}

void ManualDispatcher::Post(Task task) {
  {
    std::lock_guard lock(mutex_);
    tasks_.push_back(std::move(task));
  }
  posted_.notify_all();
}

std::size_t ManualDispatcher::RunPending() {
  std::deque<Task> batch;
  {
    std::lock_guard lock(mutex_);
    batch.swap(tasks_);
  }
  for (auto& task : batch) task();
  return batch.size();
}

bool ManualDispatcher::RunUntil(const std::function<bool()>& done,
                                std::chrono::milliseconds timeout) {
  const auto deadline = std::chrono::steady_clock::now() + timeout;
  while (!done()) {
    if (RunPending() > 0) continue;
    std::unique_lock lock(mutex_);
    if (!posted_.wait_until(lock, deadline, [this] { return !tasks_.empty(); })) return done();
  }
  return true;
}

ScopedThreadDispatcher::ScopedThreadDispatcher(std::shared_ptr<Dispatcher> dispatcher)
    : previous_(std::exchange(threadDispatcher, std::move(dispatcher))) {}

ScopedThreadDispatcher::~ScopedThreadDispatcher() { threadDispatcher = std::move(previous_); }

CapturedContext CapturedContext::Current() {
  if (threadDispatcher) return CapturedContext(threadDispatcher, false);
  return CapturedContext(ThreadPool::Default(), true);
}

std::shared_ptr<Dispatcher> CoreApplication::MainViewDispatcher() {
  std::lock_guard lock(mainViewMutex);
  return mainViewDispatcher;
}

void CoreApplication::SetMainViewDispatcher(std::shared_ptr<Dispatcher> dispatcher) {
  std::lock_guard lock(mainViewMutex);
  mainViewDispatcher = std::move(dispatcher);
}

}  // namespace tessarel
