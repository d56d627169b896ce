#include "platform/package.h"

#include <glib.h>

#include <charconv>
#include <memory>
#include <system_error>

#include "platform/hresult_error.h"

namespace tessarel {
namespace {

struct GFreeDeleter {
  void operator()(void* p) const { g_free(p); }
};
struct KeyFileDeleter {
  void operator()(GKeyFile* f) const { g_key_file_unref(f); }
};
struct StrvDeleter {
  void operator()(gchar** v) const { g_strfreev(v); }
};

[[noreturn]] void ThrowManifestError(const std::filesystem::path& manifest, std::string_view what) {
  throw hresult_error(error_codes::kFileNotFound,
                      "Package manifest " + manifest.string() + ": " + std::string(what));
}

std::string RequiredString(GKeyFile* file, const char* group, const char* key,
                           const std::filesystem::path& manifest) {
  GError* error = nullptr;
  std::unique_ptr<gchar, GFreeDeleter> value(g_key_file_get_string(file, group, key, &error));
  if (!value) {
    std::string text = error ? error->message : "missing value";
    if (error) g_error_free(error);
    ThrowManifestError(manifest, text);
  }
  return value.get();
}

std::string OptionalString(GKeyFile* file, const char* group, const char* key) {
  std::unique_ptr<gchar, GFreeDeleter> value(g_key_file_get_string(file, group, key, nullptr));
  return value ? std::string(value.get()) : std::string();
}

// "1.2.30.0": exactly four decimal parts, each 0..65535.
PackageVersion ParseVersion(std::string_view text, const std::filesystem::path& manifest) {
  PackageVersion version;
  std::uint16_t* parts[] = {&version.Major, &version.Minor, &version.Build, &version.Revision};
  const char* cursor = text.data();
  const char* end = text.data() + text.size();
  for (std::size_t i = 0; i < 4; ++i) {
    auto [next, error] = std::from_chars(cursor, end, *parts[i]);
    if (error != std::errc{} || next == cursor) ThrowManifestError(manifest, "bad Version");
    cursor = next;
    if (i < 3) {
      if (cursor == end || *cursor != '.') ThrowManifestError(manifest, "bad Version");
      ++cursor;
    }
  }
  if (cursor != end) ThrowManifestError(manifest, "bad Version");
  return version;
}

std::filesystem::path Resolve(const std::filesystem::path& prefix, const std::string& path) {
  std::filesystem::path value(path);
  return value.is_absolute() ? value : prefix / value;
}

std::filesystem::path ExecutablePrefix() {
  std::error_code error;
  const auto exe = std::filesystem::read_symlink("/proc/self/exe", error);
  if (error) throw hresult_error(error_codes::kFileNotFound, "Cannot find the running program");
  return exe.parent_path().parent_path();
}

}  // namespace

std::filesystem::path Package::ManifestPath(const std::filesystem::path& prefix) {
  return prefix / "share" / "tessarel" / "package.manifest";
}

Package Package::Load(const std::filesystem::path& manifest, const std::filesystem::path& prefix) {
  std::unique_ptr<GKeyFile, KeyFileDeleter> file(g_key_file_new());
  GError* error = nullptr;
  if (!g_key_file_load_from_file(file.get(), manifest.c_str(), G_KEY_FILE_NONE, &error)) {
    std::string text = error ? error->message : "cannot be read";
    if (error) g_error_free(error);
    ThrowManifestError(manifest, text);
  }
  GKeyFile* f = file.get();
  Package package;
  package.prefix_ = prefix;
  package.id_.Name = RequiredString(f, "Identity", "Name", manifest);
  package.id_.Publisher = OptionalString(f, "Identity", "Publisher");
  package.id_.Version = ParseVersion(RequiredString(f, "Identity", "Version", manifest), manifest);
  package.companion_ = Resolve(prefix, RequiredString(f, "Companion", "Executable", manifest));
  package.socketName_ = RequiredString(f, "AppService", "Socket", manifest);
  package.bundleDirectory_ = Resolve(prefix, RequiredString(f, "Application", "Bundle", manifest));

  std::unique_ptr<gchar*, StrvDeleter> groups(g_key_file_get_groups(f, nullptr));
  constexpr std::string_view kTaskGroup = "StartupTask ";
  for (gchar** group = groups.get(); *group; ++group) {
    std::string_view name(*group);
    if (!name.starts_with(kTaskGroup)) continue;
    StartupTaskDeclaration task;
    task.TaskId = std::string(name.substr(kTaskGroup.size()));
    task.DisplayName = OptionalString(f, *group, "DisplayName");
    task.Executable = Resolve(prefix, RequiredString(f, *group, "Executable", manifest));
    gsize count = 0;
    std::unique_ptr<gchar*, StrvDeleter> arguments(
        g_key_file_get_string_list(f, *group, "Arguments", &count, nullptr));
    for (gsize i = 0; arguments && i < count; ++i) task.Arguments.emplace_back(arguments.get()[i]);
    package.tasks_.push_back(std::move(task));
  }
  return package;
}

const Package& Package::Current() {
  static const Package current = [] {
    const auto prefix = ExecutablePrefix();
    return Load(ManifestPath(prefix), prefix);
  }();
  return current;
}

const StartupTaskDeclaration* Package::FindStartupTask(std::string_view taskId) const noexcept {
  for (const auto& task : tasks_) {
    if (task.TaskId == taskId) return &task;
  }
  return nullptr;
}

}  // namespace tessarel
