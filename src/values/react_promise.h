// The one-shot answer handle of an asynchronous script method.
//
//   void Method(ReactPromise<JSValue> promise) {
//     promise.Resolve(JSValue(true));      // script receives [true]
//     promise.Reject("Too late");          // ignored: the first settlement wins
//   }
//
// Resolve writes [value] and calls the resolve callback; Reject writes
// [{"code": "EUNSPECIFIED", "message": text, "userInfo": null}] and calls the
// reject callback. Copies share one settlement state; when the last copy of a
// promise that is still pending goes away, it rejects with
// "Promise destroyed.", so the script is never left waiting.
//
// Thread-safety: copies may be settled and released on different threads.
// Exactly one settlement wins, by compare-and-exchange on the shared state.
// Settling never throws: a writer or callback that fails ends the process.
#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <string_view>

#include "values/js_value.h"
#include "values/js_value_reader.h"

namespace tessarel {

using MethodResultCallback = std::function<void(IJSValueWriter& writer)>;

class ReactPromiseBase {
 public:
  enum class State : int { Pending = 0, Resolved = 1, Rejected = 2 };

  ReactPromiseBase(std::shared_ptr<IJSValueWriter> writer, MethodResultCallback resolve,
                   MethodResultCallback reject);
  ReactPromiseBase(const ReactPromiseBase& other) noexcept;
  ReactPromiseBase& operator=(const ReactPromiseBase& other) noexcept;
  ReactPromiseBase(ReactPromiseBase&& other) noexcept;
  ReactPromiseBase& operator=(ReactPromiseBase&& other) noexcept;
  ~ReactPromiseBase();

  void Reject(std::string_view message) const noexcept;

 protected:
  struct Shared;
  // Claims the state for `next`; true when this call won.
  bool TrySettle(State next) const noexcept;
  Shared* shared_ = nullptr;

 private:
  void Release() noexcept;
};

template <class T>
class ReactPromise;

template <>
class ReactPromise<JSValue> : public ReactPromiseBase {
 public:
  using ReactPromiseBase::ReactPromiseBase;
  void Resolve(const JSValue& value) const noexcept;
};

}  // namespace tessarel
