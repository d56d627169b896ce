#include "link/link_loop.h"

#include <sys/eventfd.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <future>
#include <utility>

namespace tessarel::link {

std::shared_ptr<LinkLoop> LinkLoop::Start() {
  std::shared_ptr<LinkLoop> loop(new LinkLoop());
  std::promise<void> started;
  std::future<void> ready = started.get_future();
  auto report = [&started](std::exception_ptr error) {
    if (error)
      started.set_exception(error);
    else
      started.set_value();
  };
  loop->thread_ = std::thread(&LinkLoop::Run, loop.get(), loop, std::function(report));
  try {
    ready.get();
  } catch (...) {
    loop->thread_.join();
    throw;
  }
  return loop;
}

LinkLoop::~LinkLoop() {
  // The thread's own reference is dropped as its last act, so when the
  // destructor runs the loop is over; only the std::thread is left to settle.
  if (thread_.joinable()) {
    if (thread_.get_id() == std::this_thread::get_id())
      thread_.detach();
    else
      thread_.join();
  }
  if (wakeFd_ >= 0) close(wakeFd_);
}

void LinkLoop::SetUp() {
  CheckBus(sd_event_new(Out(event_)), "Creating the link loop");
  wakeFd_ = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
  if (wakeFd_ < 0) throw BusError(-errno, "Creating the link loop's wake-up");
  CheckBus(
      sd_event_add_io(event_.get(), Out(wakeSource_), wakeFd_, EPOLLIN, &LinkLoop::OnWake, this),
      "Watching the link loop's wake-up");
}

void LinkLoop::Run(std::shared_ptr<LinkLoop> self,
                   std::function<void(std::exception_ptr)> started) {
  threadId_ = std::this_thread::get_id();
  try {
    SetUp();
  } catch (...) {
    started(std::current_exception());
    return;
  }
  started(nullptr);
  started = nullptr;  // refers to the starter's stack, which is gone from here on

  const int result = sd_event_loop(event_.get());
  (void)result;  // the loop only ends on Stop; its status carries nothing more

  std::deque<Task> leftover;
  {
    std::lock_guard lock(mutex_);
    stopping_ = true;
    leftover.swap(tasks_);
  }
  leftover.clear();  // unrun: their completion sources fail with kDisconnected
  wakeSource_.reset();
  event_.reset();
  self.reset();  // may destroy the loop; nothing touches `this` after it
}

int LinkLoop::OnWake(sd_event_source*, int fd, uint32_t, void* userdata) {
  auto* loop = static_cast<LinkLoop*>(userdata);
  std::uint64_t count = 0;
  // Drain the counter before taking the queue: a Post that lands after the
  // swap finds the queue empty and wakes the loop again.
  while (read(fd, &count, sizeof count) < 0 && errno == EINTR) {
  }
  std::deque<Task> batch;
  bool stopping = false;
  {
    std::lock_guard lock(loop->mutex_);
    batch.swap(loop->tasks_);
    stopping = loop->stopping_;
  }
  for (Task& task : batch) {
    try {
      task();
    } catch (...) {
      // Tasks report their own failures through their operations; one that
      // throws anyway must not end the link thread.
    }
  }
  if (stopping) sd_event_exit(loop->event_.get(), 0);
  return 0;
}

void LinkLoop::Wake() {
  const std::uint64_t one = 1;
  while (write(wakeFd_, &one, sizeof one) < 0 && errno == EINTR) {
  }
}

void LinkLoop::Post(Task task) {
  {
    std::unique_lock lock(mutex_);
    if (stopping_) {
      lock.unlock();
      task = nullptr;  // destroyed here, outside the lock
      return;
    }
    const bool wasEmpty = tasks_.empty();
    tasks_.push_back(std::move(task));
    if (!wasEmpty) return;  // a wake-up is on its way already
  }
  Wake();
}

void LinkLoop::RunOrPost(Task task) {
  if (IsCurrentThread()) {
    task();
    return;
  }
  Post(std::move(task));
}

void LinkLoop::Invoke(const Task& task) {
  if (IsCurrentThread()) {
    task();
    return;
  }
  auto packaged = std::make_shared<std::packaged_task<void()>>(task);
  std::future<void> done = packaged->get_future();
  // The task holds the only reference: dropped unrun by a stopped loop, it
  // breaks the promise and get() below throws instead of waiting forever.
  Post([packaged = std::move(packaged)] { (*packaged)(); });
  try {
    done.get();
  } catch (const std::future_error&) {
    throw DisconnectedError();  // the loop stopped before running it
  }
}

bool LinkLoop::IsCurrentThread() const noexcept {
  return threadId_ == std::this_thread::get_id();
}

void LinkLoop::Stop() {
  {
    std::lock_guard lock(mutex_);
    stopping_ = true;
  }
  Wake();
  if (IsCurrentThread()) return;  // the loop ends when this task returns
  std::lock_guard join(joinMutex_);
  if (thread_.joinable()) thread_.join();
}

}  // namespace tessarel::link
