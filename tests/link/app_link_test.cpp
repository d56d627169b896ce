// The application's side of the link with real companion processes: the one
// App of this process listens on a runtime directory of its own, and the
// device module is registered through a stand-in script host.
//
// App::Current is process-wide, so the App lives for the whole program and
// each test holds whatever channel came before it; the first test needs the
// App to have none yet, and the exit test must come last.
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "app/app.h"
#include "host/react_module.h"
#include "link/link_test_support.h"
#include "link/subprocess.h"
#include "support/device_test_support.h"
#include "support/fake_channel.h"
#include "support/fake_react_host.h"

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
    std::filesystem::remove_all(runtimeDirectory);
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
  auto companion = std::make_unique<Subprocess>(
      std::vector<std::string>{TestCompanionPath(), "--socket",
                               (environment->runtimeDirectory / "tessarel/app-service").string()});
  EXPECT_TRUE(companion->WaitForLine("connected 1"));
  return companion;
}

// The device module as the script host would set it up.
struct ScriptInstance {
  ScriptInstance() {
    for (const ModuleRegistration* entry = ModuleRegistration::Head(); entry;
         entry = entry->Next()) {
      if (std::string_view(entry->ModuleName()) == "TessarelJs")
        module = entry->Provider()(builder);
    }
    builder.Initialize(context);
    // A module that starts while the app holds a channel (from an earlier
    // test) emits "keyboardsUpdated" at once; that event is not counted.
    initialEvents = context->Events().size();
  }
  // The events since the module started, as "name" or "name 'arg'", once
  // there are `atLeast` of them or the time is up.
  std::vector<std::string> Events(std::size_t atLeast = 0) const {
    std::vector<std::string> names;
    const auto events = context->WaitForEvents(atLeast + initialEvents, std::chrono::seconds(5));
    for (std::size_t i = initialEvents; i < events.size(); ++i) {
      names.push_back(events[i].eventName);
      if (const JSValueArray* args = events[i].args.TryGetArray(); args && !args->empty())
        names.back() += " '" + args->front().AsString() + "'";
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
  PromiseProbe probe;
  EXPECT_FALSE(TheApp().GetServiceConnection(probe.Promise()).has_value());
  EXPECT_EQ(probe.SettleCount(), 1);
  EXPECT_EQ(probe.Text(), Rejected("Service connection isn't running yet"));
  // A module that starts before any companion waits without emitting.
  ScriptInstance script;
  EXPECT_EQ(script.initialEvents, 0u);
}

TEST(AppLinkTest, NotificationsBecomeScriptEventsAndAreAllAnswered) {
  ScriptInstance script;
  auto companion = StartCompanion();
  // The new channel makes the script fetch the keyboards.
  std::vector<std::string> expected = {"keyboardsUpdated"};
  EXPECT_EQ(script.Events(1), expected);

  const std::pair<const char*, const char*> rows[] = {
      {"type=s:keyboardsUpdated extra=u:9", "keyboardsUpdated"},
      {"type=s:isFlashingUpdated", "isFlashingUpdated"},
      {"type=s:resetFirmwareStateUpdated", "resetFirmwareStateUpdated"},
      {"type=s:recoverDeviceStateUpdated", "recoverDeviceStateUpdated"},
      {"type=s:flashingStateUpdated", "flashingStateUpdated"},
      {"type=s:keyboardVersionNewer name=s:Tessarel%20Pad", "keyboardVersionNewer 'Tessarel Pad'"},
      {"type=s:keyboardVersionNewer name=u:5", "keyboardVersionNewer ''"},
      {"type=s:KeyboardsUpdated", nullptr},
      {"type=u:1", nullptr},
      {"name=s:no-type", nullptr},
  };
  for (const auto& [message, event] : rows) {
    SCOPED_TRACE(message);
    companion->WriteLine(std::string("send ") + message);
    EXPECT_EQ(companion->ReadLine(), "reply 0");  // the empty answer, whatever it says
    if (event) expected.push_back(event);
    EXPECT_EQ(script.Events(expected.size()), expected);
  }
}

// Each channel raises ServiceConnected, and the module's handler there emits
// "keyboardsUpdated" again.
TEST(AppLinkTest, ASecondConnectionReplacesTheFirst) {
  ScriptInstance script;
  auto first = StartCompanion();
  ASSERT_EQ(script.Events(1).size(), 1u);
  const std::optional<AppServiceConnection> firstChannel = TheApp().GetConnectionForSubscriber();
  auto second = StartCompanion();
  ASSERT_EQ(script.Events(2).size(), 2u);
  const std::optional<AppServiceConnection> secondChannel = TheApp().GetConnectionForSubscriber();
  ASSERT_TRUE(firstChannel && secondChannel);
  EXPECT_NE(*firstChannel, *secondChannel);

  // The old activation was released, not completed: the first companion is
  // still connected and the module there still answers and emits, but the
  // app's own handler has moved: "exit" on the old channel does nothing.
  first->WriteLine("send type=s:flashingStateUpdated");
  EXPECT_EQ(first->ReadLine(), "reply 0");
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

// Each row's handler throws; one that is gone runs on the first raise only.
TEST(AppLinkTest, HandlersThatAreGoneAreRemovedAndTheOthersStillRun) {
  const std::pair<std::function<void()>, int> rows[] = {
      {[] { throw hresult_error(error_codes::kDisconnected); }, 1},
      {[] { throw hresult_error(error_codes::kRpcServerUnavailable); }, 1},
      {[] { throw hresult_error(error_codes::kScriptContextGone); }, 1},
      {[] { throw hresult_error(error_codes::kFail); }, 2},
      {[] { throw std::runtime_error("boom"); }, 2},
  };
  std::vector<int> calls(std::size(rows), 0);
  std::vector<event_token> tokens;
  for (std::size_t i = 0; i < std::size(rows); ++i) {
    tokens.push_back(TheApp().ServiceConnected.Add([&, i](const App&) {
      ++calls[i];
      rows[i].first();
    }));
  }
  ActivateWithChannel(TheApp(), std::make_shared<FakeChannel>());
  ActivateWithChannel(TheApp(), std::make_shared<FakeChannel>());
  for (std::size_t i = 0; i < std::size(rows); ++i) {
    EXPECT_EQ(calls[i], rows[i].second) << "row " << i;
    TheApp().ServiceConnected.Remove(tokens[i]);
  }
}

// Last: "exit" ends the application for good.
TEST(AppLinkTest, ExitIsObeyedOnlyWhenSpelledExactly) {
  // The companion announces itself before it says "connected", so its
  // channel is the app's before any of these arrive.
  auto companion = StartCompanion();
  for (const char* nearly : {"type=s:Exit", "type=s:exit%20", "name=s:exit", "type=u:0"}) {
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
