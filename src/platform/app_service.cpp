#include "platform/app_service.h"

namespace tessarel {

AppServiceRequest::AppServiceRequest(ValueSet message, std::shared_ptr<Responder> responder)
    : message_(std::make_shared<const ValueSet>(std::move(message))),
      responder_(std::move(responder)),
      responded_(std::make_shared<std::atomic<bool>>(false)) {}

IAsyncOperation<AppServiceResponseStatus> AppServiceRequest::SendResponseAsync(
    ValueSet message) const {
  if (responded_->exchange(true)) {
    AsyncCompletionSource<AppServiceResponseStatus> done;
    done.Complete(AppServiceResponseStatus::Failure);
    return done.Operation();
  }
  return responder_->Send(std::move(message));
}

void AppServiceConnection::Channel::DispatchRequest(const AppServiceRequest& request) {
  const AppServiceConnection sender(shared_from_this());
  const AppServiceRequestReceivedEventArgs args{request};
  for (const auto& [token, handler] : requestReceived_.Snapshot()) {
    try {
      handler(sender, args);
    } catch (...) {
      // A failing handler is the handler's own affair; the others still run
      // and the request is still answered.
    }
  }
  if (!request.Responded()) {
    try {
      request.SendResponseAsync(ValueSet{});
    } catch (...) {
      // The other side is gone; nothing is waiting for the answer.
    }
  }
}

IAsyncOperation<AppServiceResponse> AppServiceConnection::SendMessageAsync(ValueSet message) const {
  if (!channel_) {
    AsyncCompletionSource<AppServiceResponse> failed;
    failed.Fail(std::make_exception_ptr(hresult_error(error_codes::kDisconnected)));
    return failed.Operation();
  }
  return channel_->SendMessageAsync(std::move(message));
}

event_token AppServiceConnection::RequestReceived(RequestReceivedEvent::Handler handler) const {
  if (!channel_) throw hresult_error(error_codes::kDisconnected);
  return channel_->RequestReceived().Add(std::move(handler));
}

void AppServiceConnection::RequestReceived(event_token token) const {
  if (channel_) channel_->RequestReceived().Remove(token);
}

}  // namespace tessarel
