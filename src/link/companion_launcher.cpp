#include "link/companion_launcher.h"

#include <glib.h>

#include <cstdlib>
#include <string>

#include "platform/hresult_error.h"
#include "platform/package.h"

namespace tessarel::link {

std::optional<std::filesystem::path> ResolveCompanionExecutable() {
  if (const char* chosen = std::getenv("TESSAREL_COMPANION")) {
    if (chosen[0] == '\0') return std::nullopt;
    return std::filesystem::path(chosen);
  }
  try {
    const std::filesystem::path& executable = Package::Current().CompanionExecutable();
    if (executable.empty()) return std::nullopt;
    return executable;
  } catch (const hresult_error&) {
    return std::nullopt;  // no package identity: nothing declares a companion
  }
}

bool LaunchDetached(const std::filesystem::path& executable) noexcept {
  std::string path = executable.string();
  char* argv[] = {path.data(), nullptr};
  // Without G_SPAWN_DO_NOT_REAP_CHILD, GLib starts the program from an
  // intermediate child that it reaps before returning: the companion becomes
  // a child of init, and no child watch or main loop is needed here.
  // Descriptors other than the standard three are closed in the child, so
  // the app-service socket does not leak into the companion.
  GError* error = nullptr;
  const gboolean started = g_spawn_async(nullptr, argv, nullptr, G_SPAWN_STDIN_FROM_DEV_NULL,
                                         nullptr, nullptr, nullptr, &error);
  if (error != nullptr) g_error_free(error);
  return started == TRUE;
}

}  // namespace tessarel::link
