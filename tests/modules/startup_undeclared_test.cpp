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

namespace tessarel {
namespace {

using testing::MethodResult;
using testing::PendingCall;
using testing::PromiseInto;

TEST(StartupUndeclaredTest, BothMethodsRejectWithTheLookupError) {
  auto module = std::make_shared<TessarelJs>();
  const std::string lookupError = "The package declares no start-up task \"DaemonLauncher\"";

  auto get = std::make_shared<PendingCall>();
  module->isLaunchAtStartUpEnabled(PromiseInto(get));
  EXPECT_EQ(get->Wait(std::chrono::seconds(10)).RejectMessage(),
            "Failed to get launch at start up: " + lookupError);
  for (bool enable : {true, false}) {
    auto set = std::make_shared<PendingCall>();
    module->setIsLaunchAtStartUpEnabled(enable, PromiseInto(set));
    const MethodResult result = set->Wait(std::chrono::seconds(10));
    EXPECT_EQ(result.RejectMessage(), "Failed to set launch at start up: " + lookupError) << enable;
    EXPECT_EQ(result.callbackCount, 1);
  }
}

}  // namespace
}  // namespace tessarel
