// The app-service socket and who may use it. Which companion the app
// launches, and how, is checked end to end by the link and install scripts.
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>

#include <cstring>

#include "link/link_test_support.h"
#include "link/subprocess.h"

namespace tessarel::testing {
namespace {

mode_t ModeOf(const std::filesystem::path& path) {
  struct stat status {};
  EXPECT_EQ(lstat(path.c_str(), &status), 0) << path;
  return status.st_mode & 07777;
}

using ListenerTest = RuntimeDirectoryTest;

TEST_F(ListenerTest, MakesAPrivateSocketAndReplacesOnlyAStaleOne) {
  // A directory left too open, holding a socket file whose listener is gone
  // (bound, never listened on, closed), as a crashed app leaves it.
  std::filesystem::create_directories(SocketPath().parent_path());
  chmod(SocketPath().parent_path().c_str(), 0755);
  const int stale = socket(AF_UNIX, SOCK_STREAM, 0);
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  std::strcpy(address.sun_path, SocketPath().c_str());
  ASSERT_EQ(bind(stale, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
  close(stale);

  ActivationRecorder recorder;
  AppServiceListener listener(AppServiceListener::SocketPathFor("tessarel/app-service"),
                              recorder.Handler());
  EXPECT_EQ(listener.SocketPath(), SocketPath());
  EXPECT_EQ(ModeOf(SocketPath().parent_path()), 0700u);
  EXPECT_EQ(ModeOf(SocketPath()), 0600u);
  try {
    AppServiceListener second(SocketPath(), recorder.Handler());
    FAIL() << "a second listener took a live socket";
  } catch (const hresult_error& error) {
    EXPECT_EQ(error.code(), error_codes::kAccessDenied);
  }
  // The failed attempt left the live socket alone.
  Subprocess companion({TestCompanionPath(), "--socket", SocketPath().string()});
  EXPECT_TRUE(companion.WaitForLine("connected 1"));
}

TEST_F(ListenerTest, SocketPathNeedsAnAbsoluteRuntimeDirectory) {
  for (const char* value : {static_cast<const char*>(nullptr), "run/user"}) {
    SCOPED_TRACE(value ? value : "unset");
    if (value)
      setenv("XDG_RUNTIME_DIR", value, 1);
    else
      unsetenv("XDG_RUNTIME_DIR");
    try {
      AppServiceListener::SocketPathFor("tessarel/app-service");
      ADD_FAILURE() << "no error";
    } catch (const hresult_error& error) {
      EXPECT_EQ(error.code(), error_codes::kFileNotFound);
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
    return child.ReadLine().value_or("(nothing)");
  };
  EXPECT_EQ(probe(true), "connect-failed EACCES");
  chmod(runtimeDirectory_.c_str(), 0755);
  chmod(SocketPath().parent_path().c_str(), 0755);
  chmod(SocketPath().c_str(), 0666);
  EXPECT_EQ(probe(true), "refused");
  EXPECT_EQ(probe(false), "accepted");
  EXPECT_EQ(recorder.Count(), 0u);  // neither probe finished the handshake
}

}  // namespace
}  // namespace tessarel::testing
