// Activation by class name: components register a factory under their
// activatable class name, and the application creates them by that name
// alone, as the package providers of the script host's ecosystem are made.
//
//   ClassRegistry registry;
//   registry.Register("RNCConfig.ReactPackageProvider", [] { return std::make_shared<...>(); });
//   auto provider = registry.ActivateInstance("RNCConfig.ReactPackageProvider");
//
// An unknown name throws hresult_error(kClassNotRegistered) whose message
// names the class: "Class not registered: <name>".
//
// Default() is the process's registry, holding every component that ships
// with the host; it is filled once, on first use.
//
// Thread-safety: a registry is filled before it is shared; ActivateInstance
// on a filled registry may be called from any thread.
#pragma once

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <string_view>

#include "host/react_module.h"

namespace tessarel {

class ClassRegistry {
 public:
  using Factory = std::function<std::shared_ptr<IReactPackageProvider>()>;

  // A later registration of the same name replaces the earlier one.
  void Register(std::string className, Factory factory);
  void Unregister(std::string_view className);
  bool Contains(std::string_view className) const noexcept;
  std::shared_ptr<IReactPackageProvider> ActivateInstance(std::string_view className) const;

  static const ClassRegistry& Default();

 private:
  std::map<std::string, Factory, std::less<>> factories_;
};

}  // namespace tessarel
