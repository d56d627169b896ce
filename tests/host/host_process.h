// Runs the real tessarel program for tests: on an X server of its own
// (Xvfb, display picked by the server itself), with its own XDG directories,
// no session bus and no companion, capturing what it prints.
//
//   XServer display;  Session session;
//   ProcessRun run = RunTessarel(display, session, {"--bundle", file, "--console"});
//   run.exited && run.status == 0;  run.Lines("[log] bridge-test: ");
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

// A temporary directory with the user's directories of one simulated
// session (XDG_RUNTIME_DIR at 0700, XDG_DATA_HOME, XDG_CACHE_HOME,
// XDG_CONFIG_HOME), removed when the object goes. Two runs that share a
// Session share their stored data. Environment() gives the changes to the
// environment that put a host on `display` in this session: "NAME=value"
// sets, a bare "NAME" removes.
class Session {
 public:
  Session();
  ~Session();
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;
  std::vector<std::string> Environment(const XServer& display) const;
  const std::filesystem::path& Root() const noexcept { return root_; }

 private:
  std::filesystem::path root_;
};

// Applies Session::Environment() to this process.
void ApplyEnvironment(const std::vector<std::string>& environment);

struct ProcessRun {
  bool exited = false;  // ended by itself with a status
  int status = -1;      // its exit status when it exited
  int signal = 0;       // the signal that ended it (SIGKILL when it timed out)
  std::string out;
  std::string err;

  // The lines of standard output that start with `prefix`, prefix removed.
  std::vector<std::string> Lines(std::string_view prefix) const;
  // The rest of the first line starting with `prefix`; empty when none.
  std::string Line(std::string_view prefix) const;
  // All of the above, for failure messages.
  std::string Describe() const;
};

// The build's tessarel (or `program`), on `display`, in `session`, killed
// with everything it started after `timeout`.
ProcessRun RunTessarel(const XServer& display, const Session& session,
                       const std::vector<std::string>& arguments,
                       const std::filesystem::path& program = TESSAREL_HOST_PROGRAM,
                       std::chrono::seconds timeout = std::chrono::seconds(60));

}  // namespace tessarel::testing
