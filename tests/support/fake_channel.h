// An in-process companion channel for tests: it records every request sent
// on it and lets the test answer each one when and how it likes, from any
// thread, or never.
//
//   auto channel = std::make_shared<FakeChannel>();
//   ActivateWithChannel(app, channel);               // App now holds it
//   module->isFlashing(promise);
//   channel->Request(0);                             // {"method": "isFlashing"}
//   channel->Respond(0, Reply({{"result", Bool(true)}}));
//
// Each send is answered at most once; a send still pending when the channel
// goes away fails with kDisconnected, as the platform's does.
//
// Thread-safety: every member may be called from any thread.
#pragma once

#include <cstddef>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <vector>

#include "app/app.h"
#include "platform/app_service.h"
#include "platform/background_activation.h"

namespace tessarel::testing {

inline AppServiceResponse Reply(
    ValueSet message, AppServiceResponseStatus status = AppServiceResponseStatus::Success) {
  return AppServiceResponse{status, std::move(message)};
}

class FakeChannel : public AppServiceConnection::Channel {
 public:
  IAsyncOperation<AppServiceResponse> SendMessageAsync(ValueSet message) override {
    AsyncCompletionSource<AppServiceResponse> completion;
    std::lock_guard lock(mutex_);
    sends_.push_back({std::move(message), completion, false});
    return completion.Operation();
  }

  std::size_t SendCount() const {
    std::lock_guard lock(mutex_);
    return sends_.size();
  }

  ValueSet Request(std::size_t index) const {
    std::lock_guard lock(mutex_);
    return sends_.at(index).request;
  }

  void Respond(std::size_t index, AppServiceResponse response) {
    Take(index).Complete(std::move(response));
  }
  void Fail(std::size_t index, const hresult_error& error) {
    Take(index).Fail(std::make_exception_ptr(error));
  }
  // Fails the send with an error that is not a platform error.
  void FailWithForeignError(std::size_t index) {
    Take(index).Fail(std::make_exception_ptr(std::runtime_error("not a platform error")));
  }
  void Cancel(std::size_t index) { Take(index).Cancel(); }

 private:
  struct Send {
    ValueSet request;
    AsyncCompletionSource<AppServiceResponse> completion;
    bool answered;
  };

  AsyncCompletionSource<AppServiceResponse> Take(std::size_t index) {
    std::lock_guard lock(mutex_);
    Send& send = sends_.at(index);
    if (send.answered) throw std::logic_error("send answered twice");
    send.answered = true;
    return send.completion;
  }

  mutable std::mutex mutex_;
  std::vector<Send> sends_;
};

// A background activation that hands over one channel.
class FakeTaskInstance : public IBackgroundTaskInstance {
 public:
  explicit FakeTaskInstance(AppServiceConnection connection)
      : details_(std::make_shared<AppServiceTriggerDetails>(
            AppServiceTriggerDetails{std::move(connection)})) {}

  std::shared_ptr<BackgroundTaskDeferral> GetDeferral() override {
    return std::make_shared<Deferral>();
  }
  std::shared_ptr<const AppServiceTriggerDetails> TriggerDetails() override { return details_; }

 private:
  struct Deferral : BackgroundTaskDeferral {
    void Complete() override {}
  };
  std::shared_ptr<const AppServiceTriggerDetails> details_;
};

// Delivers `channel` to the application as the companion's connection.
inline void ActivateWithChannel(App& app, std::shared_ptr<AppServiceConnection::Channel> channel) {
  BackgroundActivatedEventArgs args{
      std::make_shared<FakeTaskInstance>(AppServiceConnection(std::move(channel)))};
  app.OnBackgroundActivated(args);
}

}  // namespace tessarel::testing
