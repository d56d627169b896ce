// The root view in this process, with a module of the test's own: replies
// settled on another thread reach the page, events from another thread
// arrive in order, and a reply or event for a view that is gone is dropped
// without touching it (run under ASan to see a use after free).
#include "host/react_root_view.h"

#include <gtest/gtest.h>
#include <webkit/webkit.h>

#include <chrono>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

#include "host/json_value_io.h"
#include "host/react_native_host.h"
#include "host_process.h"
#include "platform/dispatcher.h"
#include "platform/main_context_dispatcher.h"
#include "probe_provider.h"
#include "values/js_value.h"
#include "values/react_promise.h"

namespace tessarel {
namespace {

using testing::Session;
using testing::XServer;

// GTK on an X server of the process's own, made once.
void EnsureDisplay() {
  static const auto display = [] {
    auto server = std::make_unique<XServer>();
    auto session = std::make_unique<Session>();
    testing::ApplyEnvironment(session->Environment(*server));
    gtk_init();
    return std::make_pair(std::move(server), std::move(session));
  }();
  (void)display;
}

// What the page did with the test's module: the argument of each call
// (null without one) and its promise, kept for the test to settle.
struct Probe {
  std::mutex mutex;
  std::vector<JSValue> calls;
  std::vector<testing::Promise> promises;
  std::shared_ptr<IReactContext> context;
};

class RootViewTest : public ::testing::Test {
 protected:
  void SetUp() override {
    EnsureDisplay();
    CoreApplication::SetMainViewDispatcher(ui_);
    host_.PackageProviders().push_back(std::make_shared<testing::ProbeProvider>(
        testing::ProbeMethods{{"call",
                               [probe = probe_](IJSValueReader& args, testing::Promise p) {
                                 std::lock_guard lock(probe->mutex);
                                 probe->calls.push_back(args.GetNextArrayItem() ? ReadValue(args)
                                                                                : JSValue());
                                 probe->promises.push_back(std::move(p));
                               }}},
        [probe = probe_](const std::shared_ptr<IReactContext>& context) {
          std::lock_guard lock(probe->mutex);
          probe->context = context;
        }));
    host_.InstanceSettings().UseDeveloperSupport = false;
    host_.Overrides().bundleFile = TESSAREL_HOST_TEST_DIRECTORY "/root_view_bundle.js";
    window_ = GTK_WINDOW(gtk_window_new());
    g_object_add_weak_pointer(G_OBJECT(window_), reinterpret_cast<gpointer*>(&window_));
    auto* view = TESSAREL_REACT_ROOT_VIEW(g_object_new(TESSAREL_TYPE_REACT_ROOT_VIEW, nullptr));
    gtk_window_set_child(window_, GTK_WIDGET(view));
    ReactRootViewSetReactNativeHost(view, &host_);
    gtk_window_present(window_);
  }

  void TearDown() override {
    if (window_ != nullptr) gtk_window_destroy(window_);
    RunLoopFor(std::chrono::milliseconds(100));
    CoreApplication::SetMainViewDispatcher(nullptr);
  }

  // Runs the loop until `done` or the timeout (which only keeps a broken
  // test from hanging).
  template <class Done>
  bool RunLoopUntil(Done done, std::chrono::seconds timeout = std::chrono::seconds(30)) {
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    while (!done()) {
      if (std::chrono::steady_clock::now() > deadline) return false;
      g_main_context_iteration(nullptr, FALSE);
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
  }
  void RunLoopFor(std::chrono::milliseconds time) {
    const auto end = std::chrono::steady_clock::now() + time;
    RunLoopUntil([&] { return std::chrono::steady_clock::now() > end; });
  }

  std::vector<JSValue> Calls() {
    std::lock_guard lock(probe_->mutex);
    return probe_->calls;
  }

  // Runs `body` on another thread, with the probe locked.
  template <class Body>
  void Elsewhere(Body body) {
    std::thread([&] {
      std::lock_guard lock(probe_->mutex);
      body(*probe_);
    }).join();
  }
  static void Tick(const Probe& probe, int tick) {
    probe.context->EmitJSEvent(
        "", "tick", [tick](IJSValueWriter& writer) { WriteValue(writer, JSValueArray{tick}); });
  }

  ScopedThreadDispatcher installed_{MakeMainContextDispatcher(g_main_context_default())};
  std::shared_ptr<Dispatcher> ui_ = CapturedContext::Current().Get();
  std::shared_ptr<Probe> probe_ = std::make_shared<Probe>();
  ReactNativeHost host_;
  GtkWindow* window_ = nullptr;
};

TEST_F(RootViewTest, RepliesAndEventsFromAnotherThreadReachThePageInOrderUntilTheViewGoes) {
  ASSERT_TRUE(RunLoopUntil([&] { return Calls().size() == 1; }));
  Elsewhere([](Probe& probe) { probe.promises.front().Resolve(JSValue(42)); });
  ASSERT_TRUE(RunLoopUntil([&] { return Calls().size() == 2; }));
  Elsewhere([](Probe& probe) {
    for (int tick = 1; tick <= 5; ++tick) Tick(probe, tick);
  });
  std::vector<JSValue> want = {JSValue(), JSValue::Object({{"resolved", 42.0}})};
  for (int tick = 1; tick <= 5; ++tick) want.push_back(JSValue::Object({{"tick", tick * 1.0}}));
  ASSERT_TRUE(RunLoopUntil([&] { return Calls().size() == want.size(); }));
  EXPECT_EQ(Calls(), want);

  // The page's later calls are still waiting when the view goes.
  gtk_window_destroy(window_);
  RunLoopFor(std::chrono::milliseconds(200));
  ASSERT_EQ(window_, nullptr);
  Elsewhere([](Probe& probe) {
    probe.promises.back().Resolve(JSValue("too late"));
    Tick(probe, 6);
  });
  RunLoopFor(std::chrono::milliseconds(300));
  EXPECT_EQ(Calls(), want);
  // The host and its instance live on without the view.
  ASSERT_TRUE(host_.Instance());
  EXPECT_NE(host_.Instance()->FindModule("Probe"), nullptr);
}

}  // namespace
}  // namespace tessarel
