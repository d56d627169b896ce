// KeyBinderJs as the script host sees it (registration, initializers, the
// "keyDown" event) and the key binder list that key forwarding walks.
#include "modules/key_binder_js.h"

#include <gdk/gdkkeysyms.h>
#include <gtest/gtest.h>

#include <cstring>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "app/app.h"
#include "app/key_forwarding.h"
#include "support/fake_react_host.h"
#include "support/to_json.h"

namespace tessarel {
namespace {

// Logs "<module label> <emitter>/<event> <args>" for every event.
class RecordingContext final : public IReactContext {
 public:
  RecordingContext(std::string label, std::vector<std::string>& log)
      : label_(std::move(label)), log_(log) {}
  void EmitJSEvent(std::string_view emitter, std::string_view event,
                   const JSValueArgWriter& args) const override {
    JsonValueWriter writer;
    args(writer);
    log_.push_back(label_ + " " + std::string(emitter) + "/" + std::string(event) + " " +
                   writer.TakeJson());
  }

 private:
  std::string label_;
  std::vector<std::string>& log_;
};

class KeyBinderTest : public ::testing::Test {
 protected:
  // What the script host does for one script instance: create the module
  // through its registration record and run its initializers.
  std::shared_ptr<KeyBinderJs> Load(const std::string& label) {
    const ModuleRegistration* registration = ModuleRegistration::Head();
    while (registration != nullptr && std::strcmp(registration->ModuleName(), "KeyBinderJs") != 0) {
      registration = registration->Next();
    }
    EXPECT_NE(registration, nullptr);
    if (registration == nullptr) return nullptr;
    testing::FakeReactModuleBuilder builder;
    auto module = std::static_pointer_cast<KeyBinderJs>(registration->Provider()(builder));
    EXPECT_EQ(builder.eventEmitterName, "RCTDeviceEventEmitter");
    // No methods: the event's initializer, then the module's.
    EXPECT_EQ(builder.DescribeRegistrations(),
              (std::vector<std::string>{"initializer", "initializer"}));
    builder.Initialize(std::make_shared<RecordingContext>(label, events_));
    return module;
  }

  App app_;
  std::vector<std::string> events_;
};

TEST_F(KeyBinderTest, APressReachesTheScriptAsKeyDownWithTheUsage) {
  auto binder = Load("first");
  EXPECT_EQ(app_.KeyBinders(), std::vector<KeyDown*>{binder.get()});
  ForwardKeyPress(GDK_KEY_a, 38);
  ForwardKeyPress(GDK_KEY_Scroll_Lock, 78);  // no usage: forwarded as 0
  // An empty emitter name means the module's own, "RCTDeviceEventEmitter".
  EXPECT_EQ(events_, (std::vector<std::string>{"first /keyDown [4]", "first /keyDown [0]"}));
}

TEST_F(KeyBinderTest, BindersHearPressesInInitialisationOrderUntilDestroyed) {
  struct Row {
    std::vector<std::string> load;     // modules loaded in this order
    std::vector<std::string> destroy;  // then these are destroyed
    std::vector<std::string> want;     // who hears the next press
  };
  const Row rows[] = {
      {{"old", "new"}, {"old"}, {"new /keyDown [40]"}},
      {{"a", "b", "c"}, {"b"}, {"a /keyDown [40]", "c /keyDown [40]"}},
      {{"a", "b"}, {"b", "a"}, {}},
  };
  for (const Row& row : rows) {
    events_.clear();
    std::map<std::string, std::shared_ptr<KeyBinderJs>> loaded;
    for (const std::string& label : row.load) loaded[label] = Load(label);
    for (const std::string& label : row.destroy) loaded.erase(label);
    ForwardKeyPress(GDK_KEY_Return, 36);
    EXPECT_EQ(events_, row.want);
    loaded.clear();
    EXPECT_TRUE(app_.KeyBinders().empty());
  }
}

// A binder whose sender was never set throws; forwarding survives it. Its
// destruction takes it out of the list; that of one never listed changes
// nothing.
TEST_F(KeyBinderTest, ABinderWithoutItsSenderDoesNotBreakForwarding) {
  auto listed = Load("a");
  {
    KeyBinderJs uninitialised;
    app_.KeyBinders().insert(app_.KeyBinders().begin(), &uninitialised);
    EXPECT_NO_THROW(ForwardKeyPress(GDK_KEY_a, 38));
  }
  EXPECT_EQ(app_.KeyBinders(), std::vector<KeyDown*>{listed.get()});
  { KeyBinderJs neverListed; }
  EXPECT_EQ(app_.KeyBinders(), std::vector<KeyDown*>{listed.get()});
}

TEST(KeyBinderWithoutAppTest, ModulesAndPressesNeedNoApp) {
  ASSERT_EQ(App::Current(), nullptr);
  KeyBinderJs module;
  module.Initialize();
  EXPECT_NO_THROW(ForwardKeyPress(GDK_KEY_a, 38));
}

}  // namespace
}  // namespace tessarel
