// Helpers for the device method tests: a promise whose reply is recorded as
// JSON text, with the thread it was settled on, and a readable form of a
// request ValueSet that shows the boxed type of every entry, in order.
//
//   PromiseProbe probe;
//   module->isFlashing(probe.Promise());
//   ... answer the send, run the dispatcher ...
//   probe.Text();          // [true]   or   [{"code":"EUNSPECIFIED","message":...}]
//   Describe(request);     // method=s:isFlashing
#pragma once

#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

#include "platform/value_set.h"
#include "support/json_text_writer.h"
#include "values/react_promise.h"

namespace tessarel::testing {

class PromiseProbe {
 public:
  // A promise for one call; give it away (the test keeps no copy, so that a
  // run that drops it shows "Promise destroyed.").
  ReactPromise<JSValue> Promise() {
    auto writer = std::make_shared<JsonTextWriter>();
    auto record = [state = state_, writer](IJSValueWriter&) {
      std::lock_guard lock(state->mutex);
      if (state->settleCount++ == 0) {
        state->text = writer->Text();
        state->thread = std::this_thread::get_id();
      }
      state->settled.notify_all();
    };
    return ReactPromise<JSValue>(writer, record, record);
  }

  bool Settled() const { return SettleCount() > 0; }
  // For runs that settle on another thread; the timeout only keeps a broken
  // test from hanging.
  bool WaitSettled(std::chrono::milliseconds timeout = std::chrono::seconds(10)) const {
    std::unique_lock lock(state_->mutex);
    return state_->settled.wait_for(lock, timeout, [&] { return state_->settleCount > 0; });
  }
  int SettleCount() const {
    std::lock_guard lock(state_->mutex);
    return state_->settleCount;
  }
  std::string Text() const {
    std::lock_guard lock(state_->mutex);
    return state_->text;
  }
  std::thread::id Thread() const {
    std::lock_guard lock(state_->mutex);
    return state_->thread;
  }

 private:
  struct State {
    std::mutex mutex;
    std::condition_variable settled;
    int settleCount = 0;
    std::string text;
    std::thread::id thread;
  };
  std::shared_ptr<State> state_ = std::make_shared<State>();
};

// What the script receives for a resolution with `json`, or a rejection.
inline std::string Resolved(const std::string& json) {
  return "[" + json + "]";
}
inline std::string Rejected(const std::string& message) {
  return R"([{"code":"EUNSPECIFIED","message":")" + message + R"(","userInfo":null}])";
}

// "key=type:value" per entry, in the set's order, separated by blanks.
inline std::string Describe(const ValueSet& set) {
  std::string text;
  for (const auto& [key, value] : set) {
    if (!text.empty()) text += ' ';
    text += key + '=';
    if (const auto* str = value.TryString()) {
      text += "s:" + *str;
    } else if (const auto* number = value.TryInt32()) {
      text += "i32:" + std::to_string(*number);
    } else {  // no request carries other types: show only which one it was
      text += "type" + std::to_string(static_cast<int>(value.Type()));
    }
  }
  return text;
}

}  // namespace tessarel::testing
