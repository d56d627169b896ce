#include "companion/companion_client.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <utility>

#include "link/bus_connection.h"
#include "link/bus_ptr.h"
#include "link/link_loop.h"

namespace tessarel::companion {
namespace {

ValueSet ErrorReply(std::string text) {
  ValueSet reply;
  reply.Insert("error", PropertyValue::CreateString(std::move(text)));
  return reply;
}

}  // namespace

ValueSet Notification(std::string type) {
  ValueSet message;
  message.Insert("type", PropertyValue::CreateString(std::move(type)));
  return message;
}

struct CompanionClient::State : std::enable_shared_from_this<State> {
  Options options;
  std::map<std::string, MethodHandler, std::less<>> handlers;
  std::function<void()> connected;
  std::function<void()> disconnected;
  std::shared_ptr<link::LinkLoop> loop;

  // Link thread only.
  std::shared_ptr<link::BusConnection> connection;
  link::EventSourcePtr retryTimer;
  std::chrono::milliseconds nextDelay{0};
  bool stopped = false;
  bool reportedWaiting = false;

  // Any thread, under `mutex`.
  mutable std::mutex mutex;
  mutable std::condition_variable changed;
  AppServiceConnection current;
  std::uint64_t connectionCount = 0;

  void Log(const std::string& line) const {
    if (options.log) options.log(line);
  }

  void TryConnect() {
    retryTimer.reset();
    if (stopped || connection) return;
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    const std::string& path = options.socketPath.native();
    if (path.size() >= sizeof address.sun_path) {
      Log("The socket path is too long: " + path);
      return;
    }
    std::memcpy(address.sun_path, path.c_str(), path.size() + 1);
    const int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (fd < 0 || connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) < 0) {
      const int error = errno;
      if (fd >= 0) close(fd);
      if (!reportedWaiting) {
        char buffer[128];
        Log("Waiting for the app at " + path + " (" + strerror_r(error, buffer, sizeof buffer) +
            ")");
        reportedWaiting = true;
      }
      ScheduleRetry();
      return;
    }
    std::weak_ptr<State> weak = weak_from_this();
    link::BusConnection::Callbacks callbacks;
    callbacks.ready = [weak](const std::shared_ptr<link::BusConnection>& ready) {
      if (auto state = weak.lock()) state->OnReady(ready);
    };
    callbacks.closed = [weak](const std::shared_ptr<link::BusConnection>& closed) {
      if (auto state = weak.lock()) state->OnClosed(closed);
    };
    try {
      connection = link::BusConnection::Open(loop, fd, link::BusConnection::Role::kClient,
                                             std::move(callbacks));
    } catch (const hresult_error& failure) {
      Log("Cannot set up the connection: " + failure.message());
      ScheduleRetry();
      return;
    }
    AppServiceConnection(connection->Channel())
        .RequestReceived(
            [weak](const AppServiceConnection&, const AppServiceRequestReceivedEventArgs& args) {
              if (auto state = weak.lock()) state->Serve(args.Request);
            });
  }

  void ScheduleRetry() {
    if (stopped) return;
    nextDelay = nextDelay.count() == 0 ? options.firstRetryDelay
                                       : std::min(nextDelay * 2, options.maxRetryDelay);
    const auto delay = static_cast<std::uint64_t>(
        std::chrono::duration_cast<std::chrono::microseconds>(nextDelay).count());
    const int added = sd_event_add_time_relative(
        loop->Event(), link::Out(retryTimer), CLOCK_MONOTONIC, delay, 0,
        [](sd_event_source*, std::uint64_t, void* userdata) {
          static_cast<State*>(userdata)->TryConnect();
          return 0;
        },
        this);
    if (added < 0) Log("Cannot schedule the next connection attempt");
  }

  void OnReady(const std::shared_ptr<link::BusConnection>& ready) {
    if (ready != connection) return;
    nextDelay = std::chrono::milliseconds(0);
    reportedWaiting = false;
    {
      std::lock_guard lock(mutex);
      current = AppServiceConnection(ready->Channel());
      ++connectionCount;
    }
    changed.notify_all();
    // Speaking first tells the app at once that this is a companion and not a
    // bus tool (which greets with Hello), so it does not wait out its grace
    // period. A message without "type" is answered and otherwise ignored.
    ready->Channel()->SendMessageAsync(ValueSet());
    Log("Connected to the app at " + options.socketPath.string());
    if (connected) connected();
  }

  void OnClosed(const std::shared_ptr<link::BusConnection>& closed) {
    if (closed != connection) return;
    connection.reset();
    bool wasConnected = false;
    {
      std::lock_guard lock(mutex);
      wasConnected = static_cast<bool>(current);
      current = AppServiceConnection();
    }
    changed.notify_all();
    if (wasConnected) {
      Log("The app has gone; reconnecting");
      if (disconnected) disconnected();
    }
    ScheduleRetry();
  }

  void Serve(const AppServiceRequest& request) const {
    const ValueSet& message = request.Message();
    const std::optional<PropertyValue> method = TolerantLookup(message, "method");
    const std::string* name = method ? method->TryString() : nullptr;
    ValueSet reply;
    if (name == nullptr) {
      reply = ErrorReply("The request names no method");
    } else if (auto handler = handlers.find(*name); handler == handlers.end()) {
      reply = ErrorReply("Unknown method: " + *name);
    } else {
      try {
        reply = handler->second(message);
      } catch (const std::exception& failure) {
        reply = ErrorReply(failure.what());
      }
    }
    try {
      request.SendResponseAsync(std::move(reply));
    } catch (const hresult_error&) {
      // The app has gone; the closed connection is reported separately.
    }
  }
};

CompanionClient::CompanionClient(Options options) : state_(std::make_shared<State>()) {
  state_->options = std::move(options);
}

CompanionClient::~CompanionClient() {
  Stop();
}

void CompanionClient::Handle(std::string method, MethodHandler handler) {
  state_->handlers.insert_or_assign(std::move(method), std::move(handler));
}

void CompanionClient::OnConnected(std::function<void()> callback) {
  state_->connected = std::move(callback);
}

void CompanionClient::OnDisconnected(std::function<void()> callback) {
  state_->disconnected = std::move(callback);
}

void CompanionClient::Start() {
  if (state_->loop) return;
  state_->loop = link::LinkLoop::Start();
  state_->loop->Post([state = state_] { state->TryConnect(); });
}

void CompanionClient::Stop() {
  if (!state_->loop) return;
  try {
    state_->loop->Invoke([state = state_.get()] {
      state->stopped = true;
      state->retryTimer.reset();
      if (state->connection) state->connection->Close();
    });
  } catch (const hresult_error&) {
    // Stopped before.
  }
  state_->loop->Stop();
  {
    std::lock_guard lock(state_->mutex);
    state_->current = AppServiceConnection();
  }
  state_->changed.notify_all();
}

IAsyncOperation<AppServiceResponse> CompanionClient::Notify(ValueSet message) {
  // An empty handle fails the send at once with kDisconnected.
  return Connection().SendMessageAsync(std::move(message));
}

AppServiceConnection CompanionClient::Connection() const {
  std::lock_guard lock(state_->mutex);
  return state_->current;
}

std::uint64_t CompanionClient::ConnectionCount() const {
  std::lock_guard lock(state_->mutex);
  return state_->connectionCount;
}

bool CompanionClient::WaitForConnection(std::uint64_t count,
                                        std::chrono::milliseconds timeout) const {
  std::unique_lock lock(state_->mutex);
  return state_->changed.wait_for(lock, timeout, [&] {
    return state_->connectionCount >= count && static_cast<bool>(state_->current);
  });
}

}  // namespace tessarel::companion
