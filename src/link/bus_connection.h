// One end of the companion channel: a D-Bus peer-to-peer connection over a
// connected Unix socket, seen by the rest of the program as an
// AppServiceConnection::Channel.
//
//   auto connection = BusConnection::Open(loop, fd, BusConnection::Role::kServer, callbacks);
//   AppServiceConnection channel(connection->Channel());   // usable from any thread
//
// Both ends export the object /io/tessarel/AppService with the interface
// io.tessarel.AppService1 and its one method Message(a{sv}) -> (u, a{sv}).
// The server end (the app) also answers org.freedesktop.DBus.Hello, so that
// tools written for a message bus (busctl, gdbus) can talk to it directly.
//
// Sending: the channel's SendMessageAsync queues the call to the link thread,
// which sends it with no time-out; the reply completes the operation. A D-Bus
// error reply, a reply of another signature, or a connection that closes or
// dies fails it with an hresult_error (see docs/link.md); once the connection
// is closed, every pending call fails at once and every later send fails
// at once too.
//
// Receiving: each Message call becomes an AppServiceRequest handed to the
// channel's RequestReceived handlers on the link thread. Its answer is sent as
// the method reply (status, message); a request that nobody answers gets
// status 0 and an empty message.
//
// Thread-safety: Open, Close and the static callbacks run on the link thread
// only; Channel() may be called anywhere, and the channel it returns is safe
// from any thread.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <unordered_map>

#include "link/bus_ptr.h"
#include "link/link_loop.h"
#include "platform/app_service.h"

namespace tessarel::link {

inline constexpr char kObjectPath[] = "/io/tessarel/AppService";
inline constexpr char kInterfaceName[] = "io.tessarel.AppService1";
inline constexpr char kMethodName[] = "Message";
inline constexpr char kReplySignature[] = "ua{sv}";
// The unique name the app gives a peer that greets it as if it were a bus.
inline constexpr char kPeerUniqueName[] = ":1.1";

class BusConnection : public std::enable_shared_from_this<BusConnection> {
 public:
  enum class Role { kServer, kClient };

  using ConnectionCallback = std::function<void(const std::shared_ptr<BusConnection>&)>;
  struct Callbacks {
    // Authentication has completed; the channel can carry messages.
    ConnectionCallback ready;
    // The peer greeted us as a message bus (org.freedesktop.DBus.Hello).
    ConnectionCallback greeted;
    // Called before each incoming request is dispatched; returns the channel
    // whose RequestReceived handlers get it, or null for this connection's
    // own. The answer always goes back on this connection.
    std::function<std::shared_ptr<AppServiceConnection::Channel>(
        const std::shared_ptr<BusConnection>&)>
        route;
    // The connection has ended (either side closed it, or it failed). Called
    // once, from a task of its own, never from inside an sd-bus callback.
    ConnectionCallback closed;
  };

  // Takes ownership of `fd`, a connected stream socket, and starts the
  // handshake (EXTERNAL authentication). Throws hresult_error on failure, in
  // which case the socket is closed.
  static std::shared_ptr<BusConnection> Open(std::shared_ptr<LinkLoop> loop, int fd, Role role,
                                             Callbacks callbacks);

  ~BusConnection();
  BusConnection(const BusConnection&) = delete;
  BusConnection& operator=(const BusConnection&) = delete;

  const std::shared_ptr<AppServiceConnection::Channel>& Channel() const noexcept {
    return channel_;
  }

  bool IsOpen() const noexcept { return open_; }

  // Ends the connection: fails every pending call, then releases the bus and
  // reports `closed` from a later task. Idempotent.
  void Close();

  // Link-thread halves of the channel's operations.
  void StartCall(ValueSet request, AsyncCompletionSource<AppServiceResponse> done);
  void Answer(std::uint64_t requestId, ValueSet message,
              AsyncCompletionSource<AppServiceResponseStatus> done);
  void AnswerIfUnanswered(std::uint64_t requestId);

 private:
  class ChannelImpl;
  class Responder;
  struct PendingCall {
    BusSlotPtr slot;
    AsyncCompletionSource<AppServiceResponse> done;
  };

  BusConnection(std::shared_ptr<LinkLoop> loop, Callbacks callbacks);
  void SetUp(int fd, Role role);
  void FailPending();
  void Release();

  static int OnMessageCall(sd_bus_message* call, void* userdata, sd_bus_error* error);
  static int OnHello(sd_bus_message* call, void* userdata, sd_bus_error* error);
  static int OnReply(sd_bus_message* reply, void* userdata, sd_bus_error* error);
  static int OnConnected(sd_bus_message* signal, void* userdata, sd_bus_error* error);
  static int OnDisconnected(sd_bus_message* signal, void* userdata, sd_bus_error* error);

  std::shared_ptr<LinkLoop> loop_;
  Callbacks callbacks_;
  std::shared_ptr<AppServiceConnection::Channel> channel_;
  BusPtr bus_;
  BusSlotPtr objectSlot_;
  BusSlotPtr helloSlot_;
  BusSlotPtr connectedSlot_;
  BusSlotPtr disconnectedSlot_;
  bool open_ = false;
  bool released_ = false;
  std::unordered_map<std::uint64_t, PendingCall> pending_;       // by cookie
  std::unordered_map<std::uint64_t, BusMessagePtr> unanswered_;  // by request id
  std::uint64_t lastRequestId_ = 0;
};

}  // namespace tessarel::link
