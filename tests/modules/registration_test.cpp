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

TEST_F(TessarelJsRegistrationTest, RegistersMethodsThenEventsThenModuleInitializer) {
  EXPECT_EQ(builder.eventEmitterName, "RCTDeviceEventEmitter");
  std::vector<std::string> want = {
      "method keyboards 3",
      "method sendDebugCommand 3",
      "method simulateKeyPress 3",
      "method isLaunchAtStartUpEnabled 3",
      "method setIsLaunchAtStartUpEnabled 3",
      "method setLedActiveColor 3",
      "method setLed 3",
      "method isFlashing 3",
      "method resetFirmwareState 3",
      "method recoverDeviceState 3",
      "method flashingState 3",
      "method updateDevice 3",
      "method resetFirmware 3",
      "method recoverDevice 3",
      "method firmwareVersion 3",
      "method resetToBootloader 3",
      "method selectFile 3",
      "method setCancelUpdate 3",
  };
  // The six event initializers, then the module's own.
  want.insert(want.end(), 7, "initializer");
  EXPECT_EQ(builder.DescribeRegistrations(), want);
}

// The event initializers, run alone and one at a time, must each set their
// own sender and leave the others empty; the senders then emit through the
// context with no emitter name of their own.
TEST_F(TessarelJsRegistrationTest, EventInitializersSetTheirSendersInTableOrder) {
  struct Row {
    const char* event;
    std::function<void()> send;
    JSValue wantArgs;
  };
  const std::vector<Row> rows = {
      {"keyboardsUpdated", [&] { instance->keyboardsUpdated(); }, JSValue(JSValueArray{})},
      {"keyboardVersionNewer", [&] { instance->keyboardVersionNewer("1.4.2"); },
       JSValue(JSValueArray{JSValue("1.4.2")})},
      {"isFlashingUpdated", [&] { instance->isFlashingUpdated(); }, JSValue(JSValueArray{})},
      {"resetFirmwareStateUpdated", [&] { instance->resetFirmwareStateUpdated(); },
       JSValue(JSValueArray{})},
      {"recoverDeviceStateUpdated", [&] { instance->recoverDeviceStateUpdated(); },
       JSValue(JSValueArray{})},
      {"flashingStateUpdated", [&] { instance->flashingStateUpdated(); }, JSValue(JSValueArray{})},
  };
  ASSERT_EQ(builder.initializers.size(), rows.size() + 1);
  auto context = std::make_shared<FakeReactContext>();
  for (std::size_t i = 0; i < rows.size(); ++i) {
    SCOPED_TRACE(rows[i].event);
    EXPECT_THROW(rows[i].send(), std::bad_function_call) << "set before its initializer ran";
    builder.initializers[i](context);
    rows[i].send();
    const std::vector<FakeReactContext::Event> events = context->Events();
    ASSERT_EQ(events.size(), i + 1);
    EXPECT_EQ(events.back().emitterName, "");
    EXPECT_EQ(events.back().eventName, rows[i].event);
    EXPECT_EQ(events.back().args, rows[i].wantArgs);
  }
  // The module initializer ignores its context and, with no companion,
  // emits nothing.
  builder.initializers.back()(context);
  EXPECT_EQ(context->Events().size(), rows.size());
}

TEST_F(TessarelJsRegistrationTest, SendDebugCommandIsRejectedAsDestroyed) {
  for (const JSValue& args : {Items(1), Items(0), JSValue("not an array"),
                              JSValue(JSValueArray{JSValue::Object({{"command", "reboot"}})})}) {
    SCOPED_TRACE(args.AsString());
    const MethodResult result = builder.Call("sendDebugCommand", args);
    EXPECT_EQ(result.callback, MethodResult::Callback::Reject);
    EXPECT_EQ(result.callbackCount, 1);
    EXPECT_EQ(result.RejectCode(), "EUNSPECIFIED");
    EXPECT_EQ(result.RejectMessage(), "Promise destroyed.");
  }
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
      {"setLed: three items, then the end", Items(3), 4},
      {"setLedActiveColor: exactly seven", Items(7), 7},
      {"simulateKeyPress: empty array", Items(0), 1},
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
  IAsyncAction Echo(JSValue value, ReactPromise<JSValue> promise) {
    promise.Resolve(value);
    co_return;
  }
  void Keep(ReactPromise<JSValue> promise) { kept = std::move(promise); }
  void Ignore(JSValue, ReactPromise<JSValue>) {}
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
      {"all present, mixed kinds",
       JSValue(JSValueArray{JSValue("k"), JSValue(2.5), JSValue::Object({{"x", 1}})}),
       {JSValue("k"), JSValue(2.5), JSValue::Object({{"x", 1}})}},
      {"missing items are null",
       JSValue(JSValueArray{JSValue(7)}),
       {JSValue(7), JSValue(), JSValue()}},
      {"extra items are dropped", Items(5), {JSValue(0), JSValue(1), JSValue(2)}},
      {"an explicit null stays null",
       JSValue(JSValueArray{JSValue(), JSValue(true)}),
       {JSValue(), JSValue(true), JSValue()}},
      {"not an array: all null", JSValue::Object({{"0", 1}}), {JSValue(), JSValue(), JSValue()}},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.desc);
    probe->received.clear();
    const MethodResult result = builder.Call("three", row.args);
    EXPECT_EQ(probe->received, row.want);
    EXPECT_EQ(result.callback, MethodResult::Callback::Resolve);
    EXPECT_EQ(result.Value(), JSValue(3));
  }
}

TEST(MethodBindingTest, PromiseLifetime) {
  auto probe = std::make_shared<Probe>();
  FakeReactModuleBuilder builder;
  builder.AddMethod("echo", MethodReturnType::Promise, BindPromiseMethod(probe, &Probe::Echo));
  builder.AddMethod("keep", MethodReturnType::Promise, BindPromiseMethod(probe, &Probe::Keep));
  builder.AddMethod("ignore", MethodReturnType::Promise, BindPromiseMethod(probe, &Probe::Ignore));

  // An asynchronous body's result arrives through its own promise copy.
  MethodResult echo = builder.Call("echo", JSValue(JSValueArray{JSValue("hi")}));
  EXPECT_EQ(echo.callback, MethodResult::Callback::Resolve);
  EXPECT_EQ(echo.payload, JSValue(JSValueArray{JSValue("hi")}));

  // A body that keeps a copy: the call's release must not reject it.
  auto kept = builder.Invoke("keep", Items(0));
  EXPECT_EQ(kept->Current().callbackCount, 0);
  probe->kept->Resolve(JSValue(true));
  probe->kept.reset();
  EXPECT_EQ(kept->Current().callback, MethodResult::Callback::Resolve);
  EXPECT_EQ(kept->Current().callbackCount, 1);

  // A body that neither settles nor keeps: rejected as destroyed.
  EXPECT_EQ(builder.Call("ignore", Items(1)).RejectMessage(), "Promise destroyed.");

  // A module that is gone: the call is still answered.
  probe.reset();
  const MethodResult gone = builder.Call("echo", Items(1));
  EXPECT_EQ(gone.callback, MethodResult::Callback::Reject);
  EXPECT_EQ(gone.RejectMessage(), "Promise destroyed.");
}

}  // namespace
}  // namespace tessarel
