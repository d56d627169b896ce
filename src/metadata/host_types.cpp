#include "metadata/host_types.h"

#include <gtk/gtk.h>

#include "host/react_root_view.h"

namespace tessarel {
namespace {

constexpr std::string_view kHostTypeNames[] = {"TessarelReactRootView"};

}  // namespace

std::span<const std::string_view> HostTypeNames() noexcept {
  return kHostTypeNames;
}

void EnsureHostTypesRegistered() {
  g_type_ensure(TESSAREL_TYPE_REACT_ROOT_VIEW);
}

}  // namespace tessarel
