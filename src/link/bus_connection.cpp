#include "link/bus_connection.h"

#include <systemd/sd-id128.h>
#include <unistd.h>

#include <atomic>
#include <exception>
#include <utility>

#include "link/value_set_codec.h"

namespace tessarel::link {
namespace {

constexpr char kBusDriverPath[] = "/org/freedesktop/DBus";
constexpr char kBusDriverInterface[] = "org.freedesktop.DBus";
constexpr char kLocalPath[] = "/org/freedesktop/DBus/Local";
constexpr char kLocalInterface[] = "org.freedesktop.DBus.Local";

// No time-out: a request waits for as long as the connection stays open.
constexpr std::uint64_t kNoTimeout = UINT64_MAX;

std::exception_ptr Disconnected() {
  return std::make_exception_ptr(DisconnectedError());
}

}  // namespace

// The channel handle that the rest of the program holds. It reaches the
// connection only from the link thread, through a weak reference: a channel
// may outlive its connection, and then every send fails at once.
class BusConnection::ChannelImpl final : public AppServiceConnection::Channel {
 public:
  ChannelImpl(std::shared_ptr<LinkLoop> loop, std::weak_ptr<BusConnection> connection)
      : loop_(std::move(loop)), connection_(std::move(connection)) {}

  IAsyncOperation<AppServiceResponse> SendMessageAsync(ValueSet message) override {
    AsyncCompletionSource<AppServiceResponse> done;
    IAsyncOperation<AppServiceResponse> operation = done.Operation();
    // If the loop has stopped, the task is destroyed unrun and `done`, its
    // last copy, fails the operation with kDisconnected.
    loop_->RunOrPost([connection = connection_, message = std::move(message), done]() mutable {
      if (auto live = connection.lock())
        live->StartCall(std::move(message), std::move(done));
      else
        done.Fail(Disconnected());
    });
    return operation;
  }

 private:
  std::shared_ptr<LinkLoop> loop_;
  std::weak_ptr<BusConnection> connection_;
};

// Sends the answer of one request from the link thread. A request whose
// responder goes away unanswered is answered then, so the peer's call always
// completes.
class BusConnection::Responder final : public AppServiceRequest::Responder {
 public:
  Responder(std::shared_ptr<LinkLoop> loop, std::weak_ptr<BusConnection> connection,
            std::uint64_t requestId)
      : loop_(std::move(loop)), connection_(std::move(connection)), requestId_(requestId) {}

  ~Responder() override {
    if (sent_.load()) return;
    loop_->RunOrPost([connection = connection_, id = requestId_] {
      if (auto live = connection.lock()) live->AnswerIfUnanswered(id);
    });
  }

  IAsyncOperation<AppServiceResponseStatus> Send(ValueSet message) override {
    sent_.store(true);
    AsyncCompletionSource<AppServiceResponseStatus> done;
    IAsyncOperation<AppServiceResponseStatus> operation = done.Operation();
    loop_->RunOrPost(
        [connection = connection_, id = requestId_, message = std::move(message), done]() mutable {
          if (auto live = connection.lock())
            live->Answer(id, std::move(message), std::move(done));
          else
            done.Fail(Disconnected());
        });
    return operation;
  }

 private:
  std::shared_ptr<LinkLoop> loop_;
  std::weak_ptr<BusConnection> connection_;
  std::uint64_t requestId_;
  std::atomic<bool> sent_{false};
};

BusConnection::BusConnection(std::shared_ptr<LinkLoop> loop, Callbacks callbacks)
    : loop_(std::move(loop)), callbacks_(std::move(callbacks)) {}

BusConnection::~BusConnection() {
  Release();
}

std::shared_ptr<BusConnection> BusConnection::Open(std::shared_ptr<LinkLoop> loop, int fd,
                                                   Role role, Callbacks callbacks) {
  std::shared_ptr<BusConnection> connection(new BusConnection(loop, std::move(callbacks)));
  connection->channel_ = std::make_shared<ChannelImpl>(std::move(loop), connection);
  connection->SetUp(fd, role);
  return connection;
}

void BusConnection::SetUp(int fd, Role role) {
  static const sd_bus_vtable kAppServiceVtable[] = {
      SD_BUS_VTABLE_START(0),
      SD_BUS_METHOD_WITH_NAMES("Message", "a{sv}", SD_BUS_PARAM(request), "ua{sv}",
                               SD_BUS_PARAM(status) SD_BUS_PARAM(message),
                               &BusConnection::OnMessageCall, SD_BUS_VTABLE_UNPRIVILEGED),
      SD_BUS_VTABLE_END,
  };
  static const sd_bus_vtable kBusDriverVtable[] = {
      SD_BUS_VTABLE_START(0),
      SD_BUS_METHOD("Hello", "", "s", &BusConnection::OnHello, SD_BUS_VTABLE_UNPRIVILEGED),
      SD_BUS_VTABLE_END,
  };

  if (const int created = sd_bus_new(Out(bus_)); created < 0) {
    close(fd);
    throw BusError(created, "Creating a companion connection");
  }
  if (const int taken = sd_bus_set_fd(bus_.get(), fd, fd); taken < 0) {
    close(fd);
    throw BusError(taken, "Creating a companion connection");
  }
  sd_bus* bus = bus_.get();
  if (role == Role::kServer) {
    sd_id128_t serverId;
    CheckBus(sd_id128_randomize(&serverId), "Creating a server id");
    CheckBus(sd_bus_set_server(bus, 1, serverId), "Setting up the server side");
  }
  CheckBus(sd_bus_set_description(bus, role == Role::kServer ? "app-service" : "companion"),
           "Naming the connection");
  CheckBus(sd_bus_set_connected_signal(bus, 1), "Setting up the connection");
  CheckBus(sd_bus_add_object_vtable(bus, Out(objectSlot_), kObjectPath, kInterfaceName,
                                    kAppServiceVtable, this),
           "Exporting the app-service object");
  if (role == Role::kServer) {
    CheckBus(sd_bus_add_object_vtable(bus, Out(helloSlot_), kBusDriverPath, kBusDriverInterface,
                                      kBusDriverVtable, this),
             "Exporting the greeting");
  }
  CheckBus(sd_bus_match_signal(bus, Out(connectedSlot_), nullptr, kLocalPath, kLocalInterface,
                               "Connected", &BusConnection::OnConnected, this),
           "Watching the connection");
  CheckBus(sd_bus_match_signal(bus, Out(disconnectedSlot_), nullptr, kLocalPath, kLocalInterface,
                               "Disconnected", &BusConnection::OnDisconnected, this),
           "Watching the connection");
  CheckBus(sd_bus_attach_event(bus, loop_->Event(), SD_EVENT_PRIORITY_NORMAL),
           "Attaching the connection to the link loop");
  CheckBus(sd_bus_start(bus), "Starting the connection");
  open_ = true;
}

void BusConnection::Close() {
  if (!open_) return;
  open_ = false;
  FailPending();
  unanswered_.clear();
  // Releasing the bus inside one of its own callbacks would pull it out from
  // under sd-bus; a task of its own runs after the callback has returned.
  loop_->Post([self = shared_from_this()] {
    self->Release();
    if (self->callbacks_.closed) self->callbacks_.closed(self);
  });
}

void BusConnection::FailPending() {
  std::unordered_map<std::uint64_t, PendingCall> failing;
  failing.swap(pending_);
  for (auto& [cookie, call] : failing) call.done.Fail(Disconnected());
}

void BusConnection::Release() {
  if (released_) return;
  released_ = true;
  open_ = false;
  FailPending();
  unanswered_.clear();
  objectSlot_.reset();
  helloSlot_.reset();
  connectedSlot_.reset();
  disconnectedSlot_.reset();
  if (bus_) sd_bus_detach_event(bus_.get());
  bus_.reset();
}

void BusConnection::StartCall(ValueSet request, AsyncCompletionSource<AppServiceResponse> done) {
  if (!open_) {
    done.Fail(Disconnected());
    return;
  }
  std::exception_ptr failure;
  try {
    BusMessagePtr call;
    CheckBus(sd_bus_message_new_method_call(bus_.get(), Out(call), nullptr, kObjectPath,
                                            kInterfaceName, kMethodName),
             "Creating a request");
    WriteValueSet(call.get(), request);
    BusSlotPtr slot;
    CheckBus(sd_bus_call_async(bus_.get(), Out(slot), call.get(), &BusConnection::OnReply, this,
                               kNoTimeout),
             "Sending a request");
    std::uint64_t cookie = 0;
    CheckBus(sd_bus_message_get_cookie(call.get(), &cookie), "Sending a request");
    pending_.emplace(cookie, PendingCall{std::move(slot), std::move(done)});
    return;
  } catch (const hresult_error&) {
    failure = std::current_exception();
  }
  // Failed after the catch has ended, with the only reference handed over,
  // so that the exception dies on the thread that handles it.
  done.Fail(std::move(failure));
}

int BusConnection::OnReply(sd_bus_message* reply, void* userdata, sd_bus_error*) {
  auto* self = static_cast<BusConnection*>(userdata);
  std::uint64_t cookie = 0;
  if (sd_bus_message_get_reply_cookie(reply, &cookie) < 0) return 0;
  auto entry = self->pending_.extract(cookie);
  if (entry.empty()) return 0;
  AsyncCompletionSource<AppServiceResponse>& done = entry.mapped().done;

  if (sd_bus_message_is_method_error(reply, nullptr)) {
    // sd-bus answers every call still pending on a connection that dies with
    // an error of its own; those are disconnections, not the peer's errors.
    if (!sd_bus_is_open(self->bus_.get())) {
      done.Fail(Disconnected());
      return 1;
    }
    const sd_bus_error* error = sd_bus_message_get_error(reply);
    const char* text = error && error->message && *error->message ? error->message
                       : error && error->name                     ? error->name
                                                                  : "";
    done.Fail(std::make_exception_ptr(hresult_error(error_codes::kFail, text)));
    return 1;
  }
  if (!sd_bus_message_has_signature(reply, kReplySignature)) {
    const char* signature = sd_bus_message_get_signature(reply, 1);
    done.Fail(std::make_exception_ptr(hresult_error(
        error_codes::kFail, std::string("The reply has the signature '") +
                                (signature ? signature : "") + "' instead of 'ua{sv}'")));
    return 1;
  }
  std::exception_ptr failure;
  try {
    std::uint32_t status = 0;
    CheckBus(sd_bus_message_read_basic(reply, 'u', &status), "Reading a reply");
    ValueSet message = ReadValueSet(reply);
    done.Complete(
        AppServiceResponse{static_cast<AppServiceResponseStatus>(status), std::move(message)});
    return 1;
  } catch (const hresult_error&) {
    failure = std::current_exception();
  }
  done.Fail(std::move(failure));
  return 1;
}

int BusConnection::OnMessageCall(sd_bus_message* call, void* userdata, sd_bus_error* error) {
  auto* self = static_cast<BusConnection*>(userdata);
  std::shared_ptr<BusConnection> keep = self->shared_from_this();
  ValueSet message;
  try {
    message = ReadValueSet(call);
  } catch (const hresult_error& failure) {
    return sd_bus_error_set(error, SD_BUS_ERROR_INVALID_ARGS, failure.message().c_str());
  }
  try {
    const std::uint64_t id = ++self->lastRequestId_;
    auto responder = std::make_shared<Responder>(self->loop_, keep, id);
    self->unanswered_.emplace(id, BusMessagePtr(sd_bus_message_ref(call)));
    // From here on the responder owns the answer: it is sent by a handler,
    // by the dispatch when no handler answered, or when the responder goes.
    std::shared_ptr<AppServiceConnection::Channel> target;
    if (self->callbacks_.route) target = self->callbacks_.route(keep);
    if (!target) target = self->channel_;
    target->DispatchRequest(AppServiceRequest(std::move(message), std::move(responder)));
    return 1;
  } catch (const std::exception& failure) {
    return sd_bus_error_set(error, SD_BUS_ERROR_FAILED, failure.what());
  } catch (...) {
    return sd_bus_error_set(error, SD_BUS_ERROR_FAILED, "The request could not be handled");
  }
}

void BusConnection::Answer(std::uint64_t requestId, ValueSet message,
                           AsyncCompletionSource<AppServiceResponseStatus> done) {
  auto entry = unanswered_.extract(requestId);
  if (entry.empty() || !open_) {
    done.Fail(Disconnected());
    return;
  }
  sd_bus_message* call = entry.mapped().get();
  if (!sd_bus_message_get_expect_reply(call)) {
    done.Complete(AppServiceResponseStatus::Success);
    return;
  }
  BusMessagePtr reply;
  std::exception_ptr failure;
  try {
    CheckBus(sd_bus_message_new_method_return(call, Out(reply)), "Answering a request");
    const std::uint32_t status = static_cast<std::uint32_t>(AppServiceResponseStatus::Success);
    CheckBus(sd_bus_message_append_basic(reply.get(), 'u', &status), "Answering a request");
    WriteValueSet(reply.get(), message);
  } catch (const hresult_error& error) {
    // The half-built answer is dropped; the peer gets an error it can report
    // rather than a call that never completes.
    sd_bus_reply_method_errorf(call, SD_BUS_ERROR_FAILED, "%s", error.message().c_str());
    failure = std::current_exception();
  }
  if (failure) {
    done.Fail(std::move(failure));
    return;
  }
  if (const int sent = sd_bus_send(bus_.get(), reply.get(), nullptr); sent < 0) {
    done.Fail(std::make_exception_ptr(BusError(sent, "Sending an answer")));
    return;
  }
  done.Complete(AppServiceResponseStatus::Success);
}

void BusConnection::AnswerIfUnanswered(std::uint64_t requestId) {
  if (!unanswered_.contains(requestId)) return;
  Answer(requestId, ValueSet{}, AsyncCompletionSource<AppServiceResponseStatus>());
}

int BusConnection::OnHello(sd_bus_message* call, void* userdata, sd_bus_error*) {
  auto* self = static_cast<BusConnection*>(userdata);
  if (self->callbacks_.greeted) self->callbacks_.greeted(self->shared_from_this());
  return sd_bus_reply_method_return(call, "s", kPeerUniqueName);
}

int BusConnection::OnConnected(sd_bus_message*, void* userdata, sd_bus_error*) {
  auto* self = static_cast<BusConnection*>(userdata);
  std::shared_ptr<BusConnection> keep = self->shared_from_this();
  if (self->open_ && self->callbacks_.ready) {
    try {
      self->callbacks_.ready(keep);
    } catch (...) {
      // The owner could not take the connection; it is of no use then.
      self->Close();
    }
  }
  return 0;
}

int BusConnection::OnDisconnected(sd_bus_message*, void* userdata, sd_bus_error*) {
  static_cast<BusConnection*>(userdata)->Close();
  return 0;
}

}  // namespace tessarel::link
