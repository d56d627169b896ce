#include "link/app_service_listener.h"

#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <string>
#include <unordered_set>
#include <utility>

#include "link/bus_connection.h"
#include "link/bus_ptr.h"
#include "link/link_loop.h"

namespace tessarel {
namespace {

using link::BusConnection;
using link::BusError;

[[noreturn]] void ThrowSocketError(int error, const std::filesystem::path& path,
                                   std::string_view what) {
  throw BusError(-error, std::string(what) + " " + path.string());
}

// Creates the missing directories of `directory` with mode 0700 and makes
// sure the last one is a real directory of ours that nobody else can enter.
void EnsurePrivateDirectory(const std::filesystem::path& directory) {
  std::filesystem::path prefix;
  for (const auto& part : directory) {
    prefix /= part;
    if (mkdir(prefix.c_str(), 0700) < 0 && errno != EEXIST) {
      ThrowSocketError(errno, prefix, "Cannot create the directory");
    }
  }
  struct stat status {};
  if (lstat(directory.c_str(), &status) < 0) {
    ThrowSocketError(errno, directory, "Cannot inspect the directory");
  }
  if (!S_ISDIR(status.st_mode) || status.st_uid != geteuid()) {
    throw hresult_error(error_codes::kAccessDenied, "The socket directory " + directory.string() +
                                                        " is not a directory owned by this user");
  }
  if ((status.st_mode & 07777) != 0700 && chmod(directory.c_str(), 0700) < 0) {
    ThrowSocketError(errno, directory, "Cannot restrict the directory");
  }
}

sockaddr_un SocketAddress(const std::filesystem::path& path) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  const std::string& text = path.native();
  if (text.size() >= sizeof address.sun_path) {
    throw hresult_error(error_codes::kInvalidArgument,
                        "The socket path " + text + " is too long for a Unix socket");
  }
  std::memcpy(address.sun_path, text.c_str(), text.size() + 1);
  return address;
}

// True when a process accepts connections on `path` right now.
bool SomeoneListens(const sockaddr_un& address) {
  const int probe = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  if (probe < 0) return false;
  const bool connected =
      connect(probe, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
  close(probe);
  return connected;
}

int BindSocket(const std::filesystem::path& path) {
  EnsurePrivateDirectory(path.parent_path());
  const sockaddr_un address = SocketAddress(path);
  const int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
  if (fd < 0) ThrowSocketError(errno, path, "Cannot create the socket");
  const auto* generic = reinterpret_cast<const sockaddr*>(&address);
  int bound = bind(fd, generic, sizeof address);
  if (bound < 0 && errno == EADDRINUSE) {
    if (SomeoneListens(address)) {
      close(fd);
      throw hresult_error(error_codes::kAccessDenied,
                          "Another process is already listening on " + path.string());
    }
    unlink(path.c_str());  // left behind by a process that is gone
    bound = bind(fd, generic, sizeof address);
  }
  if (bound < 0 || chmod(path.c_str(), 0600) < 0 || listen(fd, SOMAXCONN) < 0) {
    const int error = errno;
    close(fd);
    ThrowSocketError(error, path, "Cannot listen on");
  }
  return fd;
}

// Identifies the socket file we bound, so that we only ever remove our own.
std::pair<std::uint64_t, std::uint64_t> FileIdentity(const std::filesystem::path& path) {
  struct stat status {};
  if (lstat(path.c_str(), &status) < 0) return {0, 0};
  return {status.st_dev, status.st_ino};
}

class ActivationTaskInstance final : public IBackgroundTaskInstance {
 public:
  ActivationTaskInstance(AppServiceConnection connection, std::function<void()> endActivation)
      : details_(std::make_shared<const AppServiceTriggerDetails>(
            AppServiceTriggerDetails{std::move(connection)})),
        endActivation_(std::move(endActivation)) {}

  std::shared_ptr<BackgroundTaskDeferral> GetDeferral() override {
    return std::make_shared<ActivationDeferral>(endActivation_);
  }
  std::shared_ptr<const AppServiceTriggerDetails> TriggerDetails() override { return details_; }

 private:
  std::shared_ptr<const AppServiceTriggerDetails> details_;
  std::function<void()> endActivation_;
};

}  // namespace

void ActivationDeferral::Complete() {
  if (completed_.exchange(true)) return;
  if (endActivation_) endActivation_();
}

// What the listener keeps on the link thread. Every member but the loop is
// touched there only.
struct AppServiceListener::State : std::enable_shared_from_this<State> {
  std::shared_ptr<link::LinkLoop> loop;
  ActivationHandler handler;
  int listenFd = -1;
  link::EventSourcePtr acceptSource;
  std::unordered_set<std::shared_ptr<BusConnection>> connections;

  ~State() {
    if (listenFd >= 0) close(listenFd);
  }

  static int OnAcceptable(sd_event_source*, int, uint32_t, void* userdata) {
    static_cast<State*>(userdata)->AcceptAll();
    return 0;
  }

  void AcceptAll() {
    for (;;) {
      const int fd = accept4(listenFd, nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK);
      if (fd < 0) {
        if (errno == EINTR || errno == ECONNABORTED) continue;
        return;  // EAGAIN: all taken; anything else: try again on the next wake-up
      }
      ucred peer{};
      socklen_t size = sizeof peer;
      // Refused before a single byte is read: only our own user may drive
      // the keyboards through us.
      if (getsockopt(fd, SOL_SOCKET, SO_PEERCRED, &peer, &size) < 0 || peer.uid != geteuid()) {
        close(fd);
        continue;
      }
      std::weak_ptr<State> weak = weak_from_this();
      BusConnection::Callbacks callbacks;
      callbacks.ready = [weak](const std::shared_ptr<BusConnection>& connection) {
        if (auto state = weak.lock()) state->Deliver(connection);
      };
      callbacks.closed = [weak](const std::shared_ptr<BusConnection>& connection) {
        if (auto state = weak.lock()) state->connections.erase(connection);
      };
      try {
        connections.insert(
            BusConnection::Open(loop, fd, BusConnection::Role::kServer, std::move(callbacks)));
      } catch (const hresult_error&) {
        // Open has closed the socket; this peer is dropped, the next is served.
      }
    }
  }

  // One established connection, one background activation.
  void Deliver(const std::shared_ptr<BusConnection>& connection) {
    std::weak_ptr<BusConnection> weakConnection = connection;
    auto endActivation = [loop = loop, weakConnection] {
      loop->RunOrPost([weakConnection] {
        if (auto live = weakConnection.lock()) live->Close();
      });
    };
    auto instance = std::make_shared<ActivationTaskInstance>(
        AppServiceConnection(connection->Channel()), std::move(endActivation));
    handler(BackgroundActivatedEventArgs{std::move(instance)});
  }

  void Shutdown() {
    acceptSource.reset();
    if (listenFd >= 0) close(listenFd);
    listenFd = -1;
    // Close reports back through `closed`, which edits the set: walk a copy.
    const auto open = connections;
    for (const auto& connection : open) connection->Close();
  }
};

std::filesystem::path AppServiceListener::SocketPathFor(std::string_view socketName) {
  const char* runtimeDirectory = std::getenv("XDG_RUNTIME_DIR");
  if (runtimeDirectory == nullptr || runtimeDirectory[0] != '/') {
    throw hresult_error(error_codes::kFileNotFound,
                        "XDG_RUNTIME_DIR is not set to an absolute path; the companion link needs "
                        "it for its socket");
  }
  return std::filesystem::path(runtimeDirectory) / socketName;
}

AppServiceListener::AppServiceListener(std::filesystem::path socketPath, ActivationHandler handler)
    : socketPath_(std::move(socketPath)) {
  const int fd = BindSocket(socketPath_);
  socketIdentity_ = FileIdentity(socketPath_);
  state_ = std::make_shared<State>();
  state_->listenFd = fd;  // owned by the state from here on
  state_->handler = std::move(handler);
  try {
    loop_ = link::LinkLoop::Start();
    state_->loop = loop_;
    loop_->Invoke([state = state_.get()] {
      link::CheckBus(sd_event_add_io(state->loop->Event(), link::Out(state->acceptSource),
                                     state->listenFd, EPOLLIN, &State::OnAcceptable, state),
                     "Watching the app-service socket");
    });
  } catch (...) {
    if (loop_) loop_->Stop();
    unlink(socketPath_.c_str());
    throw;
  }
}

AppServiceListener::~AppServiceListener() {
  try {
    loop_->Invoke([state = state_] { state->Shutdown(); });
  } catch (const hresult_error&) {
    // The loop has gone already; there is nothing left to close on it.
  }
  loop_->Stop();
  if (FileIdentity(socketPath_) == socketIdentity_) unlink(socketPath_.c_str());
}

}  // namespace tessarel
