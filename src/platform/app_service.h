// The two-way message channel to the companion, as the modules see it.
//
//   AppServiceConnection connection = app.GetConnectionForSubscriber();
//   AppServiceResponse response = co_await connection.SendMessageAsync(std::move(request));
//   if (response.Status != AppServiceResponseStatus::Success) { ... }
//
//   connection.RequestReceived([](const AppServiceConnection&,
//                                 const AppServiceRequestReceivedEventArgs& args) {
//     args.Request.SendResponseAsync(ValueSet{});
//   });
//
// AppServiceConnection is a handle: copies refer to the same channel. The
// transport behind it (D-Bus in the link, an in-process fake in tests) derives
// from AppServiceConnection::Channel.
//
// Thread-safety: every member may be called from any thread. RequestReceived
// handlers run on the transport's thread.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>

#include "platform/async.h"
#include "platform/event.h"
#include "platform/value_set.h"

namespace tessarel {

enum class AppServiceResponseStatus : std::uint32_t {
  Success = 0,
  Failure = 1,
  ResourceLimitsExceeded = 2,
  Unknown = 3,
  RemoteSystemUnavailable = 4,
  MessageSizeTooLarge = 5,
};

struct AppServiceResponse {
  AppServiceResponseStatus Status = AppServiceResponseStatus::Success;
  ValueSet Message;
};

// One message that arrived from the other side, with the means to answer it.
class AppServiceRequest {
 public:
  // Sends the one answer a request gets. Only the first call of
  // SendResponseAsync reaches it; later calls complete with Failure.
  class Responder {
   public:
    virtual ~Responder() = default;
    virtual IAsyncOperation<AppServiceResponseStatus> Send(ValueSet message) = 0;
  };

  AppServiceRequest(ValueSet message, std::shared_ptr<Responder> responder);

  const ValueSet& Message() const noexcept { return *message_; }
  IAsyncOperation<AppServiceResponseStatus> SendResponseAsync(ValueSet message) const;
  bool Responded() const noexcept { return responded_->load(); }

 private:
  std::shared_ptr<const ValueSet> message_;
  std::shared_ptr<Responder> responder_;
  std::shared_ptr<std::atomic<bool>> responded_;
};

struct AppServiceRequestReceivedEventArgs {
  AppServiceRequest Request;
};

class AppServiceConnection {
 public:
  using RequestReceivedEvent =
      Event<const AppServiceConnection&, const AppServiceRequestReceivedEventArgs&>;

  class Channel : public std::enable_shared_from_this<Channel> {
   public:
    virtual ~Channel() = default;
    virtual IAsyncOperation<AppServiceResponse> SendMessageAsync(ValueSet message) = 0;
    RequestReceivedEvent& RequestReceived() noexcept { return requestReceived_; }

    // Hands an arrived request to the RequestReceived handlers, in order. A
    // handler that throws does not stop the others. When the last handler
    // has returned and none has answered, an empty answer (status Success)
    // is sent, so the other side's send always completes.
    void DispatchRequest(const AppServiceRequest& request);

   private:
    RequestReceivedEvent requestReceived_;
  };

  AppServiceConnection() = default;
  explicit AppServiceConnection(std::shared_ptr<Channel> channel) : channel_(std::move(channel)) {}

  explicit operator bool() const noexcept { return channel_ != nullptr; }

  // Fails with kDisconnected on an empty handle.
  IAsyncOperation<AppServiceResponse> SendMessageAsync(ValueSet message) const;

  event_token RequestReceived(RequestReceivedEvent::Handler handler) const;
  void RequestReceived(event_token token) const;

  const std::shared_ptr<Channel>& GetChannel() const noexcept { return channel_; }
  friend bool operator==(const AppServiceConnection& a, const AppServiceConnection& b) {
    return a.channel_ == b.channel_;
  }

 private:
  std::shared_ptr<Channel> channel_;
};

}  // namespace tessarel
