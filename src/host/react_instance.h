// One run of the script host: the native modules made from the package
// providers, each with its methods, event emitter and constants, and the
// queue through which their events reach the script.
//
//   auto instance = ReactInstance::Create(providers, uiDispatcher);
//   instance->SetEventSink([](const std::string& name, const std::string& argsJson) { ... });
//   const ReactInstance::Module* m = instance->FindModule("SettingsJs");
//
// Modules are created in provider order, each module's initializers run right
// after the module is made, in the order its builder received them. A module
// provider that throws ends the process: a half-registered module table is
// not something the script can be given.
//
// Thread-safety: create, look up, set the sink and destroy on the UI thread.
// A module's IReactContext may emit from any thread: the arguments are
// serialised on the emitting thread and the event is posted to the UI
// dispatcher; an event that arrives after the instance is gone is dropped.
#pragma once

#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "host/react_module.h"
#include "platform/dispatcher.h"

namespace tessarel {

inline constexpr std::string_view kDefaultEventEmitterName = "RCTDeviceEventEmitter";

// What a package provider that belongs to the host itself may ask for
// besides modules. The host's package builder implements it; providers reach
// it with dynamic_cast.
class IHostPackageBuilder {
 public:
  virtual ~IHostPackageBuilder() = default;
  // Web storage (localStorage, IndexedDB) of the page survives a restart.
  virtual void UsePersistentWebStorage() = 0;
};

struct ReactModuleMethod {
  std::string name;
  MethodReturnType returnType;
  MethodDelegate delegate;
};

class ReactInstance : public std::enable_shared_from_this<ReactInstance> {
 public:
  struct Module {
    std::string name;
    std::string eventEmitterName{kDefaultEventEmitterName};
    std::vector<ReactModuleMethod> methods;
    std::string constantsJson = "{}";
    std::shared_ptr<void> instance;

    const ReactModuleMethod* FindMethod(std::string_view methodName) const noexcept;
  };

  using EventSink = std::function<void(const std::string& eventName, const std::string& argsJson)>;

  static std::shared_ptr<ReactInstance> Create(
      const std::vector<std::shared_ptr<IReactPackageProvider>>& providers,
      std::shared_ptr<Dispatcher> uiDispatcher);

  ReactInstance(const ReactInstance&) = delete;
  ReactInstance& operator=(const ReactInstance&) = delete;
  ~ReactInstance();

  const std::vector<Module>& Modules() const noexcept { return modules_; }
  const Module* FindModule(std::string_view name) const noexcept;
  bool UsesPersistentWebStorage() const noexcept { return persistentWebStorage_; }

  // What the script is told about the modules, as JSON:
  // {"SettingsJs": {"methods": ["appVersion"], "constants": {}}, ...}
  std::string DescribeModules() const;

  // Events go to `sink` from now on, starting with those queued so far in the
  // order they were emitted. An empty sink queues them again.
  void SetEventSink(EventSink sink);

  // Hands one serialised event to the sink, or queues it. UI thread.
  void DeliverEvent(std::string eventName, std::string argsJson);

  const std::shared_ptr<Dispatcher>& UiDispatcher() const noexcept { return uiDispatcher_; }

 private:
  explicit ReactInstance(std::shared_ptr<Dispatcher> uiDispatcher);
  void AddModule(std::string name, const ReactModuleProvider& provider);

  std::shared_ptr<Dispatcher> uiDispatcher_;
  std::vector<Module> modules_;
  bool persistentWebStorage_ = false;
  EventSink sink_;
  std::deque<std::pair<std::string, std::string>> queuedEvents_;
};

}  // namespace tessarel
