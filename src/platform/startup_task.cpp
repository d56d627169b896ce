#include "platform/startup_task.h"

#include <glib.h>

#include <cerrno>
#include <cstdlib>
#include <memory>
#include <string_view>
#include <system_error>
#include <utility>

#include "platform/hresult_error.h"

namespace tessarel {
namespace {

constexpr const char* kGroup = G_KEY_FILE_DESKTOP_GROUP;  // "Desktop Entry"
constexpr const char* kHiddenKey = G_KEY_FILE_DESKTOP_KEY_HIDDEN;
constexpr const char* kGnomeEnabledKey = "X-GNOME-Autostart-enabled";

struct GFreeDeleter {
  void operator()(void* p) const { g_free(p); }
};
struct StrvDeleter {
  void operator()(gchar** v) const { g_strfreev(v); }
};
struct KeyFileDeleter {
  void operator()(GKeyFile* f) const { g_key_file_unref(f); }
};
struct ErrorDeleter {
  void operator()(GError* e) const { g_error_free(e); }
};
using CString = std::unique_ptr<gchar, GFreeDeleter>;
using CStrv = std::unique_ptr<gchar*, StrvDeleter>;
using KeyFilePtr = std::unique_ptr<GKeyFile, KeyFileDeleter>;
using ErrorPtr = std::unique_ptr<GError, ErrorDeleter>;

// What one autostart file says about starting the program.
enum class EntryStatus {
  Absent,  // no file of that name in the directory
  Hidden,  // Hidden=true: the file, and every file of its name further down, is ignored
  Off,     // present, but the session would not start it here
  On,      // the session starts it
};

// The environment is read on every call: tests and long-running sessions may
// change it, and GLib's own g_get_user_config_dir() caches the first answer.
std::string Environment(const char* name) {
  const char* value = std::getenv(name);
  return value ? std::string(value) : std::string();
}

std::filesystem::path UserConfigDirectory() {
  std::filesystem::path configHome(Environment("XDG_CONFIG_HOME"));
  // A relative value is invalid and ignored, as the base directory rules say.
  if (configHome.is_absolute()) return configHome;
  std::string home = Environment("HOME");
  if (home.empty()) home = g_get_home_dir();
  return std::filesystem::path(home) / ".config";
}

// The administrator's directories, most important first.
std::vector<std::filesystem::path> SystemConfigDirectories() {
  std::vector<std::filesystem::path> directories;
  const std::string value = Environment("XDG_CONFIG_DIRS");
  std::string_view rest(value);
  while (!rest.empty()) {
    const auto colon = rest.find(':');
    const std::filesystem::path directory(rest.substr(0, colon));
    if (directory.is_absolute()) directories.push_back(directory);
    rest = colon == std::string_view::npos ? std::string_view{} : rest.substr(colon + 1);
  }
  if (directories.empty()) directories.emplace_back("/etc/xdg");
  return directories;
}

bool FileExists(const std::filesystem::path& path) {
  std::error_code error;
  return std::filesystem::exists(path, error);
}

// Loads a desktop entry keeping comments and translations, so that writing it
// back loses nothing. Null with `error` set when the file cannot be parsed.
KeyFilePtr LoadEntry(const std::filesystem::path& path, ErrorPtr& error) {
  KeyFilePtr file(g_key_file_new());
  GError* raw = nullptr;
  const auto flags =
      static_cast<GKeyFileFlags>(G_KEY_FILE_KEEP_COMMENTS | G_KEY_FILE_KEEP_TRANSLATIONS);
  if (!g_key_file_load_from_file(file.get(), path.c_str(), flags, &raw)) {
    error.reset(raw);
    return nullptr;
  }
  return file;
}

// A boolean key; `fallback` when absent or not a boolean.
bool BooleanKey(GKeyFile* file, const char* key, bool fallback) {
  GError* error = nullptr;
  const gboolean value = g_key_file_get_boolean(file, kGroup, key, &error);
  if (error) {
    g_error_free(error);
    return fallback;
  }
  return value != FALSE;
}

bool ListContainsAny(GKeyFile* file, const char* key, const std::vector<std::string>& names,
                     bool* present) {
  gsize count = 0;
  CStrv list(g_key_file_get_string_list(file, kGroup, key, &count, nullptr));
  *present = list != nullptr;
  for (gsize i = 0; list && i < count; ++i) {
    for (const std::string& name : names) {
      if (name == list.get()[i]) return true;
    }
  }
  return false;
}

// OnlyShowIn and NotShowIn against the colon-separated $XDG_CURRENT_DESKTOP.
bool ShownInCurrentDesktop(GKeyFile* file) {
  std::vector<std::string> desktops;
  const std::string value = Environment("XDG_CURRENT_DESKTOP");
  std::string_view rest(value);
  while (!rest.empty()) {
    const auto colon = rest.find(':');
    if (colon != 0) desktops.emplace_back(rest.substr(0, colon));
    rest = colon == std::string_view::npos ? std::string_view{} : rest.substr(colon + 1);
  }
  bool present = false;
  if (!ListContainsAny(file, G_KEY_FILE_DESKTOP_KEY_ONLY_SHOW_IN, desktops, &present) && present) {
    return false;
  }
  return !ListContainsAny(file, G_KEY_FILE_DESKTOP_KEY_NOT_SHOW_IN, desktops, &present);
}

// TryExec names a program that must be installed for the entry to start: an
// absolute path, or a name looked up in $PATH.
bool TryExecFound(GKeyFile* file) {
  CString program(g_key_file_get_string(file, kGroup, G_KEY_FILE_DESKTOP_KEY_TRY_EXEC, nullptr));
  if (!program || *program == '\0') return true;
  if (g_path_is_absolute(program.get())) {
    return g_file_test(program.get(), G_FILE_TEST_IS_EXECUTABLE) &&
           !g_file_test(program.get(), G_FILE_TEST_IS_DIR);
  }
  return CString(g_find_program_in_path(program.get())) != nullptr;
}

EntryStatus ReadEntryStatus(const std::filesystem::path& path) {
  if (!FileExists(path)) return EntryStatus::Absent;
  ErrorPtr error;
  KeyFilePtr file = LoadEntry(path, error);
  // A file the session cannot parse starts nothing, but it is still there.
  if (!file || !g_key_file_has_group(file.get(), kGroup)) return EntryStatus::Off;
  if (BooleanKey(file.get(), kHiddenKey, false)) return EntryStatus::Hidden;
  if (!BooleanKey(file.get(), kGnomeEnabledKey, true)) return EntryStatus::Off;
  if (!ShownInCurrentDesktop(file.get()) || !TryExecFound(file.get())) return EntryStatus::Off;
  return EntryStatus::On;
}

// The most important system entry decides for all system directories.
EntryStatus ReadPolicyStatus(const std::string& fileName) {
  for (const auto& directory : SystemConfigDirectories()) {
    const auto path = directory / "autostart" / fileName;
    if (FileExists(path)) return ReadEntryStatus(path);
  }
  return EntryStatus::Absent;
}

hresult CodeForFileError(const GError* error) {
  if (error->domain != G_FILE_ERROR) return error_codes::kFail;
  switch (error->code) {
    case G_FILE_ERROR_ACCES:
    case G_FILE_ERROR_PERM:
    case G_FILE_ERROR_ROFS:
      return error_codes::kAccessDenied;
    case G_FILE_ERROR_NOENT:
      return error_codes::kFileNotFound;
    default:
      return error_codes::kFail;
  }
}

// Rewrites the user's entry through `change`, which receives the loaded file
// (empty when there was none) and whether it is new, and returns false when
// nothing needs writing. The file is replaced atomically; a symbolic link is
// followed so that the link itself survives.
template <class Change>
void RewriteEntry(const std::filesystem::path& path, Change&& change) {
  std::error_code ignored;
  std::filesystem::path target = path;
  if (std::filesystem::is_symlink(path, ignored)) {
    auto resolved = std::filesystem::weakly_canonical(path, ignored);
    if (!ignored) target = std::move(resolved);
  }

  const bool exists = FileExists(target);
  KeyFilePtr file;
  if (exists) {
    ErrorPtr error;
    file = LoadEntry(target, error);
    // Never overwrite what we cannot read: the user's text would be lost.
    if (!file) {
      throw hresult_error(
          CodeForFileError(error.get()),
          "Cannot read the autostart entry " + target.string() + ": " + error->message);
    }
  } else {
    file.reset(g_key_file_new());
  }
  if (!change(file.get(), !exists)) return;

  gsize length = 0;
  CString data(g_key_file_to_data(file.get(), &length, nullptr));

  const std::string directory = target.parent_path().string();
  if (g_mkdir_with_parents(directory.c_str(), 0700) != 0) {
    const int code = errno;
    throw hresult_error(code == EACCES || code == EPERM || code == EROFS
                            ? error_codes::kAccessDenied
                            : error_codes::kFail,
                        "Cannot create " + directory + ": " + g_strerror(code));
  }
  int mode = 0644;
  if (exists) {
    const auto status = std::filesystem::status(target, ignored);
    if (!ignored) mode = static_cast<int>(status.permissions() & std::filesystem::perms::mask);
  }
  GError* raw = nullptr;
  const auto flags = static_cast<GFileSetContentsFlags>(G_FILE_SET_CONTENTS_CONSISTENT |
                                                        G_FILE_SET_CONTENTS_DURABLE);
  if (!g_file_set_contents_full(target.c_str(), data.get(), static_cast<gssize>(length), flags,
                                mode, &raw)) {
    ErrorPtr error(raw);
    throw hresult_error(CodeForFileError(error.get()), "Cannot write the autostart entry " +
                                                           target.string() + ": " + error->message);
  }
}

bool IsReserved(char c) {
  return std::string_view(" \t\n\"'\\><~|&;$*?#()`").find(c) != std::string_view::npos;
}

void AppendArgument(std::string& line, std::string_view argument) {
  bool quote = argument.empty();
  for (char c : argument) quote = quote || IsReserved(c);
  if (quote) line += '"';
  for (char c : argument) {
    if (quote && (c == '"' || c == '`' || c == '$' || c == '\\')) line += '\\';
    // A lone % would start a field code.
    if (c == '%') line += '%';
    line += c;
  }
  if (quote) line += '"';
}

}  // namespace

std::string DesktopEntryCommandLine(const std::filesystem::path& executable,
                                    const std::vector<std::string>& arguments) {
  std::string line;
  AppendArgument(line, executable.string());
  for (const std::string& argument : arguments) {
    line += ' ';
    AppendArgument(line, argument);
  }
  return line;
}

StartupTask::StartupTask(std::string taskId, std::string fileName, std::string displayName,
                         std::string commandLine)
    : taskId_(std::move(taskId)),
      fileName_(std::move(fileName)),
      displayName_(std::move(displayName)),
      commandLine_(std::move(commandLine)) {}

StartupTask StartupTask::Find(const Package& package, const std::string& taskId) {
  const StartupTaskDeclaration* declaration = package.FindStartupTask(taskId);
  if (!declaration) {
    throw hresult_error(error_codes::kInvalidArgument,
                        "The package declares no start-up task \"" + taskId + "\"");
  }
  // The file is named after the package and the task, as a desktop file id:
  // an administrator who installs the same name in a system directory sets
  // the policy for it.
  const std::string fileName = package.Id().Name + "." + taskId + ".desktop";
  std::string commandLine =
      DesktopEntryCommandLine(declaration->Executable, declaration->Arguments);
  if (taskId.find('/') != std::string::npos ||
      !g_utf8_validate(commandLine.data(), static_cast<gssize>(commandLine.size()), nullptr) ||
      !g_utf8_validate(declaration->DisplayName.data(),
                       static_cast<gssize>(declaration->DisplayName.size()), nullptr)) {
    throw hresult_error(error_codes::kInvalidArgument,
                        "The start-up task \"" + taskId + "\" cannot be an autostart entry");
  }
  return StartupTask(taskId, fileName,
                     declaration->DisplayName.empty() ? taskId : declaration->DisplayName,
                     std::move(commandLine));
}

IAsyncOperation<StartupTask> StartupTask::GetAsync(std::string taskId) {
  // Package::Current() throws without a package; inside the coroutine body
  // that becomes the operation's error rather than the caller's.
  co_return Find(Package::Current(), taskId);
}

IAsyncOperation<StartupTask> StartupTask::GetAsync(const Package& package, std::string taskId) {
  // Completes before returning, so the reference does not outlive the call.
  co_return Find(package, taskId);
}

std::filesystem::path StartupTask::UserEntryPath() const {
  return UserConfigDirectory() / "autostart" / fileName_;
}

StartupTaskState StartupTask::State() const {
  const EntryStatus user = ReadEntryStatus(UserEntryPath());
  const EntryStatus policy = ReadPolicyStatus(fileName_);
  // What actually runs comes first: the user's file overrides the system's.
  if (user == EntryStatus::On) return StartupTaskState::Enabled;
  if (policy == EntryStatus::Hidden) return StartupTaskState::DisabledByPolicy;
  if (user != EntryStatus::Absent) return StartupTaskState::DisabledByUser;
  if (policy == EntryStatus::On) return StartupTaskState::EnabledByPolicy;
  return StartupTaskState::Disabled;
}

IAsyncOperation<StartupTaskState> StartupTask::RequestEnableAsync() const {
  const StartupTaskState state = State();
  if (state != StartupTaskState::Disabled && state != StartupTaskState::DisabledByUser) {
    co_return state;
  }
  RewriteEntry(UserEntryPath(), [this](GKeyFile* file, bool created) {
    // Type, Name and Exec follow the package, so that an entry left by an
    // older install starts the program that is installed now.
    g_key_file_set_string(file, kGroup, G_KEY_FILE_DESKTOP_KEY_TYPE,
                          G_KEY_FILE_DESKTOP_TYPE_APPLICATION);
    g_key_file_set_string(file, kGroup, G_KEY_FILE_DESKTOP_KEY_NAME, displayName_.c_str());
    g_key_file_set_string(file, kGroup, G_KEY_FILE_DESKTOP_KEY_EXEC, commandLine_.c_str());
    g_key_file_set_boolean(file, kGroup, kHiddenKey, FALSE);
    g_key_file_set_boolean(file, kGroup, kGnomeEnabledKey, TRUE);
    if (created) {
      g_key_file_set_comment(file, nullptr, nullptr,
                             " Launch at sign-in, turned on and off from the application.\n"
                             " It sets Type, Name, Exec, Hidden and X-GNOME-Autostart-enabled;\n"
                             " other keys and comments added here are kept.",
                             nullptr);
    }
    return true;
  });
  // Keys of the user's own (OnlyShowIn, TryExec) may still keep it off.
  co_return State();
}

void StartupTask::Disable() const {
  const auto path = UserEntryPath();
  // With no user entry there is nothing of ours to turn off; an entry that
  // only the administrator installed is policy and stays as it is.
  if (!FileExists(path)) return;
  RewriteEntry(path, [](GKeyFile* file, bool) {
    if (BooleanKey(file, kHiddenKey, false) && !BooleanKey(file, kGnomeEnabledKey, true)) {
      return false;  // already off: leave the file and its time stamp alone
    }
    // Both keys, since some sessions read only one of them.
    g_key_file_set_boolean(file, kGroup, kHiddenKey, TRUE);
    g_key_file_set_boolean(file, kGroup, kGnomeEnabledKey, FALSE);
    return true;
  });
}

}  // namespace tessarel
