// The program's own package provider: it adds every module whose
// registration record was built by static initialisation (TessarelJs,
// SettingsJs, KeyBinderJs), walking the list from its head.
//
//   app.PackageProviders().push_back(std::make_shared<ReactPackageProvider>());
//
// Thread-safety: the records are complete before main(); CreatePackage only
// reads them.
#pragma once

#include "host/react_module.h"

namespace tessarel {

class ReactPackageProvider final : public IReactPackageProvider {
 public:
  explicit ReactPackageProvider(
      const ModuleRegistration* head = ModuleRegistration::Head()) noexcept
      : head_(head) {}

  void CreatePackage(IReactPackageBuilder& packageBuilder) override;

 private:
  const ModuleRegistration* head_;
};

}  // namespace tessarel
