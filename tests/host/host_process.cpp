#include "host_process.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <thread>

namespace tessarel::testing {
namespace {

namespace fs = std::filesystem;

std::string ReadFile(const fs::path& file) {
  std::ifstream in(file, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), {});
}

// Forks and execs with the calling environment changed by `environment`.
// The child gets its own process group, so that everything it starts can be
// killed together.
pid_t Spawn(const std::vector<std::string>& argv, const std::vector<std::string>& environment,
            int stdoutFd, int stderrFd, int keepFd = -1) {
  std::vector<char*> args;
  for (const auto& arg : argv) args.push_back(const_cast<char*>(arg.c_str()));
  args.push_back(nullptr);
  const pid_t pid = fork();
  if (pid < 0) throw std::runtime_error("fork failed");
  if (pid == 0) {
    setpgid(0, 0);
    dup2(stdoutFd, STDOUT_FILENO);
    dup2(stderrFd, STDERR_FILENO);
    for (int fd = 3; fd < 1024; ++fd) {
      if (fd != keepFd) close(fd);
    }
    ApplyEnvironment(environment);
    execvp(args[0], args.data());
    _exit(127);
  }
  return pid;
}

}  // namespace

void ApplyEnvironment(const std::vector<std::string>& environment) {
  for (const auto& entry : environment) {
    const auto equals = entry.find('=');
    if (equals == std::string::npos) {
      unsetenv(entry.c_str());
    } else {
      setenv(entry.substr(0, equals).c_str(), entry.substr(equals + 1).c_str(), 1);
    }
  }
}

XServer::XServer() {
  int fds[2];
  if (pipe(fds) != 0) throw std::runtime_error("pipe failed");
  // -displayfd: the server picks a free display and writes its number.
  const int quiet = open("/dev/null", O_WRONLY | O_CLOEXEC);
  pid_ = Spawn({"Xvfb", "-displayfd", std::to_string(fds[1]), "-screen", "0", "1280x800x24",
                "-nolisten", "tcp"},
               {}, quiet, quiet, fds[1]);
  close(quiet);
  close(fds[1]);
  std::string number;
  char c = 0;
  while (read(fds[0], &c, 1) == 1 && c != '\n') number.push_back(c);
  close(fds[0]);
  if (number.empty()) throw std::runtime_error("Xvfb did not start");
  display_ = ":" + number;
}

XServer::~XServer() {
  kill(pid_, SIGTERM);
  waitpid(pid_, nullptr, 0);
}

Session::Session() {
  std::string pattern = (fs::temp_directory_path() / "tessarel-test-XXXXXX").string();
  if (mkdtemp(pattern.data()) == nullptr) throw std::runtime_error("mkdtemp failed");
  root_ = pattern;
  for (const char* name : {"runtime", "data", "cache", "config"})
    fs::create_directories(root_ / name);
  fs::permissions(root_ / "runtime", fs::perms::owner_all, fs::perm_options::replace);
}

Session::~Session() {
  std::error_code ignored;
  fs::remove_all(root_, ignored);
}

std::vector<std::string> Session::Environment(const XServer& display) const {
  // No session bus, accessibility bus or portals: a test session has none,
  // and the host needs none. TESSAREL_COMPANION set and empty: no companion.
  return {"XDG_RUNTIME_DIR=" + (root_ / "runtime").string(),
          "XDG_DATA_HOME=" + (root_ / "data").string(),
          "XDG_CACHE_HOME=" + (root_ / "cache").string(),
          "XDG_CONFIG_HOME=" + (root_ / "config").string(),
          "DISPLAY=" + display.Display(),
          "GDK_BACKEND=x11",
          "WAYLAND_DISPLAY=",
          "DBUS_SESSION_BUS_ADDRESS",
          "GTK_A11Y=none",
          "NO_AT_BRIDGE=1",
          "GTK_USE_PORTAL=0",
          "TESSAREL_COMPANION="};
}

std::vector<std::string> ProcessRun::Lines(std::string_view prefix) const {
  std::vector<std::string> lines;
  std::istringstream stream(out);
  for (std::string line; std::getline(stream, line);) {
    if (line.starts_with(prefix)) lines.push_back(line.substr(prefix.size()));
  }
  return lines;
}

std::string ProcessRun::Line(std::string_view prefix) const {
  const auto lines = Lines(prefix);
  return lines.empty() ? std::string() : lines.front();
}

std::string ProcessRun::Describe() const {
  return "exited=" + std::to_string(exited) + " status=" + std::to_string(status) +
         " signal=" + std::to_string(signal) + "\n--- stdout ---\n" + out + "\n--- stderr ---\n" +
         err;
}

ProcessRun RunTessarel(const XServer& display, const Session& session,
                       const std::vector<std::string>& arguments, const fs::path& program,
                       std::chrono::seconds timeout) {
  std::vector<std::string> argv = {program.string()};
  argv.insert(argv.end(), arguments.begin(), arguments.end());
  const fs::path outFile = session.Root() / "stdout";
  const fs::path errFile = session.Root() / "stderr";
  const int outFd = open(outFile.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
  const int errFd = open(errFile.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
  const pid_t pid = Spawn(argv, session.Environment(display), outFd, errFd);
  close(outFd);
  close(errFd);

  ProcessRun run;
  int status = 0;
  const auto deadline = std::chrono::steady_clock::now() + timeout;
  while (waitpid(pid, &status, WNOHANG) == 0) {
    if (std::chrono::steady_clock::now() > deadline) {
      kill(-pid, SIGKILL);
      waitpid(pid, &status, 0);
      break;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
  }
  // Whatever the program left running (web processes) goes with its group.
  kill(-pid, SIGKILL);
  if (WIFEXITED(status)) {
    run.exited = true;
    run.status = WEXITSTATUS(status);
  } else if (WIFSIGNALED(status)) {
    run.signal = WTERMSIG(status);
  }
  run.out = ReadFile(outFile);
  run.err = ReadFile(errFile);
  return run;
}

}  // namespace tessarel::testing
