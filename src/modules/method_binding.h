// Binding of script calls to a module's C++ methods, and of a module's event
// members to the host's event emission. One template serves every method of
// every module; methods differ only in how many script arguments they take.
//
//   class Lamp {
//    public:
//     IAsyncAction setColor(JSValue r, JSValue g, JSValue b, ReactPromise<JSValue> promise);
//     std::function<void(const std::string&)> changed;
//   };
//   builder.AddMethod("setColor", MethodReturnType::Promise,
//                     BindPromiseMethod(weakLamp, &Lamp::setColor));
//   builder.AddInitializer(BindEventSender(weakLamp, &Lamp::changed, "changed"));
//
// A bound method reads its arguments by position from the call's argument
// array: each parameter takes the next item; once the items run out, that
// parameter and every later one are null and no further item is asked for;
// surplus items are never read; an argument stream that is not an array gives
// all nulls. No type is checked: each body converts its own arguments. It then
// makes a promise from the host's writer and callbacks, calls the method with
// its own copy, and releases the call's copy when the method returns. A
// method that kept no copy and did not settle is thereby rejected with
// "Promise destroyed."; an asynchronous method's returned action is dropped,
// as it runs on by itself. A module that is gone by the time of the call gets
// the same rejection.
//
// Thread-safety: bound methods run on the host's native-call thread. Event
// senders may be called from any thread once the host has run the
// initializer; the host context they hold is safe to use from any thread.
#pragma once

#include <array>
#include <cstddef>
#include <functional>
#include <memory>
#include <string_view>
#include <tuple>
#include <type_traits>
#include <utility>

#include "host/react_module.h"
#include "values/js_value.h"
#include "values/react_promise.h"

namespace tessarel {

namespace method_binding_internal {

template <std::size_t count>
std::array<JSValue, count> ReadArguments(IJSValueReader& reader) {
  std::array<JSValue, count> arguments;
  if (reader.ValueType() != JSValueType::Array) return arguments;
  for (JSValue& argument : arguments) {
    if (!reader.GetNextArrayItem()) break;
    argument = ReadValue(reader);
  }
  return arguments;
}

template <class Module, class Method, std::size_t count, std::size_t... index>
void CallWithArguments(Module& module, Method method, std::array<JSValue, count>& arguments,
                       const ReactPromise<JSValue>& promise, std::index_sequence<index...>) {
  // Passing `promise` by value gives the method its own copy. Whatever it
  // returns (nothing, or an action that settles later) is not waited for.
  static_cast<void>((module.*method)(std::move(arguments[index])..., promise));
}

}  // namespace method_binding_internal

// The module is held weakly (a shared_ptr converts). Every parameter of
// `method` but the last is a script argument (a JSValue); the last is the
// promise.
template <class Module, class Result, class... Parameters>
MethodDelegate BindPromiseMethod(std::type_identity_t<std::weak_ptr<Module>> weakModule,
                                 Result (Module::*method)(Parameters...)) {
  constexpr std::size_t argumentCount = sizeof...(Parameters) - 1;
  static_assert(std::is_same_v<std::tuple_element_t<argumentCount, std::tuple<Parameters...>>,
                               ReactPromise<JSValue>>,
                "a promise method takes its ReactPromise<JSValue> last");
  return [weakModule = std::move(weakModule), method](
             IJSValueReader& reader, std::shared_ptr<IJSValueWriter> writer,
             MethodResultCallback resolve, MethodResultCallback reject) {
    std::array<JSValue, argumentCount> arguments =
        method_binding_internal::ReadArguments<argumentCount>(reader);
    const ReactPromise<JSValue> promise(std::move(writer), std::move(resolve), std::move(reject));
    if (std::shared_ptr<Module> module = weakModule.lock()) {
      method_binding_internal::CallWithArguments(*module, method, arguments, promise,
                                                 std::make_index_sequence<argumentCount>{});
    }
  };
}

// An initializer that sets the event member `sender` to a function emitting
// `eventName` (a string with static storage) through the host's context, with
// no emitter name of its own, so that the module's emitter is used. The
// sender's arguments become the event's argument list, in order.
template <class Module, class... EventArgs>
InitializerDelegate BindEventSender(std::type_identity_t<std::weak_ptr<Module>> weakModule,
                                    std::function<void(EventArgs...)> Module::*sender,
                                    std::string_view eventName) {
  return [weakModule = std::move(weakModule), sender,
          eventName](const std::shared_ptr<IReactContext>& context) {
    std::shared_ptr<Module> module = weakModule.lock();
    if (!module) return;
    (*module).*sender = [context, eventName](EventArgs... args) {
      context->EmitJSEvent("", eventName, [&args...](IJSValueWriter& writer) {
        writer.WriteArrayBegin();
        (WriteValue(writer, JSValue(args)), ...);
        writer.WriteArrayEnd();
      });
    };
  };
}

}  // namespace tessarel
