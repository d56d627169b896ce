#include "host/react_package_provider.h"

namespace tessarel {

void ReactPackageProvider::CreatePackage(IReactPackageBuilder& packageBuilder) {
  for (const ModuleRegistration* record = head_; record != nullptr; record = record->Next()) {
    packageBuilder.AddModule(record->ModuleName(), record->Provider());
  }
}

}  // namespace tessarel
