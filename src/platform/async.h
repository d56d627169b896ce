// Asynchronous actions and operations as C++20 coroutines.
//
// IAsyncOperation<T> is both a coroutine type (it starts at once and runs to
// its first suspension in the caller) and an awaitable. Awaiting captures the
// awaiting thread's context (see dispatcher.h) and resumes there once the
// operation completes; if it is already complete the awaiter goes on inline.
//
//   IAsyncOperation<int> Answer() { co_return 42; }
//   IAsyncAction Run(ReactPromise<JSValue> promise) {
//     int value = co_await Answer();          // resumes in this thread's context
//     promise.Resolve(JSValue(value));
//   }
//
// A producer that is not a coroutine completes an operation through an
// AsyncCompletionSource (the link does so when a reply arrives).
//
// Dropping the returned object does not stop the coroutine: it runs to its
// end and its frame frees itself. An exception that leaves the coroutine body
// is stored in the operation (await or Get rethrows it); when nobody awaits,
// it is dropped with the frame. Everything the frame owns, such as a promise
// argument, is released when the run ends, whichever way it ends.
//
// Thread-safety: completion, awaiting and Get may happen on different threads.
#pragma once

#include <chrono>
#include <condition_variable>
#include <coroutine>
#include <exception>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <type_traits>
#include <utility>
#include <variant>

#include "platform/dispatcher.h"
#include "platform/hresult_error.h"

namespace tessarel {

enum class AsyncStatus { Started = 0, Completed = 1, Canceled = 2, Error = 3 };

namespace detail {

template <class T>
using AsyncValue = std::conditional_t<std::is_void_v<T>, std::monostate, T>;

// One operation's outcome, shared by its producer and its awaiter.
template <class T>
class AsyncState {
 public:
  using Value = AsyncValue<T>;

  void SetValue(Value value) { Finish(AsyncStatus::Completed, std::move(value), nullptr); }
  void SetError(std::exception_ptr error) {
    Finish(AsyncStatus::Error, std::nullopt, std::move(error));
  }
  void SetCanceled() {
    Finish(AsyncStatus::Canceled, std::nullopt,
           std::make_exception_ptr(hresult_error(error_codes::kCanceled)));
  }

  AsyncStatus Status() const {
    std::lock_guard lock(mutex_);
    return status_;
  }

  // Registers the one continuation; false when the operation has already
  // finished, in which case the caller goes on by itself.
  bool OnFinished(std::function<void()> continuation) {
    std::lock_guard lock(mutex_);
    if (status_ != AsyncStatus::Started) return false;
    continuation_ = std::move(continuation);
    return true;
  }

  // Blocks until the operation finishes (for callers that are not coroutines).
  bool Wait(std::chrono::milliseconds timeout) const {
    std::unique_lock lock(mutex_);
    return finished_.wait_for(lock, timeout, [this] { return status_ != AsyncStatus::Started; });
  }

  Value TakeResult() {
    std::exception_ptr error;
    {
      std::lock_guard lock(mutex_);
      if (!error_ && value_) return std::move(*value_);
      if (!error_) throw hresult_error(error_codes::kFail, "The result has been taken already");
      // Taken, not copied: the exception then dies with the taker's catch,
      // on the taker's thread, whichever thread drops this state last. Its
      // reference count lives in the uninstrumented C++ runtime, where TSan
      // cannot see a free on the producer's thread as ordered after the catch.
      error = std::exchange(error_, nullptr);
    }
    std::rethrow_exception(error);
  }

 private:
  void Finish(AsyncStatus status, std::optional<Value> value, std::exception_ptr error) {
    std::function<void()> continuation;
    {
      std::lock_guard lock(mutex_);
      if (status_ != AsyncStatus::Started) return;  // the first outcome wins
      status_ = status;
      value_ = std::move(value);
      // Moved all the way in: the producer keeps no reference of its own to
      // the exception once it is published (see TakeResult).
      error_ = std::move(error);
      continuation = std::move(continuation_);
    }
    finished_.notify_all();
    if (continuation) continuation();
  }

  mutable std::mutex mutex_;
  mutable std::condition_variable finished_;
  AsyncStatus status_ = AsyncStatus::Started;
  std::optional<Value> value_;
  std::exception_ptr error_;
  std::function<void()> continuation_;
};

template <class T>
class AsyncPromiseBase {
 public:
  std::shared_ptr<AsyncState<T>> state = std::make_shared<AsyncState<T>>();
  std::suspend_never initial_suspend() noexcept { return {}; }
  std::suspend_never final_suspend() noexcept { return {}; }
  void unhandled_exception() noexcept { state->SetError(std::current_exception()); }
};

}  // namespace detail

template <class T>
class IAsyncOperation {
 public:
  using State = detail::AsyncState<T>;

  struct promise_type;

  explicit IAsyncOperation(std::shared_ptr<State> state) : state_(std::move(state)) {}

  AsyncStatus Status() const { return state_->Status(); }

  // Blocks the calling thread until the outcome is known, then returns it or
  // rethrows its error. For tests and tools; never call it on a loop thread
  // whose loop the operation needs.
  T Get(std::chrono::milliseconds timeout = std::chrono::seconds(30)) const {
    if (!state_->Wait(timeout)) throw hresult_error(error_codes::kFail, "Timed out waiting");
    if constexpr (std::is_void_v<T>) state_->TakeResult();
    else return state_->TakeResult();
  }

  bool await_ready() const { return state_->Status() != AsyncStatus::Started; }

  bool await_suspend(std::coroutine_handle<> awaiting) {
    CapturedContext context = CapturedContext::Current();
    return state_->OnFinished(
        [context = std::move(context), awaiting] { context.Post([awaiting] { awaiting.resume(); }); });
  }

  T await_resume() {
    if constexpr (std::is_void_v<T>) state_->TakeResult();
    else return state_->TakeResult();
  }

 private:
  std::shared_ptr<State> state_;
};

template <class T>
struct IAsyncOperation<T>::promise_type : detail::AsyncPromiseBase<T> {
  IAsyncOperation get_return_object() { return IAsyncOperation(this->state); }
  void return_value(T value) { this->state->SetValue(std::move(value)); }
};

template <>
struct IAsyncOperation<void>::promise_type : detail::AsyncPromiseBase<void> {
  IAsyncOperation get_return_object() { return IAsyncOperation(this->state); }
  void return_void() { this->state->SetValue({}); }
};

using IAsyncAction = IAsyncOperation<void>;

// The producer's side of an operation that is completed by a callback.
// Copies share one operation. When the last copy goes away before the
// operation has finished, the operation fails with kDisconnected, so an
// awaiter is never left waiting for a producer that no longer exists.
template <class T>
class AsyncCompletionSource {
 public:
  IAsyncOperation<T> Operation() const { return IAsyncOperation<T>(state_); }

  template <class U = T>
    requires(!std::is_void_v<U>)
  void Complete(U value) { state_->SetValue(std::move(value)); }
  void Complete()
    requires std::is_void_v<T>
  { state_->SetValue({}); }
  void Fail(std::exception_ptr error) { state_->SetError(std::move(error)); }
  void Cancel() { state_->SetCanceled(); }

 private:
  struct AbandonGuard {
    explicit AbandonGuard(std::shared_ptr<detail::AsyncState<T>> watched)
        : state(std::move(watched)) {}
    AbandonGuard(const AbandonGuard&) = delete;
    AbandonGuard& operator=(const AbandonGuard&) = delete;
    std::shared_ptr<detail::AsyncState<T>> state;
    ~AbandonGuard() {
      state->SetError(std::make_exception_ptr(hresult_error(error_codes::kDisconnected)));
    }
  };
  std::shared_ptr<detail::AsyncState<T>> state_ = std::make_shared<detail::AsyncState<T>>();
  std::shared_ptr<AbandonGuard> guard_ = std::make_shared<AbandonGuard>(state_);
};

// co_await ResumeOn(dispatcher): continue on that dispatcher's thread.
//
// Deliberately not an aggregate: GCC 12 destroys a brace-initialised
// aggregate temporary twice when it is co_awaited, which would release the
// dispatcher early. With a constructor, `co_await ResumeOn(d)` is safe.
class ResumeOn {
 public:
  explicit ResumeOn(std::shared_ptr<Dispatcher> dispatcher) : dispatcher_(std::move(dispatcher)) {}
  bool await_ready() const noexcept { return false; }
  void await_suspend(std::coroutine_handle<> awaiting) const {
    if (!dispatcher_) throw hresult_error(error_codes::kFail, "No dispatcher to resume on");
    dispatcher_->Post([awaiting] { awaiting.resume(); });
  }
  void await_resume() const noexcept {}

 private:
  std::shared_ptr<Dispatcher> dispatcher_;
};

}  // namespace tessarel
