// What the link's tests share: a runtime directory of their own per test, the
// programs they start, and a recorder for the activations a listener delivers.
// ActivationRecorder::Record runs on the link thread, the rest on the test's.
#pragma once

#include <gtest/gtest.h>
#include <stdlib.h>
#include <unistd.h>

#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <filesystem>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "link/app_service_listener.h"
#include "platform/app_service.h"

namespace tessarel::testing {

// Both next to the test programs, in bin/ of the build tree; the simulated
// companion where the package puts it, bin/../libexec/tessarel.
inline std::string TestCompanionPath() {
  return std::filesystem::read_symlink("/proc/self/exe").parent_path() / "tessarel-test-companion";
}
inline std::string SimulatedCompanionPath() {
  return std::filesystem::read_symlink("/proc/self/exe").parent_path().parent_path() /
         "libexec/tessarel/tessarel-companion";
}

// Sets XDG_RUNTIME_DIR to a fresh directory for the test's life, and
// XDG_STATE_HOME to the same one, so that a simulated companion started by the
// test keeps what it is written there and not in the user's state.
class RuntimeDirectoryTest : public ::testing::Test {
 protected:
  void SetUp() override {
    char pattern[] = "/tmp/tessarel-link-test-XXXXXX";
    ASSERT_NE(mkdtemp(pattern), nullptr);
    runtimeDirectory_ = pattern;
    if (const char* previous = std::getenv("XDG_RUNTIME_DIR")) previousRuntimeDirectory_ = previous;
    setenv("XDG_RUNTIME_DIR", pattern, 1);
    if (const char* previous = std::getenv("XDG_STATE_HOME")) previousStateHome_ = previous;
    setenv("XDG_STATE_HOME", pattern, 1);
  }
  void TearDown() override {
    if (previousRuntimeDirectory_.empty())
      unsetenv("XDG_RUNTIME_DIR");
    else
      setenv("XDG_RUNTIME_DIR", previousRuntimeDirectory_.c_str(), 1);
    if (previousStateHome_.empty())
      unsetenv("XDG_STATE_HOME");
    else
      setenv("XDG_STATE_HOME", previousStateHome_.c_str(), 1);
    std::error_code ignored;
    std::filesystem::remove_all(runtimeDirectory_, ignored);
  }
  std::filesystem::path SocketPath() const { return runtimeDirectory_ / "tessarel/app-service"; }

  std::filesystem::path runtimeDirectory_;
  std::string previousRuntimeDirectory_;
  std::string previousStateHome_;
};

// The channels a listener has delivered, in order; their deferrals are held
// so that no activation ends before the test does.
class ActivationRecorder {
 public:
  AppServiceListener::ActivationHandler Handler() {
    return [this](const BackgroundActivatedEventArgs& args) {
      const AppServiceConnection connection = args.TaskInstance->TriggerDetails()->Connection;
      {
        std::lock_guard lock(mutex_);
        deferrals_.push_back(args.TaskInstance->GetDeferral());
        connections_.push_back(connection);
        // Inside the activation, as the app's own code: handlers registered
        // here see the connection's first message.
        if (onActivated_) onActivated_(connection);
      }
      changed_.notify_all();
    };
  }
  void OnActivated(std::function<void(const AppServiceConnection&)> callback) {
    std::lock_guard lock(mutex_);
    onActivated_ = std::move(callback);
  }
  // The count-th connection (1-based), or an empty one when none came in time.
  AppServiceConnection WaitFor(std::size_t count,
                               std::chrono::milliseconds timeout = std::chrono::seconds(10)) {
    std::unique_lock lock(mutex_);
    if (!changed_.wait_for(lock, timeout, [&] { return connections_.size() >= count; })) return {};
    return connections_[count - 1];
  }
  std::size_t Count() {
    std::lock_guard lock(mutex_);
    return connections_.size();
  }

 private:
  std::mutex mutex_;
  std::condition_variable changed_;
  std::vector<AppServiceConnection> connections_;
  std::vector<std::shared_ptr<BackgroundTaskDeferral>> deferrals_;
  std::function<void(const AppServiceConnection&)> onActivated_;
};

// A listener on the test's socket whose activations the recorder keeps. The
// recorder is declared first, so it outlives the listener that calls it.
class ListeningTest : public RuntimeDirectoryTest {
 protected:
  void SetUp() override {
    RuntimeDirectoryTest::SetUp();
    listener_ = std::make_unique<AppServiceListener>(SocketPath(), recorder_.Handler());
  }
  void TearDown() override {
    listener_.reset();
    RuntimeDirectoryTest::TearDown();
  }

  ActivationRecorder recorder_;
  std::unique_ptr<AppServiceListener> listener_;
};

// A shell command's standard output and error together, and its wait status.
struct CommandResult {
  std::string output;
  int status = -1;
};
inline CommandResult RunCommand(const std::string& command) {
  CommandResult result;
  FILE* pipe = popen((command + " 2>&1").c_str(), "r");
  if (!pipe) return result;
  char chunk[1024];
  for (std::size_t got; (got = fread(chunk, 1, sizeof chunk, pipe)) > 0;)
    result.output.append(chunk, got);
  result.status = pclose(pipe);
  return result;
}

inline ValueSet Request(const std::string& method) {
  ValueSet request;
  request.Insert("method", PropertyValue::CreateString(method));
  return request;
}

// The hresult code an operation fails with; 0 when it completes.
template <class T>
hresult FailureCode(const IAsyncOperation<T>& operation,
                    std::chrono::milliseconds timeout = std::chrono::seconds(10)) {
  try {
    operation.Get(timeout);
    return 0;
  } catch (const hresult_error& error) {
    return error.code();
  }
}

}  // namespace tessarel::testing
