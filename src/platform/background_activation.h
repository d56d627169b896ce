// A background activation as the application receives it: the platform hands
// over one accepted companion channel per activation, with a deferral that
// keeps the activation open for as long as it is held uncompleted.
//
// Thread-safety: immutable after construction.
#pragma once

#include <memory>

#include "platform/app_service.h"

namespace tessarel {

class BackgroundTaskDeferral {
 public:
  virtual ~BackgroundTaskDeferral() = default;
  virtual void Complete() = 0;
};

struct AppServiceTriggerDetails {
  AppServiceConnection Connection;
};

class IBackgroundTaskInstance {
 public:
  virtual ~IBackgroundTaskInstance() = default;
  virtual std::shared_ptr<BackgroundTaskDeferral> GetDeferral() = 0;
  // nullptr for an activation of another kind than an app-service connection.
  virtual std::shared_ptr<const AppServiceTriggerDetails> TriggerDetails() = 0;
};

struct BackgroundActivatedEventArgs {
  std::shared_ptr<IBackgroundTaskInstance> TaskInstance;
};

}  // namespace tessarel
