// A stand-in for the script host, for module tests: a module builder that
// records what a module registers and can call its methods, and a context
// that records the events a module emits.
//
//   FakeReactModuleBuilder builder;
//   std::shared_ptr<void> module = TessarelJs_ModuleRegistration.Provider()(builder);
//   builder.registrations;                    // in call order: "method keyboards", ...
//   auto context = std::make_shared<FakeReactContext>();
//   builder.Initialize(context);              // runs the initializers in order
//
//   MethodResult result = builder.Call("sendDebugCommand", JSValueArray{JSValue(1)});
//   result.callback;                          // MethodResult::Callback::Reject
//   result.RejectMessage();                   // "Promise destroyed."
//
//   auto call = builder.Invoke("keyboards", JSValueArray{});   // settles later
//   MethodResult later = call->Wait(std::chrono::seconds(5));
//
//   context->Events();                        // {emitter, event name, args array}
//
// Call returns what the callbacks received by the time the method callback
// returned (Callback::None when nothing had settled); Invoke hands back the
// call itself, for bodies that settle on another thread or after a wait.
// The payload is the argument list the callback was given: [value] for a
// resolution, [{"code", "message", "userInfo"}] for a rejection. Every
// callback firing is counted, so a test can see a promise answered twice.
//
// Thread-safety: a call may be settled on any thread, and events may be
// emitted from any thread; Wait, Current and Events may be used meanwhile.
// Registration and Call/Invoke themselves belong to the test's thread.
#pragma once

#include <chrono>
#include <condition_variable>
#include <map>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "host/react_module.h"
#include "values/js_value.h"
#include "values/js_value_tree.h"

namespace tessarel::testing {

struct MethodResult {
  enum class Callback { None, Resolve, Reject };
  Callback callback = Callback::None;
  JSValue payload;        // the argument list the (first) callback received
  int callbackCount = 0;  // how many times any result callback fired

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
      }
    }
    settled_.notify_all();
  }

 private:
  mutable std::mutex mutex_;
  std::condition_variable settled_;
  MethodResult result_;
};

class FakeReactModuleBuilder : public IReactModuleBuilder {
 public:
  // One AddInitializer or AddMethod call. `Describe` gives "initializer" or
  // "method <name> <return kind as a number>", handy for comparing whole logs.
  struct Registration {
    bool isMethod;
    std::string name;  // empty for an initializer
    MethodReturnType returnType;
    std::string Describe() const {
      return isMethod ? "method " + name + " " + std::to_string(static_cast<int>(returnType))
                      : "initializer";
    }
  };

  void AddInitializer(InitializerDelegate initializer) override {
    registrations.push_back({false, "", MethodReturnType::Void});
    initializers.push_back(std::move(initializer));
  }
  void AddMethod(std::string name, MethodReturnType returnType, MethodDelegate method) override {
    registrations.push_back({true, name, returnType});
    methods.emplace(std::move(name), std::move(method));
  }
  void SetEventEmitterName(std::string name) override { eventEmitterName = std::move(name); }

  std::vector<std::string> DescribeRegistrations() const {
    std::vector<std::string> lines;
    for (const Registration& registration : registrations) lines.push_back(registration.Describe());
    return lines;
  }

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
    method(
        reader, writer,
        [call, writer](IJSValueWriter&) {
          call->Record(MethodResult::Callback::Resolve, writer->TakeValue());
        },
        [call, writer](IJSValueWriter&) {
          call->Record(MethodResult::Callback::Reject, writer->TakeValue());
        });
    return call;
  }

  // Invoke, then the result as it stands when the method callback returned.
  MethodResult Call(const std::string& name, JSValue args) const {
    return Invoke(name, std::move(args))->Current();
  }

  std::string eventEmitterName;
  std::vector<Registration> registrations;  // in call order
  std::vector<InitializerDelegate> initializers;
  std::map<std::string, MethodDelegate> methods;
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
