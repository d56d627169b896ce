// Helpers for the device method tests: a promise that records its reply as
// JSON text and the thread it settled on, and a request ValueSet written as
// "key=type:value" entries in the set's order, so keys, order and boxed types
// all show in one string.
#pragma once

#include <chrono>
#include <memory>
#include <string>
#include <thread>

#include "platform/value_set.h"
#include "support/fake_react_host.h"
#include "support/to_json.h"

namespace tessarel::testing {

// Every settlement is counted; the first is recorded.
struct PromiseProbe {
  ReactPromise<JSValue> Promise() const { return PromiseInto(call); }
  // For settlements on another thread; the timeout only stops a broken test hanging.
  bool WaitSettled() const { return call->Wait(std::chrono::seconds(10)).callbackCount > 0; }
  bool Settled() const { return SettleCount() > 0; }
  int SettleCount() const { return call->Current().callbackCount; }
  std::string Text() const { return ToJson(call->Current().payload); }
  std::thread::id Thread() const { return call->Current().thread; }

  std::shared_ptr<PendingCall> call = std::make_shared<PendingCall>();
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
