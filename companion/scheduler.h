// Runs tasks at a later time on one thread of its own, in the order they
// fall due (tasks due at the same time run in the order scheduled).
//
//   Scheduler scheduler;
//   scheduler.After(std::chrono::milliseconds(250), [] { /* on the scheduler's thread */ });
//
// Stopping (or destroying) the scheduler drops the tasks not yet run.
//
// Thread-safety: After and Stop are safe from any thread, also from a task;
// the scheduler itself must be destroyed on another thread than its own.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <map>
#include <mutex>
#include <thread>
#include <utility>

namespace tessarel::companion {

class Scheduler {
 public:
  using Clock = std::chrono::steady_clock;

  Scheduler();
  ~Scheduler();
  Scheduler(const Scheduler&) = delete;
  Scheduler& operator=(const Scheduler&) = delete;

  void After(std::chrono::milliseconds delay, std::function<void()> task);
  void Stop();

 private:
  void Run();

  std::mutex mutex_;
  std::condition_variable changed_;
  // Keyed by due time, then by a sequence number that keeps ties in order.
  std::map<std::pair<Clock::time_point, std::uint64_t>, std::function<void()>> tasks_;
  std::uint64_t sequence_ = 0;
  bool stopping_ = false;
  std::thread thread_;
};

}  // namespace tessarel::companion
