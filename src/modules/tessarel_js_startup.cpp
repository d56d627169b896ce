#include <string>

#include "modules/tessarel_js.h"
#include "platform/async.h"
#include "platform/dispatcher.h"
#include "platform/hresult_error.h"
#include "platform/startup_task.h"

// Launch at sign-in. Unlike the device methods these two never talk to the
// companion: they read and change the package's start-up task directly, so
// they work whether or not a companion is connected. They touch no member of
// the module, so they need no reference to it while they run.
namespace tessarel {
namespace {

constexpr const char* kStartupTaskId = "DaemonLauncher";

bool IsEnabled(StartupTaskState state) {
  return state == StartupTaskState::Enabled || state == StartupTaskState::EnabledByPolicy;
}

}  // namespace

IAsyncAction TessarelJs::isLaunchAtStartUpEnabled(ReactPromise<JSValue> promise) {
  try {
    const StartupTask task = co_await StartupTask::GetAsync(kStartupTaskId);
    promise.Resolve(JSValue(IsEnabled(task.State())));
  } catch (const hresult_error& error) {
    promise.Reject("Failed to get launch at start up: " + error.message());
  }
}

IAsyncAction TessarelJs::setIsLaunchAtStartUpEnabled(JSValue enabled,
                                                     ReactPromise<JSValue> promise) {
  try {
    const bool enable = enabled.AsBoolean();
    const StartupTask task = co_await StartupTask::GetAsync(kStartupTaskId);
    if (enable) {
      // Enabling may ask the user, which belongs on the UI thread. The
      // resulting state is not looked at: a refusal still resolves, and the
      // script learns the outcome by asking again.
      co_await ResumeOn(CoreApplication::MainViewDispatcher());
      co_await task.RequestEnableAsync();
    } else {
      task.Disable();
    }
    promise.Resolve(JSValue(nullptr));
  } catch (const hresult_error& error) {
    promise.Reject("Failed to set launch at start up: " + error.message());
  }
}

}  // namespace tessarel
