// What a native module sees of the script host: the builder through which it
// registers its methods and initializers, and the context through which it
// emits events. No platform type appears here.
//
//   provider = [](IReactModuleBuilder& builder) -> std::shared_ptr<void> {
//     auto module = std::make_shared<MyModule>();
//     builder.AddMethod("ping", MethodReturnType::Promise, [module](auto&... args) { ... });
//     builder.AddInitializer([module](const IReactContext& context) { ... });
//     return module;
//   };
//
// Thread-safety: methods are invoked on the script host's native-call thread
// (the UI thread). IReactContext::EmitJSEvent may be called from any thread:
// the arguments are written on the calling thread and the event is queued to
// the script.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "values/js_value_reader.h"
#include "values/react_promise.h"

namespace tessarel {

enum class MethodReturnType : int { Void = 0, Callback = 1, TwoCallbacks = 2, Promise = 3 };

// Invoked per script call with a reader over the argument array, the writer
// for the result and the two result callbacks.
using MethodDelegate =
    std::function<void(IJSValueReader& inputReader, std::shared_ptr<IJSValueWriter> outputWriter,
                       MethodResultCallback resolve, MethodResultCallback reject)>;

// Writes an event's argument list: the callee writes the array of arguments.
using JSValueArgWriter = std::function<void(IJSValueWriter& writer)>;

class IReactContext {
 public:
  virtual ~IReactContext() = default;
  // An empty emitter name means the module's own event emitter.
  virtual void EmitJSEvent(std::string_view eventEmitterName, std::string_view eventName,
                           const JSValueArgWriter& paramsArgWriter) const = 0;
};

using InitializerDelegate = std::function<void(const std::shared_ptr<IReactContext>& context)>;

// Writes a module's constants as property name and value pairs into an object
// that the host has begun; they become properties of the module in script.
using ConstantProviderDelegate = std::function<void(IJSValueWriter& constantWriter)>;

class IReactModuleBuilder {
 public:
  virtual ~IReactModuleBuilder() = default;
  virtual void AddInitializer(InitializerDelegate initializer) = 0;
  virtual void AddMethod(std::string name, MethodReturnType returnType, MethodDelegate method) = 0;
  virtual void SetEventEmitterName(std::string name) = 0;
  // Builders that have no script to hand constants to may keep this default.
  virtual void AddConstantProvider(ConstantProviderDelegate /*constantProvider*/) {}
};

// Creates one module instance, registers it on the builder and returns the
// instance; the host keeps it alive for as long as the script instance lives.
using ReactModuleProvider = std::function<std::shared_ptr<void>(IReactModuleBuilder& builder)>;

class IReactPackageBuilder {
 public:
  virtual ~IReactPackageBuilder() = default;
  virtual void AddModule(std::string moduleName, ReactModuleProvider provider) = 0;
};

class IReactPackageProvider {
 public:
  virtual ~IReactPackageProvider() = default;
  virtual void CreatePackage(IReactPackageBuilder& packageBuilder) = 0;
};

// A native module's registration record. Each record is built by static
// initialisation and prepends itself to one process-wide list, which the
// program's own package provider walks.
class ModuleRegistration {
 public:
  ModuleRegistration(const char* moduleName, ReactModuleProvider provider) noexcept;
  ModuleRegistration(const ModuleRegistration&) = delete;
  ModuleRegistration& operator=(const ModuleRegistration&) = delete;

  const char* ModuleName() const noexcept { return moduleName_; }
  const ReactModuleProvider& Provider() const noexcept { return provider_; }
  const ModuleRegistration* Next() const noexcept { return next_; }

  static const ModuleRegistration* Head() noexcept;

 private:
  const char* moduleName_;
  ReactModuleProvider provider_;
  const ModuleRegistration* next_;
};

}  // namespace tessarel
