#include "host/class_registry.h"

#include "host/ecosystem_providers.h"
#include "platform/hresult_error.h"

namespace tessarel {

void ClassRegistry::Register(std::string className, Factory factory) {
  factories_.insert_or_assign(std::move(className), std::move(factory));
}

void ClassRegistry::Unregister(std::string_view className) {
  if (auto found = factories_.find(className); found != factories_.end()) factories_.erase(found);
}

bool ClassRegistry::Contains(std::string_view className) const noexcept {
  return factories_.find(className) != factories_.end();
}

std::shared_ptr<IReactPackageProvider> ClassRegistry::ActivateInstance(
    std::string_view className) const {
  const auto found = factories_.find(className);
  std::shared_ptr<IReactPackageProvider> instance;
  if (found != factories_.end() && found->second) instance = found->second();
  if (!instance) {
    throw hresult_error(error_codes::kClassNotRegistered,
                        std::string(SystemMessageForCode(error_codes::kClassNotRegistered)) + ": " +
                            std::string(className));
  }
  return instance;
}

const ClassRegistry& ClassRegistry::Default() {
  static const ClassRegistry registry = [] {
    ClassRegistry filled;
    RegisterEcosystemProviders(filled);
    return filled;
  }();
  return registry;
}

}  // namespace tessarel
