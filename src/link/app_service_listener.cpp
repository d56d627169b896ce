#include "link/app_service_listener.h"

#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <time.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

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

// How long a new connection may take to greet us as a message bus before it
// counts as a companion. Tools made for a bus send Hello right after the
// handshake, but a loaded machine can delay that by a few hundred
// milliseconds. Our companions speak first and are taken at once; only one
// that stays silent until asked waits this long.
constexpr std::uint64_t kGreetingGraceMicroseconds = 1'000'000;

// What the listener keeps on the link thread. Every member but the loop is
// touched there only.
//
// A connection becomes a background activation when it turns out to be a
// companion: when it sends its first request, or when the grace period has
// passed without a greeting. A peer that greets us as a message bus (busctl,
// gdbus) is a visitor instead: it is never an activation, so it does not
// replace the app's channel to the companion, and its requests go to the
// handlers of the channel last delivered, as if they had come on it.
struct AppServiceListener::State : std::enable_shared_from_this<State> {
  struct Peer {
    State* state = nullptr;
    std::shared_ptr<BusConnection> connection;
    bool greeted = false;
    bool activated = false;
    link::EventSourcePtr graceTimer;
  };

  std::shared_ptr<link::LinkLoop> loop;
  ActivationHandler handler;
  int listenFd = -1;
  link::EventSourcePtr acceptSource;
  std::unordered_map<const BusConnection*, std::unique_ptr<Peer>> peers;
  std::weak_ptr<BusConnection> current;  // the connection delivered last

  ~State() {
    if (listenFd >= 0) close(listenFd);
  }

  static int OnAcceptable(sd_event_source*, int, uint32_t, void* userdata) {
    static_cast<State*>(userdata)->AcceptAll();
    return 0;
  }

  static int OnGraceOver(sd_event_source*, std::uint64_t, void* userdata) {
    auto* peer = static_cast<Peer*>(userdata);
    peer->state->Activate(*peer);
    return 0;
  }

  Peer* Find(const std::shared_ptr<BusConnection>& connection) {
    auto found = peers.find(connection.get());
    return found == peers.end() ? nullptr : found->second.get();
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
      try {
        auto entry = std::make_unique<Peer>();
        entry->state = this;
        entry->connection =
            BusConnection::Open(loop, fd, BusConnection::Role::kServer, MakeCallbacks());
        peers.emplace(entry->connection.get(), std::move(entry));
      } catch (const hresult_error&) {
        // Open has closed the socket; this peer is dropped, the next is served.
      }
    }
  }

  BusConnection::Callbacks MakeCallbacks() {
    std::weak_ptr<State> weak = weak_from_this();
    BusConnection::Callbacks callbacks;
    callbacks.ready = [weak](const std::shared_ptr<BusConnection>& connection) {
      auto state = weak.lock();
      Peer* peer = state ? state->Find(connection) : nullptr;
      if (peer == nullptr || peer->greeted || peer->activated) return;
      const int added = sd_event_add_time_relative(
          state->loop->Event(), link::Out(peer->graceTimer), CLOCK_MONOTONIC,
          kGreetingGraceMicroseconds, 0, &State::OnGraceOver, peer);
      if (added < 0) state->Activate(*peer);
    };
    callbacks.greeted = [weak](const std::shared_ptr<BusConnection>& connection) {
      auto state = weak.lock();
      if (Peer* peer = state ? state->Find(connection) : nullptr) {
        peer->greeted = true;
        peer->graceTimer.reset();
      }
    };
    callbacks.route = [weak](const std::shared_ptr<BusConnection>& connection)
        -> std::shared_ptr<AppServiceConnection::Channel> {
      auto state = weak.lock();
      Peer* peer = state ? state->Find(connection) : nullptr;
      if (peer == nullptr) return nullptr;
      if (!peer->greeted) {
        if (!peer->activated) state->Activate(*peer);  // a companion that speaks first
        return nullptr;
      }
      std::shared_ptr<BusConnection> companion = state->current.lock();
      return companion && companion != connection ? companion->Channel() : nullptr;
    };
    callbacks.closed = [weak](const std::shared_ptr<BusConnection>& connection) {
      if (auto state = weak.lock()) state->peers.erase(connection.get());
    };
    return callbacks;
  }

  // One companion connection, one background activation.
  void Activate(Peer& peer) {
    peer.activated = true;
    peer.graceTimer.reset();
    current = peer.connection;
    std::weak_ptr<BusConnection> weakConnection = peer.connection;
    auto endActivation = [loop = loop, weakConnection] {
      loop->RunOrPost([weakConnection] {
        if (auto live = weakConnection.lock()) live->Close();
      });
    };
    auto instance = std::make_shared<ActivationTaskInstance>(
        AppServiceConnection(peer.connection->Channel()), std::move(endActivation));
    try {
      handler(BackgroundActivatedEventArgs{std::move(instance)});
    } catch (...) {
      // The app could not take the connection; it is of no use then.
      peer.connection->Close();
    }
  }

  void Shutdown() {
    acceptSource.reset();
    if (listenFd >= 0) close(listenFd);
    listenFd = -1;
    // Close reports back through `closed`, which edits the map: walk a copy.
    std::vector<std::shared_ptr<BusConnection>> open;
    for (auto& [key, peer] : peers) {
      peer->graceTimer.reset();
      open.push_back(peer->connection);
    }
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
