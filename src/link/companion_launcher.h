// Starting the companion process: which executable, and a launch that
// neither waits for it nor watches it.
//
//   if (auto executable = ResolveCompanionExecutable()) LaunchDetached(*executable);
//
// The companion is the package manifest's, unless the environment variable
// TESSAREL_COMPANION names another one; set and empty, it names none (a
// companion started by hand connects by itself).
//
// Thread-safety: both functions may be called from any thread.
#pragma once

#include <filesystem>
#include <optional>

namespace tessarel::link {

// The executable to launch, or nullopt when there is none: TESSAREL_COMPANION
// is set and empty, or the program runs without a package manifest.
std::optional<std::filesystem::path> ResolveCompanionExecutable();

// Starts `executable` with no arguments as a process of its own, detached
// from ours: it is reparented to init at once, so no zombie is left behind
// whether it runs for a second or for days, and its outcome is never looked
// at. Returns false when the process could not be started.
bool LaunchDetached(const std::filesystem::path& executable) noexcept;

}  // namespace tessarel::link
