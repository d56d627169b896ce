// A child process for the tests: started with posix_spawn, its standard input
// and output on pipes, read line by line with a time limit. Standard error is
// inherited, so what the child reports shows in the test log. The destructor
// kills a child that still runs and reaps it. One thread per Subprocess.
#pragma once

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <optional>
#include <string>
#include <vector>

extern char** environ;

namespace tessarel::testing {

class Subprocess {
 public:
  using Clock = std::chrono::steady_clock;

  explicit Subprocess(const std::vector<std::string>& argv) {
    int input[2];
    int output[2];
    if (pipe2(input, O_CLOEXEC) < 0 || pipe2(output, O_CLOEXEC) < 0) return;
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, input[0], STDIN_FILENO);
    posix_spawn_file_actions_adddup2(&actions, output[1], STDOUT_FILENO);
    std::vector<char*> args;
    for (const std::string& arg : argv) args.push_back(const_cast<char*>(arg.c_str()));
    args.push_back(nullptr);
    if (posix_spawn(&pid_, args[0], &actions, nullptr, args.data(), environ) != 0) pid_ = -1;
    posix_spawn_file_actions_destroy(&actions);
    close(input[0]);
    close(output[1]);
    stdin_ = input[1];
    stdout_ = output[0];
  }
  ~Subprocess() {
    if (Running()) Kill(SIGKILL);
    Wait();
    if (stdin_ >= 0) close(stdin_);
    if (stdout_ >= 0) close(stdout_);
  }
  Subprocess(const Subprocess&) = delete;
  Subprocess& operator=(const Subprocess&) = delete;

  bool Started() const { return pid_ > 0; }

  // Our lines are far shorter than a pipe's atomic write, so one write
  // delivers a line whole or not at all.
  void WriteLine(const std::string& line) {
    [[maybe_unused]] const ssize_t written = write(stdin_, (line + "\n").data(), line.size() + 1);
  }

  // The next line of output; nullopt at its end or when the time runs out.
  std::optional<std::string> ReadLine(
      std::chrono::milliseconds timeout = std::chrono::seconds(10)) {
    return ReadLineBefore(Clock::now() + timeout);
  }

  // Reads lines until one equals `expected`; false when the output ends or
  // the time runs out first.
  bool WaitForLine(const std::string& expected,
                   std::chrono::milliseconds timeout = std::chrono::seconds(10)) {
    const auto deadline = Clock::now() + timeout;
    while (const std::optional<std::string> line = ReadLineBefore(deadline))
      if (*line == expected) return true;
    return false;
  }

  void Kill(int signal) {
    if (pid_ > 0) kill(pid_, signal);
  }

  bool Running() {
    if (pid_ <= 0 || exited_) return false;
    if (waitpid(pid_, &status_, WNOHANG) != pid_) return true;
    exited_ = true;
    return false;
  }

  // Waits for the child to end; its wait status (see <sys/wait.h>).
  int Wait() {
    if (pid_ > 0 && !exited_) {
      while (waitpid(pid_, &status_, 0) < 0 && errno == EINTR) {
      }
      exited_ = true;
    }
    return status_;
  }

 private:
  std::optional<std::string> ReadLineBefore(Clock::time_point deadline) {
    for (;;) {
      if (const auto end = buffer_.find('\n'); end != std::string::npos) {
        std::string line = buffer_.substr(0, end);
        buffer_.erase(0, end + 1);
        return line;
      }
      const auto left =
          std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now()).count();
      if (left <= 0) return std::nullopt;
      pollfd readable{stdout_, POLLIN, 0};
      if (poll(&readable, 1, static_cast<int>(left)) <= 0) continue;
      char chunk[4096];
      const ssize_t got = read(stdout_, chunk, sizeof chunk);
      if (got <= 0) return std::nullopt;
      buffer_.append(chunk, static_cast<std::size_t>(got));
    }
  }

  pid_t pid_ = -1;
  int stdin_ = -1;
  int stdout_ = -1;
  std::string buffer_;
  bool exited_ = false;
  int status_ = 0;
};

}  // namespace tessarel::testing
