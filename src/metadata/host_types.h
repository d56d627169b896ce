// Type registration for the UI loader: the host's own widget types are
// registered with GType under the names that .ui files use, so that
// GtkBuilder can build them by name.
//
//   tessarel::EnsureHostTypesRegistered();        // before loading a .ui file
//   g_type_from_name("TessarelReactRootView");    // now known
//
// Thread-safety: call on the UI thread; registering twice is harmless.
#pragma once

#include <span>
#include <string_view>

namespace tessarel {

// The widget type names that .ui files may use.
std::span<const std::string_view> HostTypeNames() noexcept;

void EnsureHostTypesRegistered();

}  // namespace tessarel
