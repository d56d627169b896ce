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
    setenv("DISPLAY", server->Display().c_str(), 1);
    setenv("GDK_BACKEND", "x11", 1);
    setenv("GTK_A11Y", "none", 1);
    setenv("GTK_USE_PORTAL", "0", 1);
    unsetenv("DBUS_SESSION_BUS_ADDRESS");
    for (const std::string& entry : session->Environment()) {
      const auto equals = entry.find('=');
      setenv(entry.substr(0, equals).c_str(), entry.substr(equals + 1).c_str(), 1);
    }
    gtk_init();
    return std::make_pair(std::move(server), std::move(session));
  }();
  (void)display;
}

// The test's module: "wait" keeps its promise for the test to settle,
// "report" records what the page sends.
struct Probe {
  std::mutex mutex;
  std::vector<ReactPromise<JSValue>> waiting;
  std::vector<JSValue> reports;
  std::shared_ptr<IReactContext> context;
};

class ProbeProvider final : public IReactPackageProvider {
 public:
  explicit ProbeProvider(std::shared_ptr<Probe> probe) : probe_(std::move(probe)) {}
  void CreatePackage(IReactPackageBuilder& packages) override {
    packages.AddModule("Probe", [probe = probe_](IReactModuleBuilder& builder) {
      builder.AddInitializer([probe](const std::shared_ptr<IReactContext>& context) {
        std::lock_guard lock(probe->mutex);
        probe->context = context;
      });
      builder.AddMethod("wait", MethodReturnType::Promise,
                        [probe](IJSValueReader&, std::shared_ptr<IJSValueWriter> writer,
                                MethodResultCallback resolve, MethodResultCallback reject) {
                          std::lock_guard lock(probe->mutex);
                          probe->waiting.emplace_back(std::move(writer), std::move(resolve),
                                                      std::move(reject));
                        });
      builder.AddMethod("report", MethodReturnType::Promise,
                        [probe](IJSValueReader& args, std::shared_ptr<IJSValueWriter> writer,
                                MethodResultCallback resolve, MethodResultCallback reject) {
                          JSValue value;
                          if (args.GetNextArrayItem()) value = ReadValue(args);
                          {
                            std::lock_guard lock(probe->mutex);
                            probe->reports.push_back(std::move(value));
                          }
                          ReactPromise<JSValue>(std::move(writer), std::move(resolve),
                                                std::move(reject))
                              .Resolve(JSValue());
                        });
      return probe;
    });
  }

 private:
  std::shared_ptr<Probe> probe_;
};

class RootViewTest : public ::testing::Test {
 protected:
  void SetUp() override {
    EnsureDisplay();
    CoreApplication::SetMainViewDispatcher(ui_);
    host_.PackageProviders().push_back(std::make_shared<ProbeProvider>(probe_));
    host_.InstanceSettings().UseDeveloperSupport = false;
    host_.Overrides().bundleFile = TESSAREL_HOST_TEST_DIRECTORY "/root_view_bundle.js";
    window_ = GTK_WINDOW(gtk_window_new());
    g_object_add_weak_pointer(G_OBJECT(window_), reinterpret_cast<gpointer*>(&window_));
    view_ = TESSAREL_REACT_ROOT_VIEW(g_object_new(TESSAREL_TYPE_REACT_ROOT_VIEW, nullptr));
    gtk_window_set_child(window_, GTK_WIDGET(view_));
    ReactRootViewSetReactNativeHost(view_, &host_);
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

  std::size_t Waiting() {
    std::lock_guard lock(probe_->mutex);
    return probe_->waiting.size();
  }
  std::shared_ptr<IReactContext> Context() {
    std::lock_guard lock(probe_->mutex);
    return probe_->context;
  }
  std::vector<JSValue> Reports() {
    std::lock_guard lock(probe_->mutex);
    return probe_->reports;
  }

  ScopedThreadDispatcher installed_{MakeMainContextDispatcher(g_main_context_default())};
  std::shared_ptr<Dispatcher> ui_ = CapturedContext::Current().Get();
  std::shared_ptr<Probe> probe_ = std::make_shared<Probe>();
  ReactNativeHost host_;
  GtkWindow* window_ = nullptr;
  TessarelReactRootView* view_ = nullptr;
};

TEST_F(RootViewTest, RepliesAndEventsFromAnotherThreadReachThePageInOrder) {
  ASSERT_TRUE(RunLoopUntil([&] { return Waiting() == 1; }));
  std::thread([&] {
    std::lock_guard lock(probe_->mutex);
    probe_->waiting.front().Resolve(JSValue(42));
    probe_->waiting.clear();
  }).join();
  ASSERT_TRUE(RunLoopUntil([&] { return Reports().size() == 1; }));
  std::vector<JSValue> want = {JSValue::Object({{"resolved", 42.0}})};

  std::thread([context = Context()] {
    for (int tick = 1; tick <= 5; ++tick) {
      context->EmitJSEvent("", "tick", [tick](IJSValueWriter& writer) {
        writer.WriteArrayBegin();
        writer.WriteInt64(tick);
        writer.WriteArrayEnd();
      });
    }
  }).join();
  for (int tick = 1; tick <= 5; ++tick) want.push_back(JSValue::Object({{"tick", tick * 1.0}}));
  ASSERT_TRUE(RunLoopUntil([&] { return Reports().size() == want.size(); }));
  EXPECT_EQ(Reports(), want);
}

TEST_F(RootViewTest, AReplyOrEventForAViewThatIsGoneIsDropped) {
  ASSERT_TRUE(RunLoopUntil([&] { return Waiting() == 1; }));
  gtk_window_destroy(window_);
  RunLoopFor(std::chrono::milliseconds(200));
  ASSERT_EQ(window_, nullptr);

  std::thread([&, context = Context()] {
    std::vector<ReactPromise<JSValue>> waiting;
    {
      std::lock_guard lock(probe_->mutex);
      waiting.swap(probe_->waiting);
    }
    waiting.front().Resolve(JSValue("too late"));
    context->EmitJSEvent("", "tick", nullptr);
  }).join();
  RunLoopFor(std::chrono::milliseconds(300));
  EXPECT_TRUE(Reports().empty());
  // The host and its instance live on without the view.
  ASSERT_TRUE(host_.Instance());
  EXPECT_NE(host_.Instance()->FindModule("Probe"), nullptr);
}

}  // namespace
}  // namespace tessarel
