// The launch-at-sign-in method bodies, with the package this test program
// finds around itself (the build tree's manifest declares "DaemonLauncher").
// The program is linked without App and the link, so no companion channel
// can exist: every call here also shows that neither method needs one.
#include <gtest/gtest.h>
#include <stdlib.h>

#include <atomic>
#include <chrono>
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
using Callback = MethodResult::Callback;
constexpr auto kGuard = std::chrono::seconds(10);  // only against a hang

// The UI thread: a thread draining the main view's dispatcher.
class MainViewThread {
 public:
  MainViewThread() { CoreApplication::SetMainViewDispatcher(dispatcher_); }
  ~MainViewThread() {
    stop_ = true;
    dispatcher_->Post([] {});
    if (thread_.joinable()) thread_.join();
    CoreApplication::SetMainViewDispatcher(nullptr);
  }
  MainViewThread(const MainViewThread&) = delete;
  MainViewThread& operator=(const MainViewThread&) = delete;

  void Start() {
    thread_ = std::thread([this] {
      dispatcher_->RunUntil([this] { return stop_.load(); }, std::chrono::minutes(1));
    });
  }
  std::thread::id Id() const { return thread_.get_id(); }
  ManualDispatcher& Dispatcher() { return *dispatcher_; }

 private:
  std::shared_ptr<ManualDispatcher> dispatcher_ = std::make_shared<ManualDispatcher>();
  std::atomic<bool> stop_{false};
  std::thread thread_;
};

class StartupMethodsTest : public ::testing::Test {
 protected:
  void SetUp() override {
    std::string pattern = (fs::temp_directory_path() / "startup-methods-XXXXXX").string();
    ASSERT_NE(mkdtemp(pattern.data()), nullptr);
    root_ = pattern;
    UseDirectories("");
    setenv("XDG_CURRENT_DESKTOP", "Test", 1);
  }
  void TearDown() override {
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

  // A promise whose settlement lands in `call`, as the host's would.
  static ReactPromise<JSValue> PromiseFor(const std::shared_ptr<PendingCall>& call,
                                          std::function<void()> onSettled = {}) {
    auto writer = std::make_shared<JSValueTreeWriter>();
    auto settle = [call, writer, onSettled](Callback callback) {
      return [call, writer, onSettled, callback](IJSValueWriter&) {
        if (onSettled) onSettled();
        call->Record(callback, writer->TakeValue());
      };
    };
    return ReactPromise<JSValue>(writer, settle(Callback::Resolve), settle(Callback::Reject));
  }
  MethodResult Set(JSValue enabled) {
    auto call = std::make_shared<PendingCall>();
    module_->setIsLaunchAtStartUpEnabled(std::move(enabled), PromiseFor(call));
    return call->Wait(kGuard);
  }
  JSValue IsEnabled() {
    auto call = std::make_shared<PendingCall>();
    module_->isLaunchAtStartUpEnabled(PromiseFor(call));
    const MethodResult result = call->Wait(kGuard);
    EXPECT_EQ(result.callback, Callback::Resolve) << result.RejectMessage();
    return result.Value();
  }

  fs::path root_;
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
  MainViewThread mainView;
  mainView.Start();
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
  {
    SCOPED_TRACE("no UI thread to enable on");
    CoreApplication::SetMainViewDispatcher(nullptr);
    const MethodResult result = Set(true);
    EXPECT_EQ(result.RejectMessage(),
              "Failed to set launch at start up: No dispatcher to resume on");
  }
  std::thread::id settledOn;
  const auto notingThread = [&settledOn] { settledOn = std::this_thread::get_id(); };

  MainViewThread mainView;  // installed, not yet running
  auto enabling = std::make_shared<PendingCall>();
  module_->setIsLaunchAtStartUpEnabled(true, PromiseFor(enabling, notingThread));
  // Nothing is written until the UI thread has run the rest of the call.
  EXPECT_EQ(enabling->Current().callbackCount, 0);
  EXPECT_FALSE(fs::exists(UserEntry()));
  mainView.Start();
  ASSERT_EQ(enabling->Wait(kGuard).callback, Callback::Resolve);
  EXPECT_EQ(settledOn, mainView.Id());
  EXPECT_TRUE(fs::exists(UserEntry()));

  // Disabling settles within the call, on the calling thread, and posts
  // nothing to the UI thread (which is not running here, so a post would
  // stay queued).
  MainViewThread idle;
  auto disabling = std::make_shared<PendingCall>();
  module_->setIsLaunchAtStartUpEnabled(false, PromiseFor(disabling, notingThread));
  ASSERT_EQ(disabling->Current().callback, Callback::Resolve);
  EXPECT_EQ(settledOn, std::this_thread::get_id());
  EXPECT_EQ(idle.Dispatcher().RunPending(), 0u);
  EXPECT_EQ(IsEnabled(), JSValue(false));
}

}  // namespace
}  // namespace tessarel
