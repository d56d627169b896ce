// The launch-at-sign-in method bodies, with the package this test program
// finds around itself (the build tree's manifest declares "DaemonLauncher").
// The program is linked without App and the link, so no companion channel
// can exist: every call here also shows that neither method needs one.
#include <gtest/gtest.h>
#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <thread>

#include "modules/tessarel_js.h"
#include "platform/dispatcher.h"
#include "platform/startup_task.h"
#include "support/fake_react_host.h"
#include "values/js_value_tree.h"

namespace tessarel {
namespace {

namespace fs = std::filesystem;
using testing::MethodResult;
using testing::PendingCall;
using testing::PromiseInto;
using Callback = MethodResult::Callback;

class StartupMethodsTest : public ::testing::Test {
 protected:
  void SetUp() override {
    std::string pattern = (fs::temp_directory_path() / "startup-methods-XXXXXX").string();
    ASSERT_NE(mkdtemp(pattern.data()), nullptr);
    root_ = pattern;
    UseDirectories("");
    setenv("XDG_CURRENT_DESKTOP", "Test", 1);
    CoreApplication::SetMainViewDispatcher(mainView_);
  }
  void TearDown() override {
    CoreApplication::SetMainViewDispatcher(nullptr);
    std::error_code ignored;
    fs::remove_all(root_, ignored);
  }

  // Fresh user and system directories under names starting with `tag`.
  void UseDirectories(const std::string& tag) {
    setenv("XDG_CONFIG_HOME", (root_ / (tag + "home")).c_str(), 1);
    setenv("XDG_CONFIG_DIRS", (root_ / (tag + "sys")).c_str(), 1);
  }
  static fs::path UserEntry() {
    return StartupTask::GetAsync("DaemonLauncher").Get().UserEntryPath();
  }
  static void Place(const fs::path& path, const char* extra) {
    fs::create_directories(path.parent_path());
    std::ofstream(path) << "[Desktop Entry]\nType=Application\nName=x\nExec=/bin/true\n" << extra;
  }

  // Runs the UI thread's queue (this thread's, here) until the call settles.
  MethodResult Finish(const std::shared_ptr<PendingCall>& call) {
    EXPECT_TRUE(mainView_->RunUntil([&] { return call->Current().callbackCount > 0; }));
    return call->Current();
  }
  MethodResult Set(JSValue enabled) {
    auto call = std::make_shared<PendingCall>();
    module_->setIsLaunchAtStartUpEnabled(std::move(enabled), PromiseInto(call));
    return Finish(call);
  }
  JSValue IsEnabled() {
    auto call = std::make_shared<PendingCall>();
    module_->isLaunchAtStartUpEnabled(PromiseInto(call));
    const MethodResult result = Finish(call);
    EXPECT_EQ(result.callback, Callback::Resolve) << result.RejectMessage();
    return result.Value();
  }

  fs::path root_;
  std::shared_ptr<ManualDispatcher> mainView_ = std::make_shared<ManualDispatcher>();
  std::shared_ptr<TessarelJs> module_ = std::make_shared<TessarelJs>();
};

// "false" as a string and 1 go through the script's truthiness; the
// administrator's entries show that a refusal still resolves and that a state
// forced on by policy reads as enabled.
TEST_F(StartupMethodsTest, SetConvertsItsArgumentAndIsReadsTheResult) {
  const struct {
    const char* desc;
    const char* systemEntry;  // nullptr: none; else extra keys of the administrator's entry
    bool startEnabled;        // a user entry that is on before the call
    JSValue enabled;
    bool wantEnabled;
  } rows[] = {
      {"1 enables", nullptr, false, JSValue(1), true},
      {"the string false disables", nullptr, true, JSValue("false"), false},
      {"enabling against a hidden administrator's entry", "Hidden=true\n", false, JSValue(true),
       false},
      {"disabling an administrator's entry", "", false, JSValue(false), true},
  };
  int index = 0;
  for (const auto& row : rows) {
    SCOPED_TRACE(row.desc);
    const std::string tag = "row" + std::to_string(index++);
    UseDirectories(tag);
    if (row.systemEntry)
      Place(root_ / (tag + "sys") / "autostart" / UserEntry().filename(), row.systemEntry);
    if (row.startEnabled) Place(UserEntry(), "");
    ASSERT_EQ(IsEnabled(), JSValue(row.startEnabled || (row.systemEntry && !*row.systemEntry)));

    const MethodResult result = Set(row.enabled);
    ASSERT_EQ(result.callback, Callback::Resolve) << result.RejectMessage();
    EXPECT_EQ(result.payload, JSValue(JSValueArray{JSValue()}));  // resolved with null
    EXPECT_EQ(result.callbackCount, 1);
    EXPECT_EQ(IsEnabled(), JSValue(row.wantEnabled));
  }
}

TEST_F(StartupMethodsTest, EnablingRunsOnTheMainViewThreadAndDisablingStaysPut) {
  auto enabling = std::make_shared<PendingCall>();
  module_->setIsLaunchAtStartUpEnabled(true, PromiseInto(enabling));
  // Nothing is written until the UI thread has run the rest of the call.
  EXPECT_EQ(enabling->Current().callbackCount, 0);
  EXPECT_FALSE(fs::exists(UserEntry()));
  // Settled by this thread's turn of the UI queue, not on the pool.
  const MethodResult enabled = Finish(enabling);
  EXPECT_EQ(enabled.callback, Callback::Resolve);
  EXPECT_EQ(enabled.thread, std::this_thread::get_id());
  EXPECT_TRUE(fs::exists(UserEntry()));

  // Disabling settles within the call and posts nothing to the UI thread.
  auto disabling = std::make_shared<PendingCall>();
  module_->setIsLaunchAtStartUpEnabled(false, PromiseInto(disabling));
  EXPECT_EQ(disabling->Current().callback, Callback::Resolve);
  EXPECT_EQ(disabling->Current().thread, std::this_thread::get_id());
  EXPECT_EQ(mainView_->RunPending(), 0u);
  EXPECT_EQ(IsEnabled(), JSValue(false));

  CoreApplication::SetMainViewDispatcher(nullptr);
  EXPECT_EQ(Set(true).RejectMessage(),
            "Failed to set launch at start up: No dispatcher to resume on");
}

}  // namespace
}  // namespace tessarel
