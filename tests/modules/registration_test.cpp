#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "host/react_module.h"
#include "modules/method_binding.h"
#include "modules/tessarel_js.h"
#include "support/fake_react_host.h"
#include "values/js_value_tree.h"

namespace tessarel {
namespace {

using testing::FakeReactContext;
using testing::FakeReactModuleBuilder;
using testing::MethodResult;

JSValue Items(int count) {
  JSValueArray items;
  for (int i = 0; i < count; ++i) items.push_back(JSValue(i));
  return JSValue(std::move(items));
}

const ModuleRegistration* FindRegistration(const char* name) {
  for (const ModuleRegistration* it = ModuleRegistration::Head(); it; it = it->Next())
    if (std::strcmp(it->ModuleName(), name) == 0) return it;
  return nullptr;
}

// A reader that counts how far the binding walked the argument array.
class CountingReader : public IJSValueReader {
 public:
  explicit CountingReader(JSValue value) : inner_(std::move(value)) {}
  JSValueType ValueType() override { return inner_.ValueType(); }
  bool GetNextObjectProperty(std::string& name) override {
    return inner_.GetNextObjectProperty(name);
  }
  bool GetNextArrayItem() override {
    ++itemRequests;
    return inner_.GetNextArrayItem();
  }
  std::string GetString() override { return inner_.GetString(); }
  bool GetBoolean() override { return inner_.GetBoolean(); }
  std::int64_t GetInt64() override { return inner_.GetInt64(); }
  double GetDouble() override { return inner_.GetDouble(); }

  int itemRequests = 0;

 private:
  JSValueTreeReader inner_;
};

class TessarelJsRegistrationTest : public ::testing::Test {
 protected:
  void SetUp() override {
    const ModuleRegistration* registration = FindRegistration("TessarelJs");
    ASSERT_NE(registration, nullptr);
    instance = std::static_pointer_cast<TessarelJs>(registration->Provider()(builder));
    ASSERT_NE(instance, nullptr);
  }

  FakeReactModuleBuilder builder;
  std::shared_ptr<TessarelJs> instance;
};

// The eighteen methods in table order, then the six event initializers, each
// setting only its own sender (emitting through the context with no emitter
// name of its own), then the module initializer.
TEST_F(TessarelJsRegistrationTest, RegistersMethodsThenEventsThenModuleInitializer) {
  EXPECT_EQ(builder.eventEmitterName, "RCTDeviceEventEmitter");
  std::vector<std::string> want;
  for (const char* name :
       {"keyboards", "sendDebugCommand", "simulateKeyPress", "isLaunchAtStartUpEnabled",
        "setIsLaunchAtStartUpEnabled", "setLedActiveColor", "setLed", "isFlashing",
        "resetFirmwareState", "recoverDeviceState", "flashingState", "updateDevice",
        "resetFirmware", "recoverDevice", "firmwareVersion", "resetToBootloader", "selectFile",
        "setCancelUpdate"})
    want.push_back(std::string("method ") + name + " 3");
  want.insert(want.end(), 7, "initializer");
  ASSERT_EQ(builder.DescribeRegistrations(), want);

  const std::vector<std::pair<const char*, std::function<void()>>> events = {
      {"keyboardsUpdated", [&] { instance->keyboardsUpdated(); }},
      {"keyboardVersionNewer", [&] { instance->keyboardVersionNewer("1.4.2"); }},
      {"isFlashingUpdated", [&] { instance->isFlashingUpdated(); }},
      {"resetFirmwareStateUpdated", [&] { instance->resetFirmwareStateUpdated(); }},
      {"recoverDeviceStateUpdated", [&] { instance->recoverDeviceStateUpdated(); }},
      {"flashingStateUpdated", [&] { instance->flashingStateUpdated(); }},
  };
  auto context = std::make_shared<FakeReactContext>();
  for (std::size_t i = 0; i < events.size(); ++i) {
    const auto& [event, send] = events[i];
    SCOPED_TRACE(event);
    EXPECT_THROW(send(), std::bad_function_call) << "set before its initializer ran";
    builder.initializers[i](context);
    send();
    const std::vector<FakeReactContext::Event> emitted = context->Events();
    ASSERT_EQ(emitted.size(), i + 1);
    EXPECT_EQ(emitted.back().emitterName, "");
    EXPECT_EQ(emitted.back().eventName, event);
    EXPECT_EQ(emitted.back().args,
              JSValue(i == 1 ? JSValueArray{JSValue("1.4.2")} : JSValueArray{}));
  }
}

TEST_F(TessarelJsRegistrationTest, SendDebugCommandIsRejectedAsDestroyed) {
  const MethodResult result = builder.Call("sendDebugCommand", Items(1));
  EXPECT_EQ(result.callbackCount, 1);
  EXPECT_EQ(result.RejectMessage(), "Promise destroyed.");
}

// How far each registered method walks its argument array: one request per
// declared argument while items last, plus the one that finds the end. The
// arguments are read before the module is looked up, so with the instance
// gone the count is seen without running any method body, and each call is
// still answered.
TEST_F(TessarelJsRegistrationTest, ReadsOnlyTheDeclaredArguments) {
  instance.reset();
  struct Row {
    const char* method;
    JSValue args;
    int wantRequests;
  } rows[] = {
      {"setLed: ten items, eight read", Items(10), 8},
      {"setLedActiveColor: three items, then the end", Items(3), 4},
      {"keyboards: takes none", Items(2), 0},
      {"setCancelUpdate: not an array", JSValue(true), 0},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.method);
    const std::string name(row.method, std::strchr(row.method, ':'));
    CountingReader reader(row.args);
    int rejections = 0;
    builder.methods.at(name)(
        reader, std::make_shared<JSValueTreeWriter>(), [](IJSValueWriter&) { FAIL(); },
        [&](IJSValueWriter&) { ++rejections; });
    EXPECT_EQ(reader.itemRequests, row.wantRequests);
    EXPECT_EQ(rejections, 1) << "the call's promise was left unanswered";
  }
}

// The binding itself, on a module whose methods note what they were given.
struct Probe {
  std::vector<JSValue> received;
  std::optional<ReactPromise<JSValue>> kept;

  void Three(JSValue a, JSValue b, JSValue c, ReactPromise<JSValue> promise) {
    received = {a, b, c};
    promise.Resolve(JSValue(static_cast<std::int64_t>(received.size())));
  }
  void Keep(ReactPromise<JSValue> promise) { kept = std::move(promise); }
};

TEST(MethodBindingTest, BindsArgumentsByPosition) {
  auto probe = std::make_shared<Probe>();
  FakeReactModuleBuilder builder;
  builder.AddMethod("three", MethodReturnType::Promise, BindPromiseMethod(probe, &Probe::Three));
  struct Row {
    const char* desc;
    JSValue args;
    std::vector<JSValue> want;
  } rows[] = {
      {"missing items are null, an explicit null stays null",
       JSValue(JSValueArray{JSValue(), JSValue("k")}),
       {JSValue(), JSValue("k"), JSValue()}},
      {"extra items are dropped", Items(5), {JSValue(0), JSValue(1), JSValue(2)}},
      {"not an array: all null", JSValue::Object({{"0", 1}}), {JSValue(), JSValue(), JSValue()}},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.desc);
    probe->received.clear();
    const MethodResult result = builder.Call("three", row.args);
    EXPECT_EQ(probe->received, row.want);
    EXPECT_EQ(result.Value(), JSValue(3));
  }
}

// A body that keeps a copy of its promise: the call's release of its own copy
// must not reject it.
TEST(MethodBindingTest, KeptPromiseIsNotRejectedOnReturn) {
  auto probe = std::make_shared<Probe>();
  FakeReactModuleBuilder builder;
  builder.AddMethod("keep", MethodReturnType::Promise, BindPromiseMethod(probe, &Probe::Keep));
  auto kept = builder.Invoke("keep", Items(0));
  EXPECT_EQ(kept->Current().callbackCount, 0);
  probe->kept->Resolve(JSValue(true));
  probe->kept.reset();
  EXPECT_EQ(kept->Current().callback, MethodResult::Callback::Resolve);
  EXPECT_EQ(kept->Current().callbackCount, 1);
}

}  // namespace
}  // namespace tessarel
