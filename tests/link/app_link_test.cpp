// The application's side of the link with real companion processes: the one
// App of this process listens on a runtime directory of its own, and the
// device module is registered through a stand-in script host.
//
// The App lives for the whole program (App::Current is process-wide), so the
// tests are written to hold whatever channel came before them; the first
// test needs the App to have none yet, and the exit test must come last.
// ctest runs every test in a process of its own anyway.
#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <string>
#include <vector>

#include "app/app.h"
#include "host/react_module.h"
#include "link/link_test_support.h"
#include "link/subprocess.h"
#include "support/fake_channel.h"
#include "support/fake_react_host.h"
#include "values/js_value_tree.h"

namespace tessarel::testing {
namespace {

class AppEnvironment : public ::testing::Environment {
 public:
  void SetUp() override {
    char pattern[] = "/tmp/tessarel-app-link-test-XXXXXX";
    ASSERT_NE(mkdtemp(pattern), nullptr);
    runtimeDirectory = pattern;
    setenv("XDG_RUNTIME_DIR", pattern, 1);
    app = std::make_unique<App>();
    app->StartLink();
  }
  void TearDown() override {
    app.reset();
    std::error_code ignored;
    std::filesystem::remove_all(runtimeDirectory, ignored);
  }

  std::filesystem::path runtimeDirectory;
  std::unique_ptr<App> app;
};

AppEnvironment* const environment =
    static_cast<AppEnvironment*>(::testing::AddGlobalTestEnvironment(new AppEnvironment));

App& TheApp() {
  return *environment->app;
}

std::unique_ptr<Subprocess> StartCompanion() {
  auto companion = std::make_unique<Subprocess>(std::vector<std::string>{
      TestCompanionPath(), "--socket",
      (environment->runtimeDirectory / "tessarel" / "app-service").string()});
  EXPECT_TRUE(companion->Started());
  return companion;
}

// Counts ServiceConnected raises and keeps the channel each one found.
class ConnectionWatch {
 public:
  ConnectionWatch() {
    token_ = TheApp().ServiceConnected.Add([this](const App& sender) {
      std::lock_guard lock(mutex_);
      EXPECT_EQ(&sender, &TheApp());
      seen_.push_back(TheApp().GetConnectionForSubscriber().value_or(AppServiceConnection()));
      changed_.notify_all();
    });
  }
  ~ConnectionWatch() { TheApp().ServiceConnected.Remove(token_); }

  AppServiceConnection WaitFor(std::size_t raises) {
    std::unique_lock lock(mutex_);
    changed_.wait_for(lock, std::chrono::seconds(10), [&] { return seen_.size() >= raises; });
    return seen_.size() >= raises ? seen_[raises - 1] : AppServiceConnection();
  }
  std::size_t Raises() {
    std::lock_guard lock(mutex_);
    return seen_.size();
  }

 private:
  event_token token_;
  std::mutex mutex_;
  std::condition_variable changed_;
  std::vector<AppServiceConnection> seen_;
};

const ModuleRegistration& TessarelJsRegistration() {
  for (const ModuleRegistration* entry = ModuleRegistration::Head(); entry; entry = entry->Next()) {
    if (std::string_view(entry->ModuleName()) == "TessarelJs") return *entry;
  }
  throw std::logic_error("TessarelJs is not registered");
}

// The device module as the script host would set it up.
struct ScriptInstance {
  ScriptInstance() {
    module = TessarelJsRegistration().Provider()(builder);
    builder.Initialize(context);
    initialEvents = context->Events().size();
    EXPECT_EQ(initialEvents, TheApp().GetConnectionForSubscriber() ? 1u : 0u);
  }
  // The events since the module started, as "name" or "name arg", waiting
  // for `atLeast` of them. A module that starts while the app holds a
  // channel (from an earlier test) emits "keyboardsUpdated" at once; that
  // first event is not counted.
  std::vector<std::string> Events(std::size_t atLeast = 0) const {
    std::vector<std::string> names;
    const auto events = context->WaitForEvents(atLeast + initialEvents, std::chrono::seconds(5));
    for (std::size_t i = initialEvents; i < events.size(); ++i) {
      const auto& event = events[i];
      std::string text = event.eventName;
      if (const JSValueArray* args = event.args.TryGetArray(); args && !args->empty()) {
        text += " '" + args->front().AsString() + "'";
      }
      names.push_back(text);
    }
    return names;
  }

  FakeReactModuleBuilder builder;
  std::shared_ptr<FakeReactContext> context = std::make_shared<FakeReactContext>();
  std::shared_ptr<void> module;
  std::size_t initialEvents = 0;
};

TEST(AppLinkTest, BeforeTheFirstChannelRequestsAreRejected) {
  ASSERT_FALSE(TheApp().GetConnectionForSubscriber().has_value());
  auto writer = std::make_shared<JSValueTreeWriter>();
  std::atomic<int> rejections{0};
  {
    ReactPromise<JSValue> promise(
        writer, [](IJSValueWriter&) { ADD_FAILURE() << "resolved"; },
        [&](IJSValueWriter&) { ++rejections; });
    EXPECT_FALSE(TheApp().GetServiceConnection(promise).has_value());
  }
  EXPECT_EQ(rejections.load(), 1);
  const JSValue error = writer->TakeValue();
  ASSERT_NE(error.TryGetArray(), nullptr);
  EXPECT_EQ(error.TryGetArray()->front().TryGetObject()->at("message").AsString(),
            "Service connection isn't running yet");

  // A module that starts before any companion waits without emitting.
  ScriptInstance script;
  EXPECT_TRUE(script.Events().empty());
}

TEST(AppLinkTest, NotificationsBecomeScriptEventsAndAreAllAnswered) {
  ConnectionWatch watch;
  ScriptInstance script;
  auto companion = StartCompanion();
  ASSERT_TRUE(companion->WaitForLine("connected 1"));
  const AppServiceConnection channel = watch.WaitFor(1);
  ASSERT_TRUE(channel);
  EXPECT_EQ(TheApp().GetConnectionForSubscriber(), channel);
  // The new channel makes the script fetch the keyboards.
  EXPECT_EQ(script.Events(1), std::vector<std::string>{"keyboardsUpdated"});

  struct Row {
    const char* message;
    const char* event;  // nullptr: none
  };
  const Row rows[] = {
      {"type=s:keyboardsUpdated extra=u:9", "keyboardsUpdated"},
      {"type=s:isFlashingUpdated", "isFlashingUpdated"},
      {"type=s:resetFirmwareStateUpdated", "resetFirmwareStateUpdated"},
      {"type=s:recoverDeviceStateUpdated", "recoverDeviceStateUpdated"},
      {"type=s:flashingStateUpdated", "flashingStateUpdated"},
      {"type=s:keyboardVersionNewer name=s:Tessarel%20Pad", "keyboardVersionNewer 'Tessarel Pad'"},
      {"type=s:keyboardVersionNewer", "keyboardVersionNewer ''"},
      {"type=s:keyboardVersionNewer name=u:5", "keyboardVersionNewer ''"},
      {"type=s:KeyboardsUpdated", nullptr},
      {"type=s:keyboardsUpdated%20", nullptr},
      {"type=u:1", nullptr},
      {"name=s:no-type", nullptr},
      {"type=s:Exit", nullptr},
      {"type=s:exit%20", nullptr},
  };
  std::vector<std::string> expected = {"keyboardsUpdated"};
  for (const Row& row : rows) {
    SCOPED_TRACE(row.message);
    companion->WriteLine(std::string("send ") + row.message);
    // Every notification gets the empty answer, whatever it says.
    EXPECT_EQ(companion->ReadLine(), "reply 0");
    if (row.event) expected.push_back(row.event);
    EXPECT_EQ(script.Events(expected.size()), expected);
  }
  EXPECT_FALSE(TheApp().ExitRequested());
}

TEST(AppLinkTest, ASecondConnectionReplacesTheFirst) {
  ConnectionWatch watch;
  ScriptInstance script;
  auto first = StartCompanion();
  ASSERT_TRUE(first->WaitForLine("connected 1"));
  const AppServiceConnection firstChannel = watch.WaitFor(1);
  auto second = StartCompanion();
  ASSERT_TRUE(second->WaitForLine("connected 1"));
  const AppServiceConnection secondChannel = watch.WaitFor(2);
  ASSERT_TRUE(secondChannel);
  EXPECT_NE(firstChannel, secondChannel);
  EXPECT_EQ(TheApp().GetConnectionForSubscriber(), secondChannel);
  EXPECT_EQ(script.Events(2), (std::vector<std::string>{"keyboardsUpdated", "keyboardsUpdated"}));

  // The old activation was released, not completed: the first companion is
  // still connected, and the module's handler there still answers and emits.
  first->WriteLine("send type=s:flashingStateUpdated");
  EXPECT_EQ(first->ReadLine(), "reply 0");
  // The app's own handler has moved: "exit" on the old channel does nothing.
  first->WriteLine("send type=s:exit");
  EXPECT_EQ(first->ReadLine(), "reply 0");
  EXPECT_FALSE(TheApp().ExitRequested());

  second->WriteLine("send type=s:isFlashingUpdated");
  EXPECT_EQ(second->ReadLine(), "reply 0");
  // One module handler per channel: each notification is one event.
  EXPECT_EQ(script.Events(4),
            (std::vector<std::string>{"keyboardsUpdated", "keyboardsUpdated",
                                      "flashingStateUpdated", "isFlashingUpdated"}));
}

TEST(AppLinkTest, AModuleGoneWithItsScriptIsNeitherCalledNorKept) {
  auto script = std::make_unique<ScriptInstance>();
  // Subscribed after the module, so it is called after the module's handler:
  // when it has seen a raise, that raise has dealt with the module's handler.
  ConnectionWatch watch;
  auto companion = StartCompanion();
  ASSERT_TRUE(companion->WaitForLine("connected 1"));
  watch.WaitFor(1);
  std::shared_ptr<FakeReactContext> oldContext = script->context;
  const std::size_t eventsBefore = oldContext->Events().size();
  const std::size_t handlersBefore = TheApp().ServiceConnected.Snapshot().size();
  script.reset();  // a reload destroys the module

  companion->WriteLine("send type=s:keyboardsUpdated");
  EXPECT_EQ(companion->ReadLine(), "reply 0");
  EXPECT_EQ(oldContext->Events().size(), eventsBefore);

  // Its ServiceConnected handler reports its script gone and is dropped.
  auto next = StartCompanion();
  ASSERT_TRUE(next->WaitForLine("connected 1"));
  watch.WaitFor(2);
  EXPECT_EQ(TheApp().ServiceConnected.Snapshot().size(), handlersBefore - 1);
  EXPECT_EQ(oldContext->Events().size(), eventsBefore);
}

TEST(AppLinkTest, HandlersThatAreGoneAreRemovedAndTheOthersStillRun) {
  struct Row {
    const char* desc;
    std::function<void()> fail;
    bool removed;
  };
  const Row rows[] = {
      {"disconnected", [] { throw hresult_error(error_codes::kDisconnected); }, true},
      {"server unavailable", [] { throw hresult_error(error_codes::kRpcServerUnavailable); }, true},
      {"script context gone", [] { throw hresult_error(error_codes::kScriptContextGone); }, true},
      {"another platform error", [] { throw hresult_error(error_codes::kFail); }, false},
      {"not a platform error", [] { throw std::runtime_error("boom"); }, false},
  };
  std::vector<int> calls(std::size(rows), 0);
  std::vector<event_token> tokens;
  for (std::size_t i = 0; i < std::size(rows); ++i) {
    tokens.push_back(TheApp().ServiceConnected.Add([&, i](const App&) {
      ++calls[i];
      rows[i].fail();
    }));
  }
  ActivateWithChannel(TheApp(), std::make_shared<FakeChannel>());
  ActivateWithChannel(TheApp(), std::make_shared<FakeChannel>());
  const auto remaining = TheApp().ServiceConnected.Snapshot();
  for (std::size_t i = 0; i < std::size(rows); ++i) {
    SCOPED_TRACE(rows[i].desc);
    const bool present = std::any_of(remaining.begin(), remaining.end(),
                                     [&](const auto& entry) { return entry.first == tokens[i]; });
    EXPECT_EQ(present, !rows[i].removed);
    EXPECT_EQ(calls[i], rows[i].removed ? 1 : 2);
    TheApp().ServiceConnected.Remove(tokens[i]);
  }
}

TEST(AppLinkTest, AnActivationOfAnotherKindLeavesTheChannelAlone) {
  auto channel = std::make_shared<FakeChannel>();
  ActivateWithChannel(TheApp(), channel);
  const std::optional<AppServiceConnection> before = TheApp().GetConnectionForSubscriber();
  struct NoTrigger : IBackgroundTaskInstance {
    std::shared_ptr<BackgroundTaskDeferral> GetDeferral() override { return nullptr; }
    std::shared_ptr<const AppServiceTriggerDetails> TriggerDetails() override { return nullptr; }
  };
  try {
    TheApp().OnBackgroundActivated(BackgroundActivatedEventArgs{std::make_shared<NoTrigger>()});
    FAIL() << "accepted";
  } catch (const hresult_error& error) {
    EXPECT_EQ(error.code(), error_codes::kNoInterface);
  }
  EXPECT_EQ(TheApp().GetConnectionForSubscriber(), before);
  // The app's handler is still on the channel: "exit" there would be obeyed,
  // which the last test shows; here it must still be registered exactly once.
  EXPECT_EQ(channel->RequestReceived().Snapshot().size(), 1u);
}

// Last: "exit" ends the application for good.
TEST(AppLinkTest, ExitIsObeyedOnlyWhenSpelledExactly) {
  ConnectionWatch watch;
  auto companion = StartCompanion();
  ASSERT_TRUE(companion->WaitForLine("connected 1"));
  watch.WaitFor(1);
  for (const char* nearly : {"type=s:Exit", "type=s:EXIT", "type=s:exit%20", "type=s:%20exit",
                             "type=s:exi", "name=s:exit", "type=u:0"}) {
    SCOPED_TRACE(nearly);
    companion->WriteLine(std::string("send ") + nearly);
    EXPECT_EQ(companion->ReadLine(), "reply 0");
    EXPECT_FALSE(TheApp().ExitRequested());
  }
  companion->WriteLine("send type=s:exit");
  EXPECT_EQ(companion->ReadLine(), "reply 0");
  EXPECT_TRUE(TheApp().ExitRequested());
}

}  // namespace
}  // namespace tessarel::testing
