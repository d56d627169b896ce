// The device methods of TessarelJs against an in-process companion channel:
// what each sends, how each reads its reply, and how each fails.
#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "app/app.h"
#include "modules/device_test_support.h"
#include "modules/tessarel_js.h"
#include "platform/dispatcher.h"
#include "support/fake_channel.h"
#include "support/value_set_builders.h"

namespace tessarel {
namespace {

using namespace testing;  // NOLINT: the builders read as a small language

using Call = std::function<IAsyncAction(TessarelJs&, ReactPromise<JSValue>)>;

// Every device method, called with plain arguments, and the text its
// rejections put before a platform error's message.
struct Method {
  const char* name;
  Call call;
  std::string errorPrefix;
};

const std::vector<Method>& AllMethods() {
  static const std::vector<Method> methods = {
      {"keyboards", [](TessarelJs& m, auto p) { return m.keyboards(std::move(p)); }, ""},
      {"isFlashing", [](TessarelJs& m, auto p) { return m.isFlashing(std::move(p)); }, ""},
      {"flashingState", [](TessarelJs& m, auto p) { return m.flashingState(std::move(p)); }, ""},
      {"recoverDeviceState",
       [](TessarelJs& m, auto p) { return m.recoverDeviceState(std::move(p)); }, ""},
      {"resetFirmwareState",
       [](TessarelJs& m, auto p) { return m.resetFirmwareState(std::move(p)); }, ""},
      {"updateDevice",
       [](TessarelJs& m, auto p) { return m.updateDevice("1", "{}", std::move(p)); }, ""},
      {"resetFirmware",
       [](TessarelJs& m, auto p) { return m.resetFirmware("1", "M", std::move(p)); }, ""},
      {"recoverDevice", [](TessarelJs& m, auto p) { return m.recoverDevice("M", std::move(p)); },
       ""},
      {"firmwareVersion",
       [](TessarelJs& m, auto p) { return m.firmwareVersion("1", std::move(p)); }, ""},
      {"resetToBootloader",
       [](TessarelJs& m, auto p) { return m.resetToBootloader("1", std::move(p)); },
       "Failed to enter Bootloader mode: "},
      {"selectFile", [](TessarelJs& m, auto p) { return m.selectFile(std::move(p)); },
       "Failed to select file: "},
      {"setCancelUpdate",
       [](TessarelJs& m, auto p) { return m.setCancelUpdate(true, std::move(p)); },
       "Failed to cancel update: "},
      {"setLedActiveColor",
       [](TessarelJs& m, auto p) {
         return m.setLedActiveColor("1", 0, 0, 0, 1, 2, 3, std::move(p));
       },
       "Failed to setLedActiveColor: "},
      {"setLed",
       [](TessarelJs& m, auto p) { return m.setLed("1", 0, 0, 1, 2, 3, 0, 0, std::move(p)); },
       "Failed to setLed: "},
      // No separator: the error text runs straight on.
      {"simulateKeyPress",
       [](TessarelJs& m, auto p) {
         return m.simulateKeyPress("1", "/bin/x", 0, 0, 0, std::move(p));
       },
       "Failed to send keystrokes to process"},
  };
  return methods;
}

const Call& Named(std::string_view name) {
  for (const Method& method : AllMethods())
    if (method.name == name) return method.call;
  throw std::out_of_range(std::string(name));
}

class DeviceMethodsTest : public ::testing::Test {
 protected:
  void SetUp() override { ActivateWithChannel(app, channel); }

  // Starts a call and returns the index of the send it made.
  std::size_t Start(const Call& call, PromiseProbe& probe) {
    const std::size_t index = channel->SendCount();
    call(*module, probe.Promise());
    EXPECT_EQ(channel->SendCount(), index + 1) << "one request per call";
    return index;
  }

  // Runs the test thread's queue until the probe has settled.
  void RunUntilSettled(const PromiseProbe& probe) {
    EXPECT_TRUE(dispatcher->RunUntil([&] { return probe.Settled(); }));
  }

  // One whole exchange answered with `response`; what the script receives.
  std::string Exchange(const Call& call, AppServiceResponse response) {
    PromiseProbe probe;
    const std::size_t index = Start(call, probe);
    channel->Respond(index, std::move(response));
    RunUntilSettled(probe);
    EXPECT_EQ(probe.SettleCount(), 1);
    return probe.Text();
  }

  std::shared_ptr<ManualDispatcher> dispatcher = std::make_shared<ManualDispatcher>();
  ScopedThreadDispatcher onTestThread{dispatcher};
  App app;
  std::shared_ptr<FakeChannel> channel = std::make_shared<FakeChannel>();
  std::shared_ptr<TessarelJs> module = std::make_shared<TessarelJs>();
};

TEST_F(DeviceMethodsTest, SendsEachRequestWithKeysInOrderAndBoxedTypes) {
  const struct {
    const char* desc;
    Call call;
    const char* wantRequest;
  } rows[] = {
      {"keyboards", Named("keyboards"), "method=s:keyboards"},
      {"isFlashing", Named("isFlashing"), "method=s:isFlashing"},
      {"flashingState", Named("flashingState"), "method=s:flashingState"},
      {"recoverDeviceState", Named("recoverDeviceState"), "method=s:recoverDeviceState"},
      {"resetFirmwareState", Named("resetFirmwareState"), "method=s:resetFirmwareState"},
      {"updateDevice with text",
       [](TessarelJs& m, auto p) { return m.updateDevice("3", "C", std::move(p)); },
       "method=s:updateDevice keyboardId=s:3 config=s:C"},
      {"updateDevice with a number and an object",
       [](TessarelJs& m, auto p) {
         return m.updateDevice(3, JSValue::Object({{"a", 1}}), std::move(p));
       },
       "method=s:updateDevice keyboardId=s:3 config=s:"},
      {"resetFirmware with a double and a boolean",
       [](TessarelJs& m, auto p) { return m.resetFirmware(1.5, true, std::move(p)); },
       "method=s:resetFirmware keyboardId=s:1.5 model=s:true"},
      {"recoverDevice with null",
       [](TessarelJs& m, auto p) { return m.recoverDevice(nullptr, std::move(p)); },
       "method=s:recoverDevice model=s:null"},
      {"firmwareVersion",
       [](TessarelJs& m, auto p) { return m.firmwareVersion("kb1", std::move(p)); },
       "method=s:firmwareVersion keyboardId=s:kb1"},
      {"resetToBootloader with a negative number",
       [](TessarelJs& m, auto p) { return m.resetToBootloader(-7, std::move(p)); },
       "method=s:resetToBootloader keyboardId=s:-7"},
      {"selectFile", Named("selectFile"), "method=s:selectFile"},
      {"setCancelUpdate(true)",
       [](TessarelJs& m, auto p) { return m.setCancelUpdate(true, std::move(p)); },
       "method=s:setCancelUpdate cancel=s:true"},
      {"setCancelUpdate(0)",
       [](TessarelJs& m, auto p) { return m.setCancelUpdate(0, std::move(p)); },
       "method=s:setCancelUpdate cancel=s:false"},
      {"setCancelUpdate(\"yes\")",
       [](TessarelJs& m, auto p) { return m.setCancelUpdate("yes", std::move(p)); },
       "method=s:setCancelUpdate cancel=s:true"},
      {"setLedActiveColor",
       [](TessarelJs& m, auto p) {
         return m.setLedActiveColor(5, 1, 2, 0, 255, 0, 128, std::move(p));
       },
       "method=s:setLedActiveColor keyboardId=s:5 layerType=i32:1 x=i32:2 y=i32:0 r=i32:255 "
       "g=i32:0 b=i32:128"},
      {"setLed with numbers to cut",
       [](TessarelJs& m, auto p) {
         return m.setLed("kb", 1, 2, 300, 2.9, "12", nullptr, 4294967297LL, std::move(p));
       },
       "method=s:setLed keyboardId=s:kb x=i32:1 y=i32:2 r=i32:300 g=i32:2 b=i32:12 "
       "animationType=i32:0 animationData=i32:1"},
      {"setLed with values that wrap",
       [](TessarelJs& m, auto p) {
         return m.setLed("kb", -1, 2147483648LL, true, "x", -2.5, 4294967295LL, 1e300,
                         std::move(p));
       },
       "method=s:setLed keyboardId=s:kb x=i32:-1 y=i32:-2147483648 r=i32:1 g=i32:0 b=i32:-2 "
       "animationType=i32:-1 animationData=i32:0"},
      {"simulateKeyPress with a null path",
       [](TessarelJs& m, auto p) {
         return m.simulateKeyPress("kb", nullptr, 3, 4, 5, std::move(p));
       },
       "method=s:simulateKeyPress keyboardId=s:kb executablePath=s:null layer=i32:3 x=i32:4 "
       "y=i32:5"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.desc);
    PromiseProbe probe;
    const std::size_t index = Start(row.call, probe);
    EXPECT_EQ(Describe(channel->Request(index)), row.wantRequest);
    channel->Respond(index, Reply({}));
    RunUntilSettled(probe);
  }
}

TEST_F(DeviceMethodsTest, ReadsEachReply) {
  const auto failed = AppServiceResponseStatus::Failure;
  const ValueSet oneKeyboard = List({Nested(Keyboard("kb", List({})))});
  const struct {
    const char* method;
    const char* desc;
    AppServiceResponse response;
    std::string want;
  } rows[] = {
      // Queries.
      {"keyboards", "empty list", Reply(Set({{"keyboards", Nested(List({}))}})), Resolved("[]")},
      {"keyboards", "one keyboard", Reply(Set({{"keyboards", Nested(oneKeyboard)}})),
       Resolved(R"([{"appPaths":["/bin/app0","/bin/app1","/bin/app2","/bin/app3","/bin/app4",)"
                R"("/bin/app5","/bin/app6","/bin/app7"],"id":"kb","layers":[],"model":2,)"
                R"("name":"Board"}])")},
      {"keyboards", "failed status", Reply(Set({{"keyboards", Nested(oneKeyboard)}}), failed),
       Rejected("Failed to receive response. Request=keyboards")},
      {"keyboards", "under result", Reply(Set({{"result", Nested(oneKeyboard)}})),
       Rejected("Bad response. Failed to deserialize keyboards")},
      {"keyboards", "not a ValueSet", Reply(Set({{"keyboards", Str("[]")}})),
       Rejected("Bad response. Failed to deserialize keyboards")},
      {"keyboards", "conversion error",
       Reply(Set(
           {{"keyboards", Nested(List({Nested(Without(Keyboard("kb", List({})), "layers"))}))}})),
       Rejected("No such interface supported")},
      {"isFlashing", "true", Reply(Set({{"result", Bool(true)}})), Resolved("true")},
      {"isFlashing", "without result", Reply({}), Resolved("false")},
      {"isFlashing", "result as text", Reply(Set({{"result", Str("true")}})), Resolved("false")},
      {"isFlashing", "failed status", Reply(Set({{"result", Bool(true)}}), failed),
       Rejected("Failed to receive response. Request=isFlashing")},
      {"flashingState", "", Reply(Set({{"result", U32(4294967295u)}})), Resolved("4294967295")},
      {"flashingState", "result as Int32", Reply(Set({{"result", I32(7)}})), Resolved("0")},
      {"flashingState", "result as UInt8", Reply(Set({{"result", U8(7)}})), Resolved("0")},
      {"flashingState", "other failed status",
       Reply(Set({{"result", U32(3)}}), AppServiceResponseStatus::RemoteSystemUnavailable),
       Rejected("Failed to receive response. Request=flashingState")},
      {"recoverDeviceState", "", Reply(Set({{"result", U32(2)}})), Resolved("2")},
      {"recoverDeviceState", "without result", Reply({}), Resolved("0")},
      {"recoverDeviceState", "failed status", Reply({}, failed),
       Rejected("Failed to receive response. Request=recoverDeviceState")},
      {"resetFirmwareState", "", Reply(Set({{"result", U32(5)}})), Resolved("5")},
      {"resetFirmwareState", "failed status",
       Reply(Set({{"result", U32(5)}}), AppServiceResponseStatus::Unknown),
       Rejected("Failed to receive response. Request=resetFirmwareState")},
      // Commands never look at the status.
      {"updateDevice", "failed status", Reply(Set({{"result", Bool(true)}}), failed),
       Resolved("true")},
      {"updateDevice", "without result", Reply({}), Resolved("false")},
      {"resetFirmware", "without result", Reply({}), Resolved("false")},
      {"resetFirmware", "true", Reply(Set({{"result", Bool(true)}})), Resolved("true")},
      {"recoverDevice", "result as UInt32", Reply(Set({{"result", U32(1)}})), Resolved("false")},
      {"firmwareVersion", "", Reply(Set({{"result", U32(7)}})), Resolved("7")},
      {"firmwareVersion", "never negative", Reply(Set({{"result", U32(4294967295u)}})),
       Resolved("4294967295")},
      {"firmwareVersion", "failed status", Reply(Set({{"result", U32(3)}}), failed), Resolved("3")},
      {"firmwareVersion", "without result", Reply({}), Rejected("Failed to get firmware version")},
      {"firmwareVersion", "result as text", Reply(Set({{"result", Str("7")}})),
       Rejected("No such interface supported")},
      {"firmwareVersion", "result as UInt64", Reply(Set({{"result", U64(7)}})),
       Rejected("No such interface supported")},
      {"selectFile", "", Reply(Set({{"result", Str("/tmp/fw \"1\".bin")}})),
       Resolved(R"("/tmp/fw \"1\".bin")")},
      {"selectFile", "without result", Reply({}), Resolved(R"("")")},
      {"selectFile", "result as a number", Reply(Set({{"result", U32(1)}})), Resolved(R"("")")},
      {"resetToBootloader", "failed status", Reply(Set({{"result", Bool(false)}}), failed),
       Resolved("null")},
      {"setCancelUpdate", "", Reply(Set({{"result", Bool(false)}})), Resolved("null")},
      {"setLedActiveColor", "failed status", Reply({}, failed), Resolved("null")},
      {"setLed", "", Reply(Set({{"result", Str("no")}})), Resolved("null")},
      {"simulateKeyPress", "failed status", Reply({}, failed), Resolved("null")},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(std::string(row.method) + " " + row.desc);
    EXPECT_EQ(Exchange(Named(row.method), row.response), row.want);
  }
}

// A send that fails with a platform error rejects with the method's prefix
// and the error's text, joined with nothing between.
TEST_F(DeviceMethodsTest, RejectsPlatformErrorsWithPrefix) {
  const struct {
    const char* desc;
    std::function<void(FakeChannel&, std::size_t)> fail;
    std::string text;
  } failures[] = {
      {"failed send",
       [](FakeChannel& c, std::size_t i) {
         c.Fail(i, hresult_error(error_codes::kFail, "Bus closed \r\n"));
       },
       "Bus closed"},
      {"cancelled send", [](FakeChannel& c, std::size_t i) { c.Cancel(i); },
       "The operation was canceled by the user."},
      {"error without text",
       [](FakeChannel& c, std::size_t i) { c.Fail(i, hresult_error(0x80000001)); }, ""},
  };
  for (const auto& failure : failures) {
    for (const Method& method : AllMethods()) {
      SCOPED_TRACE(std::string(failure.desc) + ", " + method.name);
      PromiseProbe probe;
      const std::size_t index = Start(method.call, probe);
      failure.fail(*channel, index);
      RunUntilSettled(probe);
      EXPECT_EQ(probe.Text(), Rejected(method.errorPrefix + failure.text));
    }
  }
}

TEST_F(DeviceMethodsTest, OverlappingCallsSettleIndependentlyInEitherOrder) {
  const struct {
    const char* desc;
    const char* first;
    const char* second;
    bool secondAnsweredFirst;
    bool firstResult, secondResult;
    const char* wantFirst;
    const char* wantSecond;
  } rows[] = {
      {"answered in order", "isFlashing", "isFlashing", false, true, false, "true", "false"},
      {"answered last first", "isFlashing", "isFlashing", true, true, false, "true", "false"},
      {"cancel answered while the update waits", "updateDevice", "setCancelUpdate", true, false,
       true, "false", "null"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.desc);
    PromiseProbe first, second;
    const std::size_t a = Start(Named(row.first), first);
    const std::size_t b = Start(Named(row.second), second);
    const auto answer = [&](bool toSecond) {
      const bool result = toSecond ? row.secondResult : row.firstResult;
      channel->Respond(toSecond ? b : a, Reply(Set({{"result", Bool(result)}})));
      RunUntilSettled(toSecond ? second : first);
    };
    answer(row.secondAnsweredFirst);
    dispatcher->RunPending();
    EXPECT_FALSE((row.secondAnsweredFirst ? first : second).Settled());
    answer(!row.secondAnsweredFirst);
    EXPECT_EQ(first.Text(), Resolved(row.wantFirst));
    EXPECT_EQ(second.Text(), Resolved(row.wantSecond));
  }
}

// The run suspends: the call returns before any answer, the module stays
// alive while the send is pending, and nothing settles until the answer.
TEST_F(DeviceMethodsTest, WaitsForTheAnswerHoldingTheModule) {
  PromiseProbe probe;
  const long before = module.use_count();
  const std::size_t index = Start(Named("flashingState"), probe);
  dispatcher->RunPending();
  EXPECT_FALSE(probe.Settled());
  EXPECT_GT(module.use_count(), before);

  channel->Respond(index, Reply(Set({{"result", U32(9)}})));
  EXPECT_FALSE(probe.Settled()) << "settles in the captured context, not in the responder";
  RunUntilSettled(probe);
  EXPECT_EQ(probe.Text(), Resolved("9"));
  EXPECT_EQ(module.use_count(), before);
}

// Only platform errors are caught: anything else ends the run, and the
// promise released with it tells the script so.
TEST_F(DeviceMethodsTest, ForeignErrorEndsRunWithDestroyedPromise) {
  for (const Method& method : {AllMethods().front(), AllMethods().back()}) {
    SCOPED_TRACE(method.name);
    PromiseProbe probe;
    const std::size_t index = Start(method.call, probe);
    channel->FailWithForeignError(index);
    RunUntilSettled(probe);
    EXPECT_EQ(probe.Text(), Rejected("Promise destroyed."));
    EXPECT_EQ(probe.SettleCount(), 1);
  }
}

TEST(DeviceMethodsWithoutConnectionTest, RejectsAtOnceAndSendsNothing) {
  auto dispatcher = std::make_shared<ManualDispatcher>();
  ScopedThreadDispatcher onTestThread(dispatcher);
  App app;
  auto module = std::make_shared<TessarelJs>();
  for (const Method& method : AllMethods()) {
    SCOPED_TRACE(method.name);
    PromiseProbe probe;
    method.call(*module, probe.Promise());
    // Settled before the call returned, with no turn of the queue.
    EXPECT_EQ(probe.Text(), Rejected("Service connection isn't running yet"));
  }
  EXPECT_EQ(dispatcher->RunPending(), 0u);

  // The channel that arrives afterwards has seen nothing of those calls.
  auto channel = std::make_shared<FakeChannel>();
  ActivateWithChannel(app, channel);
  EXPECT_EQ(channel->SendCount(), 0u);
}

}  // namespace
}  // namespace tessarel
