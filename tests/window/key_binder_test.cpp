// KeyBinderJs as the script host sees it (registration, initializers, the
// "keyDown" event) and the key binder list that key forwarding walks.
#include "modules/key_binder_js.h"

#include <gdk/gdkkeysyms.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "app/app.h"
#include "app/key_forwarding.h"
#include "support/fake_react_host.h"
#include "support/json_text_writer.h"

namespace tessarel {
namespace {

using testing::FakeReactModuleBuilder;
using testing::JsonTextWriter;

struct EmittedEvent {
  std::string module;  // which host context emitted it
  std::string emitterName;
  std::string eventName;
  std::string argsJson;
};

class RecordingContext final : public IReactContext {
 public:
  RecordingContext(std::string module, std::vector<EmittedEvent>& log)
      : module_(std::move(module)), log_(log) {}
  void EmitJSEvent(std::string_view eventEmitterName, std::string_view eventName,
                   const JSValueArgWriter& paramsArgWriter) const override {
    JsonTextWriter writer;
    paramsArgWriter(writer);
    log_.push_back({module_, std::string(eventEmitterName), std::string(eventName), writer.Text()});
  }

 private:
  std::string module_;
  std::vector<EmittedEvent>& log_;
};

const ModuleRegistration* FindRegistration(const char* name) {
  for (const ModuleRegistration* r = ModuleRegistration::Head(); r != nullptr; r = r->Next()) {
    if (std::strcmp(r->ModuleName(), name) == 0) return r;
  }
  return nullptr;
}

class KeyBinderTest : public ::testing::Test {
 protected:
  // What the script host does for one script instance: create the module
  // through its registration record and run its initializers.
  std::shared_ptr<KeyBinderJs> Load(const std::string& label) {
    const ModuleRegistration* registration = FindRegistration("KeyBinderJs");
    EXPECT_NE(registration, nullptr);
    if (registration == nullptr) return nullptr;
    FakeReactModuleBuilder builder;
    auto module = std::static_pointer_cast<KeyBinderJs>(registration->Provider()(builder));
    EXPECT_EQ(builder.eventEmitterName, "RCTDeviceEventEmitter");
    // No methods: the event's initializer, then the module's.
    EXPECT_EQ(builder.DescribeRegistrations(),
              (std::vector<std::string>{"initializer", "initializer"}));
    builder.Initialize(std::make_shared<RecordingContext>(label, events_));
    return module;
  }

  std::vector<std::string> EmittingModules() const {
    std::vector<std::string> modules;
    for (const EmittedEvent& event : events_) modules.push_back(event.module);
    return modules;
  }

  App app_;
  std::vector<EmittedEvent> events_;
};

TEST_F(KeyBinderTest, APressReachesTheScriptAsKeyDownWithTheUsage) {
  auto binder = Load("first");
  ASSERT_EQ(app_.KeyBinders().size(), 1u);
  EXPECT_EQ(app_.KeyBinders()[0], binder.get());

  ForwardKeyPress(GDK_KEY_a, 38);
  ForwardKeyPress(GDK_KEY_Scroll_Lock, 78);  // no usage: forwarded as 0
  ASSERT_EQ(events_.size(), 2u);
  // An empty emitter name means the module's own, "RCTDeviceEventEmitter".
  EXPECT_EQ(events_[0].emitterName, "");
  EXPECT_EQ(events_[0].eventName, "keyDown");
  EXPECT_EQ(events_[0].argsJson, "[4]");
  EXPECT_EQ(events_[1].argsJson, "[0]");
}

TEST_F(KeyBinderTest, BindersHearPressesInInitialisationOrder) {
  struct Step {
    const char* desc;
    std::vector<const char*> load;     // labels of modules to load first
    std::vector<const char*> destroy;  // then these are destroyed
    std::vector<std::string> wantOrder;
  };
  const Step kSteps[] = {
      {"two, first destroyed", {"a", "b"}, {"a"}, {"b"}},
      {"three, middle destroyed", {"a", "b", "c"}, {"b"}, {"a", "c"}},
      {"three, last destroyed", {"a", "b", "c"}, {"c"}, {"a", "b"}},
      {"reload: old out, new in", {"old", "new"}, {"old"}, {"new"}},
      {"all destroyed", {"a", "b"}, {"b", "a"}, {}},
  };
  for (const Step& step : kSteps) {
    SCOPED_TRACE(step.desc);
    events_.clear();
    std::vector<std::pair<std::string, std::shared_ptr<KeyBinderJs>>> loaded;
    for (const char* label : step.load) loaded.emplace_back(label, Load(label));
    for (const char* label : step.destroy) {
      for (auto& [name, module] : loaded) {
        if (name == label) module.reset();
      }
    }
    ForwardKeyPress(GDK_KEY_Return, 36);
    EXPECT_EQ(EmittingModules(), step.wantOrder);
    EXPECT_EQ(app_.KeyBinders().size(), step.wantOrder.size());
    for (const EmittedEvent& event : events_) EXPECT_EQ(event.argsJson, "[40]");
    loaded.clear();
    EXPECT_TRUE(app_.KeyBinders().empty());
  }
}

TEST_F(KeyBinderTest, DestructionRemovesOnlyTheFirstOccurrence) {
  auto other = Load("other");
  // The list holds plain pointers, so nothing stops an instance from being
  // listed twice; its destruction takes out the first entry only.
  auto twice = std::make_unique<KeyBinderJs>();
  const auto twiceAddress = reinterpret_cast<std::uintptr_t>(static_cast<KeyDown*>(twice.get()));
  app_.KeyBinders() = {twice.get(), other.get(), twice.get()};
  twice.reset();
  ASSERT_EQ(app_.KeyBinders().size(), 2u);
  EXPECT_EQ(app_.KeyBinders()[0], other.get());
  EXPECT_EQ(reinterpret_cast<std::uintptr_t>(app_.KeyBinders()[1]), twiceAddress);
  app_.KeyBinders().pop_back();

  {
    KeyBinderJs neverListed;  // its destruction changes nothing
  }
  ASSERT_EQ(app_.KeyBinders().size(), 1u);
  EXPECT_EQ(app_.KeyBinders()[0], other.get());
}

TEST_F(KeyBinderTest, ABinderWithoutItsSenderDoesNotBreakForwarding) {
  auto binder = Load("a");
  KeyBinderJs uninitialised;  // sender never set: emitting throws bad_function_call
  app_.KeyBinders().insert(app_.KeyBinders().begin(), &uninitialised);
  EXPECT_NO_THROW(ForwardKeyPress(GDK_KEY_a, 38));
  app_.KeyBinders().erase(app_.KeyBinders().begin());
  ForwardKeyPress(GDK_KEY_a, 38);
  EXPECT_EQ(EmittingModules(), std::vector<std::string>{"a"});
}

TEST(KeyBinderWithoutAppTest, ModulesAndPressesNeedNoApp) {
  ASSERT_EQ(App::Current(), nullptr);
  auto module = std::make_shared<KeyBinderJs>();
  module->Initialize();
  EXPECT_NO_THROW(ForwardKeyPress(GDK_KEY_a, 38));
  module.reset();
}

}  // namespace
}  // namespace tessarel
