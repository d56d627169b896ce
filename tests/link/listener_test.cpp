// The app-service socket and who may use it; replies as other companions
// might shape them; the companion launch.
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>

#include <atomic>
#include <cstring>
#include <fstream>
#include <thread>

#include "link/bus_ptr.h"
#include "link/companion_launcher.h"
#include "link/link_test_support.h"
#include "link/subprocess.h"
#include "link/value_set_codec.h"
#include "support/value_set_builders.h"

namespace tessarel::testing {
namespace {

mode_t ModeOf(const std::filesystem::path& path) {
  struct stat status {};
  EXPECT_EQ(lstat(path.c_str(), &status), 0) << path;
  return status.st_mode & 07777;
}

using ListenerTest = RuntimeDirectoryTest;

TEST_F(ListenerTest, MakesAPrivateDirectoryAndSocket) {
  // A directory left too open by something else is tightened.
  std::filesystem::create_directories(SocketPath().parent_path());
  chmod(SocketPath().parent_path().c_str(), 0755);
  ActivationRecorder recorder;
  AppServiceListener listener(AppServiceListener::SocketPathFor("tessarel/app-service"),
                              recorder.Handler());
  EXPECT_EQ(listener.SocketPath(), SocketPath());
  EXPECT_EQ(ModeOf(SocketPath().parent_path()), 0700u);
  EXPECT_EQ(ModeOf(SocketPath()), 0600u);
  EXPECT_EQ(std::filesystem::status(SocketPath()).type(), std::filesystem::file_type::socket);
}

TEST_F(ListenerTest, ReplacesAStaleSocketButNotALiveOne) {
  // A socket file whose listener is gone, as a crashed app leaves it.
  std::filesystem::create_directories(SocketPath().parent_path());
  const int stale = socket(AF_UNIX, SOCK_STREAM, 0);
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  std::strcpy(address.sun_path, SocketPath().c_str());
  ASSERT_EQ(bind(stale, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
  close(stale);  // bound, never listened on, now closed: stale
  ASSERT_TRUE(std::filesystem::exists(SocketPath()));

  ActivationRecorder recorder;
  AppServiceListener listener(SocketPath(), recorder.Handler());
  try {
    AppServiceListener second(SocketPath(), recorder.Handler());
    FAIL() << "a second listener took a live socket";
  } catch (const hresult_error& error) {
    EXPECT_EQ(error.code(), error_codes::kAccessDenied);
    EXPECT_EQ(error.message(), "Another process is already listening on " + SocketPath().string());
  }
  // The failed attempt left the live socket alone.
  auto companion = Subprocess({TestCompanionPath(), "--socket", SocketPath().string()});
  EXPECT_TRUE(companion.WaitForLine("connected 1"));
}

TEST_F(ListenerTest, SocketPathNeedsTheRuntimeDirectory) {
  struct Row {
    const char* desc;
    const char* value;  // nullptr: unset
  };
  const Row rows[] = {{"unset", nullptr}, {"empty", ""}, {"relative", "run/user"}};
  for (const Row& row : rows) {
    SCOPED_TRACE(row.desc);
    if (row.value)
      setenv("XDG_RUNTIME_DIR", row.value, 1);
    else
      unsetenv("XDG_RUNTIME_DIR");
    try {
      AppServiceListener::SocketPathFor("tessarel/app-service");
      ADD_FAILURE() << "no error";
    } catch (const hresult_error& error) {
      EXPECT_EQ(error.code(), error_codes::kFileNotFound);
      EXPECT_EQ(error.message(),
                "XDG_RUNTIME_DIR is not set to an absolute path; the companion link needs it for "
                "its socket");
    }
  }
}

// As root, a child that drops to nobody (uid 65534) tries the socket. With
// the socket's own modes it cannot even connect; with the modes opened up
// for the test, it connects and is refused by the uid check before the
// handshake. The same probe under our own uid is accepted.
TEST_F(ListenerTest, RefusesPeersOfAnotherUser) {
  if (geteuid() != 0) GTEST_SKIP() << "needs root to run a child under another uid";
  ActivationRecorder recorder;
  AppServiceListener listener(SocketPath(), recorder.Handler());
  auto probe = [&](bool asNobody) {
    std::vector<std::string> argv = {TestCompanionPath(), "--probe", "--socket",
                                     SocketPath().string()};
    if (asNobody) argv.insert(argv.end(), {"--setuid", "65534"});
    Subprocess child(argv);
    std::optional<std::string> line = child.ReadLine();
    return line.value_or("(nothing)");
  };
  EXPECT_EQ(probe(true), "connect-failed EACCES");

  chmod(runtimeDirectory_.c_str(), 0755);
  chmod(SocketPath().parent_path().c_str(), 0755);
  chmod(SocketPath().c_str(), 0666);
  EXPECT_EQ(probe(true), "refused");
  EXPECT_EQ(probe(false), "accepted");
  EXPECT_EQ(recorder.Count(), 0u);  // neither probe finished the handshake
}

// A companion written directly on sd-bus, as one in another language would
// be, answering the app's requests in shapes our companion never sends.
class RawPeer {
 public:
  explicit RawPeer(const std::filesystem::path& socket) {
    using link::CheckBus;
    CheckBus(sd_bus_new(link::Out(bus_)), "new");
    CheckBus(sd_bus_set_address(bus_.get(), ("unix:path=" + socket.string()).c_str()), "address");
    // A filter rather than a vtable: a vtable would hold the replies to the
    // signature it declares.
    CheckBus(sd_bus_add_filter(bus_.get(), nullptr, &RawPeer::OnMessage, nullptr), "filter");
    CheckBus(sd_bus_start(bus_.get()), "start");
    thread_ = std::thread([this] {
      while (!stop_) {
        if (sd_bus_process(bus_.get(), nullptr) == 0) sd_bus_wait(bus_.get(), 20'000);
      }
    });
  }
  ~RawPeer() {
    stop_ = true;
    thread_.join();
  }

 private:
  static int OnMessage(sd_bus_message* call, void*, sd_bus_error*) {
    if (!sd_bus_message_is_method_call(call, "io.tessarel.AppService1", "Message")) return 0;
    const ValueSet request = link::ReadValueSet(call);
    const std::string method = *request.Lookup("method").TryString();
    if (method == "string") return sd_bus_reply_method_return(call, "s", "keyboards");
    if (method == "busy") {
      return sd_bus_reply_method_errorf(call, "org.example.Keyboard.Busy", "The keyboard is busy");
    }
    if (method == "nameless") {
      const sd_bus_error nameless = SD_BUS_ERROR_MAKE_CONST("org.example.Keyboard.Gone", nullptr);
      return sd_bus_reply_method_error(call, &nameless);
    }
    if (method == "double") return sd_bus_reply_method_return(call, "ua{sv}", 0, 1, "x", "d", 2.5);
    // "status": a failed status that still carries its message.
    return sd_bus_reply_method_return(call, "ua{sv}", 3, 1, "result", "u", 42);
  }

  link::BusPtr bus_;
  std::atomic<bool> stop_{false};
  std::thread thread_;
};

TEST_F(ListenerTest, RepliesOfOtherShapesBecomeStatusesOrErrors) {
  ActivationRecorder recorder;
  AppServiceListener listener(SocketPath(), recorder.Handler());
  RawPeer peer(SocketPath());
  const AppServiceConnection channel = recorder.WaitFor(1);
  ASSERT_TRUE(channel);

  const AppServiceResponse failed = channel.SendMessageAsync(Request("status")).Get();
  EXPECT_EQ(failed.Status, AppServiceResponseStatus::Unknown);
  EXPECT_EQ(failed.Message, Set({{"result", U32(42)}}));

  struct Row {
    const char* method;
    hresult code;
    const char* message;
  };
  const Row rows[] = {
      {"string", error_codes::kFail, "The reply has the signature 's' instead of 'ua{sv}'"},
      {"busy", error_codes::kFail, "The keyboard is busy"},
      {"nameless", error_codes::kFail, "org.example.Keyboard.Gone"},
      {"double", error_codes::kInvalidArgument, "Unsupported value type 'd' under key 'x'"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.method);
    try {
      channel.SendMessageAsync(Request(row.method)).Get();
      ADD_FAILURE() << "completed";
    } catch (const hresult_error& error) {
      EXPECT_EQ(error.code(), row.code);
      EXPECT_EQ(error.message(), row.message);
    }
  }
}

TEST_F(ListenerTest, CompanionExecutableComesFromTheEnvironmentOrThePackage) {
  struct Row {
    const char* desc;
    const char* variable;  // nullptr: unset
    std::optional<std::filesystem::path> expected;
  };
  // The test programs run from bin/ of the build tree, whose manifest names
  // the simulated companion.
  const Row rows[] = {
      {"set", "/opt/other/companion", std::filesystem::path("/opt/other/companion")},
      {"set and empty", "", std::nullopt},
      {"unset", nullptr, std::filesystem::path(SimulatedCompanionPath())},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.desc);
    if (row.variable)
      setenv("TESSAREL_COMPANION", row.variable, 1);
    else
      unsetenv("TESSAREL_COMPANION");
    EXPECT_EQ(link::ResolveCompanionExecutable(), row.expected);
  }
  unsetenv("TESSAREL_COMPANION");
}

TEST_F(ListenerTest, LaunchedCompanionIsDetachedAndLeavesNoChild) {
  const auto script = runtimeDirectory_ / "companion.sh";
  const auto report = runtimeDirectory_ / "parent";
  {
    std::ofstream file(script);
    file << "#!/bin/sh\nsleep 0.2\necho $PPID > " << report.string() << ".tmp\nmv "
         << report.string() << ".tmp " << report.string() << "\n";
  }
  chmod(script.c_str(), 0700);
  ASSERT_TRUE(link::LaunchDetached(script));
  // By the time LaunchDetached returns, the intermediate child is reaped:
  // this process has no child left to wait for.
  EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1);
  EXPECT_EQ(errno, ECHILD);
  for (int i = 0; i < 300 && !std::filesystem::exists(report); ++i) usleep(10'000);
  std::ifstream parent(report);
  pid_t parentPid = 0;
  ASSERT_TRUE(parent >> parentPid);
  EXPECT_NE(parentPid, getpid());  // reparented, not our child

  EXPECT_FALSE(link::LaunchDetached(runtimeDirectory_ / "no-such-companion"));
}

}  // namespace
}  // namespace tessarel::testing
