// Runs the real tessarel program for tests: on an X server of its own
// (Xvfb, display picked by the server itself), with its own XDG directories,
// no session bus and no companion, capturing what it prints.
//
//   XServer display;                                  // one per test
//   HostRun run = RunTessarel(display, sandbox, {"--bundle", file, "--console"});
//   run.exited && run.status == 0;  run.Lines("bridge-test: ");
//
// Thread-safety: test thread only.
#pragma once

#include <sys/types.h>

#include <chrono>
#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

namespace tessarel::testing {

// A directory removed with everything in it when the object goes.
class TempDirectory {
 public:
  TempDirectory();
  ~TempDirectory();
  TempDirectory(const TempDirectory&) = delete;
  TempDirectory& operator=(const TempDirectory&) = delete;
  const std::filesystem::path& Path() const noexcept { return path_; }

 private:
  std::filesystem::path path_;
};

// An Xvfb server on a free display, stopped when the object goes.
class XServer {
 public:
  XServer();
  ~XServer();
  XServer(const XServer&) = delete;
  XServer& operator=(const XServer&) = delete;
  const std::string& Display() const noexcept { return display_; }

 private:
  pid_t pid_ = -1;
  std::string display_;
};

// The user's directories of one simulated session: XDG_RUNTIME_DIR (0700),
// XDG_DATA_HOME, XDG_CACHE_HOME and XDG_CONFIG_HOME. Two runs that share a
// Session share their stored data.
class Session {
 public:
  Session();
  std::vector<std::string> Environment() const;
  const std::filesystem::path& Root() const noexcept { return root_.Path(); }

 private:
  TempDirectory root_;
};

struct ProcessRun {
  bool exited = false;    // ended by itself with a status
  int status = -1;        // its exit status when it exited
  int signal = 0;         // the signal that ended it, if one did
  bool timedOut = false;  // killed by the harness
  std::string out;
  std::string err;

  // The lines of standard output that start with `prefix`, prefix removed.
  std::vector<std::string> Lines(std::string_view prefix) const;
  // The rest of the one line starting with `prefix`; empty when none.
  std::string Line(std::string_view prefix) const;
};

// Runs `argv` with the calling environment changed by `environment`
// ("NAME=value" sets, a bare "NAME" removes), killing it after `timeout`.
ProcessRun RunProcess(const std::vector<std::string>& argv,
                      const std::vector<std::string>& environment, std::chrono::seconds timeout);

// The build's tessarel (or `program`), on `display`, in `session`.
ProcessRun RunTessarel(const XServer& display, const Session& session,
                       const std::vector<std::string>& arguments,
                       std::chrono::seconds timeout = std::chrono::seconds(60),
                       const std::filesystem::path& program = TESSAREL_HOST_PROGRAM);

}  // namespace tessarel::testing
