// Where continuations run.
//
// A thread that owns an event loop (the UI thread) installs its Dispatcher as
// the thread's own with ScopedThreadDispatcher. Code that suspends captures
// CapturedContext::Current() and posts its resumption there: back to the same
// loop thread when it began on one, or to the process's thread pool when it
// began on a thread without a dispatcher (the link thread, a pool thread).
// This is the Linux counterpart of capturing the caller's apartment context.
//
//   ScopedThreadDispatcher installed(MakeMainContextDispatcher(context));
//   CapturedContext here = CapturedContext::Current();
//   here.Post([] { /* runs on the loop thread */ });
//
// Thread-safety: Post is safe from any thread. Tasks posted to one loop
// dispatcher run in the order they were posted.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

namespace tessarel {

class Dispatcher {
 public:
  using Task = std::function<void()>;
  virtual ~Dispatcher() = default;
  virtual void Post(Task task) = 0;
};

// A fixed set of worker threads taking tasks from one queue. The destructor
// runs the tasks already queued, then joins the workers.
class ThreadPool final : public Dispatcher {
 public:
  explicit ThreadPool(std::size_t threadCount);
  ~ThreadPool() override;
  ThreadPool(const ThreadPool&) = delete;
  ThreadPool& operator=(const ThreadPool&) = delete;

  void Post(Task task) override;

  // The process's pool, started on first use with two workers.
  static std::shared_ptr<ThreadPool> Default();

 private:
  void Work();

  std::mutex mutex_;
  std::condition_variable wake_;
  std::deque<Task> tasks_;
  bool stopping_ = false;
  std::vector<std::thread> workers_;
};

// A queue that the owning thread drains by hand: a loop thread for tests and
// for tools that have no GLib loop. RunUntil waits for posted tasks.
class ManualDispatcher final : public Dispatcher {
 public:
  void Post(Task task) override;

  // Runs the tasks queued now (not those they post); returns how many ran.
  std::size_t RunPending();

  // Runs tasks as they arrive until done() is true or the timeout passes;
  // returns done(). The timeout only guards against a test hanging forever.
  bool RunUntil(const std::function<bool()>& done,
                std::chrono::milliseconds timeout = std::chrono::seconds(30));

 private:
  std::mutex mutex_;
  std::condition_variable posted_;
  std::deque<Task> tasks_;
};

// Makes `dispatcher` the calling thread's own until the scope ends.
class ScopedThreadDispatcher {
 public:
  explicit ScopedThreadDispatcher(std::shared_ptr<Dispatcher> dispatcher);
  ~ScopedThreadDispatcher();
  ScopedThreadDispatcher(const ScopedThreadDispatcher&) = delete;
  ScopedThreadDispatcher& operator=(const ScopedThreadDispatcher&) = delete;

 private:
  std::shared_ptr<Dispatcher> previous_;
};

class CapturedContext {
 public:
  // The calling thread's dispatcher, or the default thread pool.
  static CapturedContext Current();

  void Post(Dispatcher::Task task) const { dispatcher_->Post(std::move(task)); }
  bool IsThreadPool() const noexcept { return onPool_; }
  const std::shared_ptr<Dispatcher>& Get() const noexcept { return dispatcher_; }

 private:
  CapturedContext(std::shared_ptr<Dispatcher> dispatcher, bool onPool)
      : dispatcher_(std::move(dispatcher)), onPool_(onPool) {}
  std::shared_ptr<Dispatcher> dispatcher_;
  bool onPool_;
};

// The dispatcher of the application's main view (the UI thread), set by the
// application at start-up; null before that.
class CoreApplication {
 public:
  static std::shared_ptr<Dispatcher> MainViewDispatcher();
  static void SetMainViewDispatcher(std::shared_ptr<Dispatcher> dispatcher);
};

}  // namespace tessarel
