// A package that declares no "DaemonLauncher": this program is built into a
// prefix of its own whose manifest lacks the task, so the methods look it up
// exactly as in the application, and the platform's failure reaches the
// script after each method's fixed prefix.
#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <string>

#include "modules/tessarel_js.h"
#include "support/fake_react_host.h"
#include "values/js_value_tree.h"

namespace tessarel {
namespace {

using testing::MethodResult;
using testing::PendingCall;

ReactPromise<JSValue> PromiseFor(const std::shared_ptr<PendingCall>& call) {
  auto writer = std::make_shared<JSValueTreeWriter>();
  return ReactPromise<JSValue>(
      writer,
      [call, writer](IJSValueWriter&) {
        call->Record(MethodResult::Callback::Resolve, writer->TakeValue());
      },
      [call, writer](IJSValueWriter&) {
        call->Record(MethodResult::Callback::Reject, writer->TakeValue());
      });
}

TEST(StartupUndeclaredTest, BothMethodsRejectWithTheLookupError) {
  auto module = std::make_shared<TessarelJs>();
  const std::string lookupError = "The package declares no start-up task \"DaemonLauncher\"";

  auto get = std::make_shared<PendingCall>();
  module->isLaunchAtStartUpEnabled(PromiseFor(get));
  EXPECT_EQ(get->Wait(std::chrono::seconds(10)).RejectMessage(),
            "Failed to get launch at start up: " + lookupError);
  for (bool enable : {true, false}) {
    auto set = std::make_shared<PendingCall>();
    module->setIsLaunchAtStartUpEnabled(enable, PromiseFor(set));
    const MethodResult result = set->Wait(std::chrono::seconds(10));
    EXPECT_EQ(result.RejectMessage(), "Failed to set launch at start up: " + lookupError) << enable;
    EXPECT_EQ(result.callbackCount, 1);
  }
}

}  // namespace
}  // namespace tessarel
