// The companion's end of the app-service channel: connects to the app's
// socket, keeps reconnecting while the app is not there (or after it has gone
// away), serves the app's requests from a table of method handlers and sends
// notifications to the app.
//
//   CompanionClient client({.socketPath = path});
//   client.Handle("isFlashing", [](const ValueSet&) {
//     ValueSet reply;
//     reply.Insert("result", PropertyValue::CreateBoolean(false));
//     return reply;
//   });
//   client.Start();
//   client.Notify(Notification("keyboardsUpdated"));
//
// A request is looked up by its "method" string; its handler's ValueSet is
// the answer. A request with no "method", or one nobody handles, is answered
// with {"error": <text>} so the app's call always completes.
//
// The channel is the same D-Bus peer-to-peer channel the app uses (the
// link's BusConnection, client side), on a link thread of the companion's own.
//
// Thread-safety: Handle and the callbacks are set before Start. Notify,
// Connection and WaitConnected may be called from any thread. Handlers and
// the connected/disconnected callbacks run on the link thread.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>

#include "platform/app_service.h"

namespace tessarel::companion {

// A notification message: {"type": type}.
ValueSet Notification(std::string type);

class CompanionClient {
 public:
  using MethodHandler = std::function<ValueSet(const ValueSet& request)>;
  using LogSink = std::function<void(const std::string& line)>;

  struct Options {
    std::filesystem::path socketPath;
    // Waiting between attempts doubles from the first delay up to the last.
    std::chrono::milliseconds firstRetryDelay{100};
    std::chrono::milliseconds maxRetryDelay{2000};
    // Receives a line per connection change and failed attempt; null: quiet.
    LogSink log;
  };

  explicit CompanionClient(Options options);
  ~CompanionClient();
  CompanionClient(const CompanionClient&) = delete;
  CompanionClient& operator=(const CompanionClient&) = delete;

  void Handle(std::string method, MethodHandler handler);
  void OnConnected(std::function<void()> callback);
  void OnDisconnected(std::function<void()> callback);

  // Starts the link thread and the first connection attempt. Throws
  // hresult_error when the link thread cannot start.
  void Start();

  // Closes the connection and stops trying. Pending sends fail at once.
  void Stop();

  // Sends `message` to the app. Fails at once with kDisconnected when there
  // is no connection.
  IAsyncOperation<AppServiceResponse> Notify(ValueSet message);

  // The current channel; empty while disconnected.
  AppServiceConnection Connection() const;

  // How many connections have been established so far.
  std::uint64_t ConnectionCount() const;

  // Blocks until the connection count reaches `count` or the time runs out.
  bool WaitForConnection(std::uint64_t count, std::chrono::milliseconds timeout) const;

 private:
  struct State;
  std::shared_ptr<State> state_;
};

}  // namespace tessarel::companion
