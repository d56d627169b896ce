// A stand-in for the script host, for module tests: a module builder that
// records what a module registers and calls its methods, and a context that
// records the events a module emits.
//
//   FakeReactModuleBuilder builder;
//   std::shared_ptr<void> module = registration.Provider()(builder);
//   builder.DescribeRegistrations();          // "method keyboards 3", "initializer", ...
//   builder.Initialize(context);              // runs the initializers in order
//   MethodResult result = builder.Call("sendDebugCommand", JSValueArray{JSValue(1)});
//   auto call = builder.Invoke("keyboards", JSValueArray{});  // settles later
//   call->Wait(std::chrono::seconds(5));
//
// Call returns what the callbacks received by the time the method returned
// (Callback::None when nothing had settled). The payload is the callback's
// argument list: [value] for a resolution, [{"code", "message", "userInfo"}]
// for a rejection. Every callback firing is counted.
//
// Thread-safety: calls may settle and events may be emitted on any thread,
// while Wait, Current and Events are used; registration and Call/Invoke
// belong to the test's thread.
#pragma once

#include <chrono>
#include <condition_variable>
#include <map>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "host/react_module.h"
#include "values/js_value.h"
#include "values/js_value_tree.h"
#include "values/react_promise.h"

namespace tessarel::testing {

struct MethodResult {
  enum class Callback { None, Resolve, Reject };
  Callback callback = Callback::None;
  JSValue payload;         // the argument list the (first) callback received
  int callbackCount = 0;   // how many times any result callback fired
  std::thread::id thread;  // where the first callback fired

  // The resolved value, payload[0]; null when not resolved.
  JSValue Value() const {
    const JSValueArray* items = payload.TryGetArray();
    return callback == Callback::Resolve && items && !items->empty() ? items->front() : JSValue();
  }
  // The rejection's "message"; empty when not rejected.
  std::string RejectMessage() const { return RejectMember("message"); }
  // The rejection's "code"; empty when not rejected.
  std::string RejectCode() const { return RejectMember("code"); }

 private:
  std::string RejectMember(const char* name) const {
    const JSValueArray* items = payload.TryGetArray();
    if (callback != Callback::Reject || !items || items->empty()) return std::string();
    const JSValueObject* error = items->front().TryGetObject();
    if (!error) return std::string();
    auto member = error->find(name);
    return member == error->end() ? std::string() : member->second.AsString();
  }
};

// One script call in flight: filled in by the result callbacks.
class PendingCall {
 public:
  // Blocks until a callback has fired or the timeout passes; returns the
  // result so far either way.
  MethodResult Wait(std::chrono::milliseconds timeout) {
    std::unique_lock lock(mutex_);
    settled_.wait_for(lock, timeout, [this] { return result_.callbackCount > 0; });
    return result_;
  }
  MethodResult Current() const {
    std::lock_guard lock(mutex_);
    return result_;
  }

  // Called by the result callbacks with what they were given.
  void Record(MethodResult::Callback callback, JSValue payload) {
    {
      std::lock_guard lock(mutex_);
      if (result_.callbackCount++ == 0) {
        result_.callback = callback;
        result_.payload = std::move(payload);
        result_.thread = std::this_thread::get_id();
      }
    }
    settled_.notify_all();
  }

 private:
  mutable std::mutex mutex_;
  std::condition_variable settled_;
  MethodResult result_;
};

// The host's result callback of one kind: records what `writer` holds.
inline MethodResultCallback RecordInto(std::shared_ptr<PendingCall> call,
                                       MethodResult::Callback kind,
                                       std::shared_ptr<JSValueTreeWriter> writer) {
  return [call, kind, writer](IJSValueWriter&) { call->Record(kind, writer->TakeValue()); };
}

// A promise for calling a module's method body directly, settled into `call`
// as through the host. It holds no copy of itself, so a body that drops it
// shows "Promise destroyed.".
inline ReactPromise<JSValue> PromiseInto(const std::shared_ptr<PendingCall>& call) {
  auto writer = std::make_shared<JSValueTreeWriter>();
  return ReactPromise<JSValue>(writer, RecordInto(call, MethodResult::Callback::Resolve, writer),
                               RecordInto(call, MethodResult::Callback::Reject, writer));
}

class FakeReactModuleBuilder : public IReactModuleBuilder {
 public:
  void AddInitializer(InitializerDelegate initializer) override {
    registrations_.push_back("initializer");
    initializers.push_back(std::move(initializer));
  }
  // Noted as "method <name> <return kind as a number>".
  void AddMethod(std::string name, MethodReturnType returnType, MethodDelegate method) override {
    registrations_.push_back("method " + name + " " + std::to_string(static_cast<int>(returnType)));
    methods.emplace(std::move(name), std::move(method));
  }
  void SetEventEmitterName(std::string name) override { eventEmitterName = std::move(name); }

  // Every AddInitializer and AddMethod call, in order.
  std::vector<std::string> DescribeRegistrations() const { return registrations_; }

  // Runs every initializer, in the order they were added, as the host does.
  void Initialize(const std::shared_ptr<IReactContext>& context) const {
    for (const InitializerDelegate& initializer : initializers) initializer(context);
  }

  // Calls a registered method with `args` as the argument stream (a script
  // call passes an array; anything else tests the binding's tolerance).
  // Throws std::out_of_range for a name that was never registered.
  std::shared_ptr<PendingCall> Invoke(const std::string& name, JSValue args) const {
    const MethodDelegate& method = methods.at(name);
    auto call = std::make_shared<PendingCall>();
    JSValueTreeReader reader(std::move(args));
    auto writer = std::make_shared<JSValueTreeWriter>();
    method(reader, writer, RecordInto(call, MethodResult::Callback::Resolve, writer),
           RecordInto(call, MethodResult::Callback::Reject, writer));
    return call;
  }

  // Invoke, then the result as it stands when the method callback returned.
  MethodResult Call(const std::string& name, JSValue args) const {
    return Invoke(name, std::move(args))->Current();
  }

  std::string eventEmitterName;
  std::vector<InitializerDelegate> initializers;
  std::map<std::string, MethodDelegate> methods;

 private:
  std::vector<std::string> registrations_;
};

class FakeReactContext : public IReactContext {
 public:
  struct Event {
    std::string emitterName;  // as passed: empty means the module's own emitter
    std::string eventName;
    JSValue args;  // what the argument writer wrote, normally an array
  };

  void EmitJSEvent(std::string_view eventEmitterName, std::string_view eventName,
                   const JSValueArgWriter& paramsArgWriter) const override {
    JSValueTreeWriter writer;
    if (paramsArgWriter) paramsArgWriter(writer);
    std::lock_guard lock(mutex_);
    events_.push_back({std::string(eventEmitterName), std::string(eventName), writer.TakeValue()});
    emitted_.notify_all();
  }

  std::vector<Event> Events() const {
    std::lock_guard lock(mutex_);
    return events_;
  }

  // Blocks until at least `count` events have been emitted or the timeout
  // passes; returns the events so far.
  std::vector<Event> WaitForEvents(std::size_t count, std::chrono::milliseconds timeout) const {
    std::unique_lock lock(mutex_);
    emitted_.wait_for(lock, timeout, [&] { return events_.size() >= count; });
    return events_;
  }

 private:
  mutable std::mutex mutex_;
  mutable std::condition_variable emitted_;
  mutable std::vector<Event> events_;
};

}  // namespace tessarel::testing
