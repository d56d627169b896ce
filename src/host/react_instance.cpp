#include "host/react_instance.h"

#include <cstdio>
#include <exception>

#include <nlohmann/json.hpp>

#include "host/json_value_io.h"

namespace tessarel {
namespace {

using Json = nlohmann::ordered_json;

// The context a module's initializers receive. It holds the instance weakly:
// a module may keep its context (inside its event senders) after the
// instance that made it has gone.
class ModuleContext final : public IReactContext {
 public:
  ModuleContext(std::weak_ptr<ReactInstance> instance, std::shared_ptr<Dispatcher> ui)
      : instance_(std::move(instance)), ui_(std::move(ui)) {}

  // Every emitter name, the module's own "RCTDeviceEventEmitter" included,
  // ends in the script's DeviceEventEmitter on this host, as React Native
  // routes module events through RCTDeviceEventEmitter too; so the name
  // selects nothing here.
  void EmitJSEvent(std::string_view /*eventEmitterName*/, std::string_view eventName,
                   const JSValueArgWriter& paramsArgWriter) const override {
    JsonValueWriter writer;
    if (paramsArgWriter) paramsArgWriter(writer);
    std::string argsJson = writer.TakeJson();
    // The arguments are a list; a writer that wrote a single value (or
    // nothing) is taken as a list of that one value (or an empty list).
    if (argsJson == "null") {
      argsJson = "[]";
    } else if (argsJson.front() != '[') {
      argsJson = "[" + argsJson + "]";
    }
    ui_->Post([instance = instance_, name = std::string(eventName),
               args = std::move(argsJson)]() mutable {
      if (auto alive = instance.lock()) alive->DeliverEvent(std::move(name), std::move(args));
    });
  }

 private:
  std::weak_ptr<ReactInstance> instance_;
  std::shared_ptr<Dispatcher> ui_;
};

class ModuleBuilder final : public IReactModuleBuilder {
 public:
  explicit ModuleBuilder(ReactInstance::Module& module) : module_(module) {}

  void AddInitializer(InitializerDelegate initializer) override {
    initializers_.push_back(std::move(initializer));
  }
  void AddMethod(std::string name, MethodReturnType returnType, MethodDelegate method) override {
    module_.methods.push_back({std::move(name), returnType, std::move(method)});
  }
  void SetEventEmitterName(std::string name) override {
    module_.eventEmitterName = std::move(name);
  }
  void AddConstantProvider(ConstantProviderDelegate constantProvider) override {
    constantProviders_.push_back(std::move(constantProvider));
  }

  std::vector<InitializerDelegate>& Initializers() noexcept { return initializers_; }

  std::string WriteConstants() const {
    JsonValueWriter writer;
    writer.WriteObjectBegin();
    for (const auto& provider : constantProviders_) provider(writer);
    writer.WriteObjectEnd();
    return writer.TakeJson();
  }

 private:
  ReactInstance::Module& module_;
  std::vector<InitializerDelegate> initializers_;
  std::vector<ConstantProviderDelegate> constantProviders_;
};

class PackageBuilder final : public IReactPackageBuilder, public IHostPackageBuilder {
 public:
  void AddModule(std::string moduleName, ReactModuleProvider provider) override {
    modules.emplace_back(std::move(moduleName), std::move(provider));
  }
  void UsePersistentWebStorage() override { persistentWebStorage = true; }

  std::vector<std::pair<std::string, ReactModuleProvider>> modules;
  bool persistentWebStorage = false;
};

}  // namespace

const ReactModuleMethod* ReactInstance::Module::FindMethod(
    std::string_view methodName) const noexcept {
  for (const auto& method : methods) {
    if (method.name == methodName) return &method;
  }
  return nullptr;
}

ReactInstance::ReactInstance(std::shared_ptr<Dispatcher> uiDispatcher)
    : uiDispatcher_(std::move(uiDispatcher)) {}

ReactInstance::~ReactInstance() {
  // Modules go in reverse order of creation, as members of a class would.
  while (!modules_.empty()) modules_.pop_back();
}

std::shared_ptr<ReactInstance> ReactInstance::Create(
    const std::vector<std::shared_ptr<IReactPackageProvider>>& providers,
    std::shared_ptr<Dispatcher> uiDispatcher) {
  std::shared_ptr<ReactInstance> instance(new ReactInstance(std::move(uiDispatcher)));
  PackageBuilder packages;
  for (const auto& provider : providers) {
    if (provider) provider->CreatePackage(packages);
  }
  instance->persistentWebStorage_ = packages.persistentWebStorage;
  instance->modules_.reserve(packages.modules.size());
  for (auto& [name, provider] : packages.modules) instance->AddModule(name, provider);
  return instance;
}

void ReactInstance::AddModule(std::string name, const ReactModuleProvider& provider) {
  // The first registration of a name wins; a later one is not created at all.
  if (FindModule(name) != nullptr || !provider) return;
  Module& module = modules_.emplace_back();
  module.name = std::move(name);
  try {
    ModuleBuilder builder(module);
    module.instance = provider(builder);
    module.constantsJson = builder.WriteConstants();
    auto context = std::make_shared<ModuleContext>(weak_from_this(), uiDispatcher_);
    for (const auto& initializer : builder.Initializers()) {
      if (initializer) initializer(context);
    }
  } catch (const std::exception& error) {
    std::fprintf(stderr, "tessarel: module %s failed to register: %s\n", module.name.c_str(),
                 error.what());
    std::terminate();
  }
}

const ReactInstance::Module* ReactInstance::FindModule(std::string_view name) const noexcept {
  for (const auto& module : modules_) {
    if (module.name == name) return &module;
  }
  return nullptr;
}

std::string ReactInstance::DescribeModules() const {
  Json table = Json::object();
  for (const auto& module : modules_) {
    Json methods = Json::array();
    for (const auto& method : module.methods) methods.push_back(method.name);
    table[module.name] = {{"methods", std::move(methods)},
                          {"constants", ParseJsonText(module.constantsJson)}};
  }
  return table.dump(-1, ' ', false, Json::error_handler_t::replace);
}

void ReactInstance::SetEventSink(EventSink sink) {
  sink_ = std::move(sink);
  while (sink_ && !queuedEvents_.empty()) {
    auto [name, args] = std::move(queuedEvents_.front());
    queuedEvents_.pop_front();
    sink_(name, args);
  }
}

void ReactInstance::DeliverEvent(std::string eventName, std::string argsJson) {
  if (sink_ && queuedEvents_.empty()) {
    sink_(eventName, argsJson);
  } else {
    queuedEvents_.emplace_back(std::move(eventName), std::move(argsJson));
  }
}

}  // namespace tessarel
