#include "host/react_module.h"

namespace tessarel {
namespace {
// Written only during static initialisation, before main; read-only after.
const ModuleRegistration* registrationHead = nullptr;
}  // namespace

ModuleRegistration::ModuleRegistration(const char* moduleName,
                                       ReactModuleProvider provider) noexcept
    : moduleName_(moduleName), provider_(std::move(provider)), next_(registrationHead) {
  registrationHead = this;
}

const ModuleRegistration* ModuleRegistration::Head() noexcept { return registrationHead; }

}  // namespace tessarel
