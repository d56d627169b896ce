// Helpers for the device method tests: a promise that records its reply as
// JSON text and the thread it settled on, and a request ValueSet written as
// "key=type:value" entries in the set's order, so keys, order and boxed types
// all show in one string.
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
  // The probe keeps no copy, so a run that drops the promise shows
  // "Promise destroyed.". Every settlement is counted; the first is recorded.
  ReactPromise<JSValue> Promise() {
    auto writer = std::make_shared<JsonTextWriter>();
    auto record = [state = state_, writer](IJSValueWriter&) {
      std::lock_guard lock(state->mutex);
      if (state->count++ == 0) {
        state->text = writer->Text();
        state->thread = std::this_thread::get_id();
      }
      state->settled.notify_all();
    };
    return ReactPromise<JSValue>(writer, record, record);
  }

  // For settlements on another thread; the timeout only stops a broken test hanging.
  bool WaitSettled() const {
    std::unique_lock lock(state_->mutex);
    return state_->settled.wait_for(lock, std::chrono::seconds(10),
                                    [&] { return state_->count > 0; });
  }
  bool Settled() const { return SettleCount() > 0; }
  int SettleCount() const { return Read(&State::count); }
  std::string Text() const { return Read(&State::text); }
  std::thread::id Thread() const { return Read(&State::thread); }

 private:
  struct State {
    std::mutex mutex;
    std::condition_variable settled;
    int count = 0;
    std::string text;
    std::thread::id thread;
  };
  template <class T>
  T Read(T State::*member) const {
    std::lock_guard lock(state_->mutex);
    return (*state_).*member;
  }
  std::shared_ptr<State> state_ = std::make_shared<State>();
};

// What the script receives for a resolution with `json`, or a rejection.
inline std::string Resolved(const std::string& json) {
  return "[" + json + "]";
}
inline std::string Rejected(const std::string& message) {
  return R"([{"code":"EUNSPECIFIED","message":")" + message + R"(","userInfo":null}])";
}

// Requests carry only strings and Int32s; any other type shows as its number.
inline std::string Describe(const ValueSet& set) {
  std::string text;
  for (const auto& [key, value] : set) {
    text += (text.empty() ? "" : " ") + key + '=';
    if (const auto* str = value.TryString()) {
      text += "s:" + *str;
    } else if (const auto* number = value.TryInt32()) {
      text += "i32:" + std::to_string(*number);
    } else {
      text += "type" + std::to_string(static_cast<int>(value.Type()));
    }
  }
  return text;
}

}  // namespace tessarel::testing
