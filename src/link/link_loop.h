// The link thread: one thread that runs an sd-event loop, on which every
// sd-bus connection of the process is read, dispatched and written.
//
//   std::shared_ptr<LinkLoop> loop = LinkLoop::Start();
//   loop->Post([] { /* runs on the link thread */ });
//   loop->Invoke([&] { /* runs there while this thread waits */ });
//   loop->Stop();
//
// sd-bus objects are not thread-safe, so nothing outside this thread touches
// them: other threads hand work over with Post, which queues the task and
// wakes the loop through an eventfd. Tasks run in the order posted.
//
// Lifetime: the thread keeps the loop alive until Stop. A task posted after
// Stop is destroyed unrun on the posting thread; tasks that capture an
// AsyncCompletionSource thereby fail their operation (kDisconnected) instead
// of leaving it pending. The owner closes its connections (Invoke) before it
// calls Stop.
//
// Thread-safety: Post, RunOrPost, Invoke, IsCurrentThread and Stop are safe
// from any thread; Event() is for the link thread only.
#pragma once

#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>

#include "link/bus_ptr.h"

namespace tessarel::link {

class LinkLoop : public std::enable_shared_from_this<LinkLoop> {
 public:
  using Task = std::function<void()>;

  // Starts the thread and waits until its loop runs. Throws hresult_error
  // when the loop cannot be set up.
  static std::shared_ptr<LinkLoop> Start();

  ~LinkLoop();
  LinkLoop(const LinkLoop&) = delete;
  LinkLoop& operator=(const LinkLoop&) = delete;

  void Post(Task task);

  // Runs `task` at once when called on the link thread, else posts it. For
  // work that may start inside a handler (a send, an answer), so that it does
  // not wait for the next turn of the loop.
  void RunOrPost(Task task);

  // Runs `task` on the link thread and waits for it (inline when already
  // there). Throws hresult_error(kDisconnected) when the loop has stopped.
  void Invoke(const Task& task);

  bool IsCurrentThread() const noexcept;

  // Ends the loop after the task it runs now; joins the thread unless called
  // on it. Idempotent.
  void Stop();

  sd_event* Event() const noexcept { return event_.get(); }

 private:
  LinkLoop() = default;
  void Run(std::shared_ptr<LinkLoop> self, std::function<void(std::exception_ptr)> started);
  void SetUp();
  void Wake();
  static int OnWake(sd_event_source* source, int fd, uint32_t events, void* userdata);

  EventPtr event_;
  EventSourcePtr wakeSource_;
  int wakeFd_ = -1;
  std::thread::id threadId_;
  std::thread thread_;

  std::mutex mutex_;
  std::deque<Task> tasks_;
  bool stopping_ = false;

  std::mutex joinMutex_;
};

}  // namespace tessarel::link
