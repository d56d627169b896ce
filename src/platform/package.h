// The installed package: its identity and version, and what it declares (the
// companion executable, the start-up tasks, the app-service socket name).
//
// The manifest is a GKeyFile, share/tessarel/package.manifest under the
// package prefix; the prefix is found from the running executable's own
// location (<prefix>/bin/tessarel), so the build tree, laid out the same way,
// works as a package too.
//
//   const Package& package = Package::Current();   // throws without identity
//   PackageVersion v = package.Id().Version;        // {0, 1, 0, 0}
//
// Thread-safety: Current() loads once (thread-safe static); a Package is
// immutable afterwards.
#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace tessarel {

struct PackageVersion {
  std::uint16_t Major = 0;
  std::uint16_t Minor = 0;
  std::uint16_t Build = 0;
  std::uint16_t Revision = 0;
};

struct PackageId {
  std::string Name;
  std::string Publisher;
  PackageVersion Version;
};

struct StartupTaskDeclaration {
  std::string TaskId;
  std::string DisplayName;
  std::filesystem::path Executable;   // absolute
  std::vector<std::string> Arguments;
};

class Package {
 public:
  // The running package. Throws hresult_error(kFileNotFound) when the
  // program runs without a package manifest (no package identity).
  static const Package& Current();

  // Loads a manifest; relative paths in it are taken from `prefix`.
  // Throws hresult_error on a missing or malformed manifest.
  static Package Load(const std::filesystem::path& manifest, const std::filesystem::path& prefix);

  // The manifest path of a package installed under `prefix`.
  static std::filesystem::path ManifestPath(const std::filesystem::path& prefix);

  const PackageId& Id() const noexcept { return id_; }
  const std::filesystem::path& InstalledPath() const noexcept { return prefix_; }
  const std::filesystem::path& CompanionExecutable() const noexcept { return companion_; }
  const std::string& AppServiceSocketName() const noexcept { return socketName_; }
  const std::filesystem::path& BundleDirectory() const noexcept { return bundleDirectory_; }
  const std::vector<StartupTaskDeclaration>& StartupTasks() const noexcept { return tasks_; }
  const StartupTaskDeclaration* FindStartupTask(std::string_view taskId) const noexcept;

 private:
  PackageId id_;
  std::filesystem::path prefix_;
  std::filesystem::path companion_;
  std::string socketName_;
  std::filesystem::path bundleDirectory_;
  std::vector<StartupTaskDeclaration> tasks_;
};

}  // namespace tessarel
