// A start-up task that the package declares: a program that runs when the
// user signs in, kept as an XDG autostart entry.
//
//   StartupTask task = co_await StartupTask::GetAsync("DaemonLauncher");
//   if (task.State() == StartupTaskState::Disabled) co_await task.RequestEnableAsync();
//   task.Disable();
//
// The user's entry is $XDG_CONFIG_HOME/autostart/<package>.<task>.desktop
// (~/.config when the variable is unset); entries of the same name in
// $XDG_CONFIG_DIRS/autostart (/etc/xdg when unset) are the administrator's
// and count as policy. docs/launch-at-sign-in.md says which file contents give
// which state. Nothing is cached: every call reads the environment and the
// files again, so a change made by another program shows at once.
//
// Writes replace the user's entry atomically (a temporary file in the same
// directory, flushed, then renamed over it) and change only the keys this
// type owns; comments, translations and other keys stay as they were.
//
// Thread-safety: a StartupTask is an immutable value. Two writers racing on
// one entry each leave a whole file; the last rename wins.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "platform/async.h"
#include "platform/package.h"

namespace tessarel {

enum class StartupTaskState : int {
  Disabled = 0,
  DisabledByUser = 1,
  Enabled = 2,
  DisabledByPolicy = 3,
  EnabledByPolicy = 4,
};

class StartupTask {
 public:
  // The task that the running package declares under `taskId`. Fails with
  // hresult_error when the program has no package, or when the package
  // declares no task of that id.
  static IAsyncOperation<StartupTask> GetAsync(std::string taskId);

  // The same over a given package, for tools and tests that load their own
  // manifest.
  static IAsyncOperation<StartupTask> GetAsync(const Package& package, std::string taskId);

  const std::string& TaskId() const noexcept { return taskId_; }

  // Whether the task starts at the next sign-in, and who decided it.
  StartupTaskState State() const;

  // Turns the task on unless the administrator has turned it off, and
  // completes with the state that results. Never asks the user: on this
  // desktop the user's own click in the application is the consent. Fails
  // with hresult_error when the entry cannot be read or written.
  IAsyncOperation<StartupTaskState> RequestEnableAsync() const;

  // Turns the task off in the user's entry, if there is one to turn off. An
  // entry that only the administrator installed is left alone. Throws
  // hresult_error when the entry cannot be read or written.
  void Disable() const;

  // Where the user's entry lives, under the current environment.
  std::filesystem::path UserEntryPath() const;

 private:
  static StartupTask Find(const Package& package, const std::string& taskId);
  StartupTask(std::string taskId, std::string fileName, std::string displayName,
              std::string commandLine);

  std::string taskId_;
  std::string fileName_;
  std::string displayName_;
  std::string commandLine_;
};

// The Exec value that starts `executable` with `arguments`, quoted by the
// Desktop Entry rules: an argument with a reserved character is put in
// double quotes with " ` $ and \ escaped, and every % is doubled. This is the
// value after the key file's own string escaping has been undone.
std::string DesktopEntryCommandLine(const std::filesystem::path& executable,
                                    const std::vector<std::string>& arguments);

}  // namespace tessarel
