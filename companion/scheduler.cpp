#include "companion/scheduler.h"

namespace tessarel::companion {

Scheduler::Scheduler() : thread_([this] { Run(); }) {}

Scheduler::~Scheduler() {
  Stop();
}

void Scheduler::After(std::chrono::milliseconds delay, std::function<void()> task) {
  {
    std::lock_guard lock(mutex_);
    if (stopping_) return;
    tasks_.emplace(std::make_pair(Clock::now() + delay, ++sequence_), std::move(task));
  }
  changed_.notify_all();
}

void Scheduler::Stop() {
  decltype(tasks_) dropped;
  {
    std::lock_guard lock(mutex_);
    stopping_ = true;
    dropped.swap(tasks_);
  }
  changed_.notify_all();
  if (thread_.joinable() && thread_.get_id() != std::this_thread::get_id()) thread_.join();
}

void Scheduler::Run() {
  std::unique_lock lock(mutex_);
  while (!stopping_) {
    if (tasks_.empty()) {
      changed_.wait(lock);
      continue;
    }
    const auto due = tasks_.begin()->first.first;
    if (Clock::now() < due) {
      changed_.wait_until(lock, due);
      continue;
    }
    std::function<void()> task = std::move(tasks_.begin()->second);
    tasks_.erase(tasks_.begin());
    lock.unlock();
    task();
    lock.lock();
  }
}

}  // namespace tessarel::companion
