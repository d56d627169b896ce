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
#include "modules/tessarel_js.h"
#include "platform/dispatcher.h"
#include "support/device_test_support.h"
#include "support/fake_channel.h"
#include "support/value_set_builders.h"

namespace tessarel {
namespace {

using namespace testing;  // NOLINT: the builders read as a small language

using Call = std::function<IAsyncAction(TessarelJs&, ReactPromise<JSValue>)>;

// Every device method with arguments distinct enough that a swapped key or a
// wrong box shows; the request it must send; what an empty successful reply
// gives; whether a failed status rejects it (queries); the text its rejections
// put before a platform error's message.
struct Method {
  const char* name;
  Call call;
  const char* wantRequest;
  std::string wantOnEmptyReply;
  bool query;
  std::string errorPrefix;
};

const std::vector<Method>& AllMethods() {
  static const std::vector<Method> methods = {
      {"keyboards", [](auto& m, auto p) { return m.keyboards(p); }, "method=s:keyboards",
       Rejected("Bad response. Failed to deserialize keyboards"), true, ""},
      {"isFlashing", [](auto& m, auto p) { return m.isFlashing(p); }, "method=s:isFlashing",
       Resolved("false"), true, ""},
      {"flashingState", [](auto& m, auto p) { return m.flashingState(p); },
       "method=s:flashingState", Resolved("0"), true, ""},
      {"recoverDeviceState", [](auto& m, auto p) { return m.recoverDeviceState(p); },
       "method=s:recoverDeviceState", Resolved("0"), true, ""},
      {"resetFirmwareState", [](auto& m, auto p) { return m.resetFirmwareState(p); },
       "method=s:resetFirmwareState", Resolved("0"), true, ""},
      {"updateDevice", [](auto& m, auto p) { return m.updateDevice(3, "C", p); },
       "method=s:updateDevice keyboardId=s:3 config=s:C", Resolved("false"), false, ""},
      {"resetFirmware", [](auto& m, auto p) { return m.resetFirmware("1", "M", p); },
       "method=s:resetFirmware keyboardId=s:1 model=s:M", Resolved("false"), false, ""},
      {"recoverDevice", [](auto& m, auto p) { return m.recoverDevice("M", p); },
       "method=s:recoverDevice model=s:M", Resolved("false"), false, ""},
      {"firmwareVersion", [](auto& m, auto p) { return m.firmwareVersion("kb1", p); },
       "method=s:firmwareVersion keyboardId=s:kb1", Rejected("Failed to get firmware version"),
       false, ""},
      {"resetToBootloader", [](auto& m, auto p) { return m.resetToBootloader(-7, p); },
       "method=s:resetToBootloader keyboardId=s:-7", Resolved("null"), false,
       "Failed to enter Bootloader mode: "},
      {"selectFile", [](auto& m, auto p) { return m.selectFile(p); }, "method=s:selectFile",
       Resolved(R"("")"), false, "Failed to select file: "},
      {"setCancelUpdate", [](auto& m, auto p) { return m.setCancelUpdate(true, p); },
       "method=s:setCancelUpdate cancel=s:true", Resolved("null"), false,
       "Failed to cancel update: "},
      {"setLedActiveColor",
       [](auto& m, auto p) { return m.setLedActiveColor(5, 1, 2, 3, 255, 6, 128, p); },
       "method=s:setLedActiveColor keyboardId=s:5 layerType=i32:1 x=i32:2 y=i32:3 r=i32:255 "
       "g=i32:6 b=i32:128",
       Resolved("null"), false, "Failed to setLedActiveColor: "},
      // Numbers go as their low 32 bits, unclamped.
      {"setLed",
       [](auto& m, auto p) {
         return m.setLed("kb", 8, 2, 300, 4294967297LL, -1, 7, 2147483648LL, p);
       },
       "method=s:setLed keyboardId=s:kb x=i32:8 y=i32:2 r=i32:300 g=i32:1 b=i32:-1 "
       "animationType=i32:7 animationData=i32:-2147483648",
       Resolved("null"), false, "Failed to setLed: "},
      // No separator: the error text runs straight on.
      {"simulateKeyPress",
       [](auto& m, auto p) { return m.simulateKeyPress("kb", "/bin/x", 3, 4, 5, p); },
       "method=s:simulateKeyPress keyboardId=s:kb executablePath=s:/bin/x layer=i32:3 x=i32:4 "
       "y=i32:5",
       Resolved("null"), false, "Failed to send keystrokes to process"},
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

  // Starts a call and returns the index of the one send it made.
  std::size_t Start(const Call& call, PromiseProbe& probe) {
    const std::size_t index = channel->SendCount();
    call(*module, probe.Promise());
    EXPECT_EQ(channel->SendCount(), index + 1) << "one request per call";
    return index;
  }
  void RunUntilSettled(const PromiseProbe& probe) {
    EXPECT_TRUE(dispatcher->RunUntil([&] { return probe.Settled(); }));
  }
  // One whole exchange answered by `answer`; what the script receives, once.
  std::string Exchange(const Call& call, const std::function<void(std::size_t)>& answer) {
    PromiseProbe probe;
    answer(Start(call, probe));
    RunUntilSettled(probe);
    EXPECT_EQ(probe.SettleCount(), 1);
    return probe.Text();
  }
  std::string Exchange(const Call& call, AppServiceResponse response) {
    return Exchange(call, [&](std::size_t i) { channel->Respond(i, std::move(response)); });
  }

  std::shared_ptr<ManualDispatcher> dispatcher = std::make_shared<ManualDispatcher>();
  ScopedThreadDispatcher onTestThread{dispatcher};
  App app;
  std::shared_ptr<FakeChannel> channel = std::make_shared<FakeChannel>();
  std::shared_ptr<TessarelJs> module = std::make_shared<TessarelJs>();
};

// Each request's keys, order and boxes; an empty reply with either status.
// Without "result" firmwareVersion rejects and its strict read then fails as
// well: the script must see the first rejection only.
TEST_F(DeviceMethodsTest, SendsEachRequestAndReadsAnEmptyReply) {
  for (const Method& method : AllMethods()) {
    SCOPED_TRACE(method.name);
    std::string request;
    EXPECT_EQ(Exchange(method.call,
                       [&](std::size_t i) {
                         request = Describe(channel->Request(i));
                         channel->Respond(i, Reply({}));
                       }),
              method.wantOnEmptyReply);
    EXPECT_EQ(request, method.wantRequest);

    const std::string failed =
        Rejected(std::string("Failed to receive response. Request=") + method.name);
    EXPECT_EQ(Exchange(method.call, Reply({}, AppServiceResponseStatus::Failure)),
              method.query ? failed : method.wantOnEmptyReply);
  }
}

TEST_F(DeviceMethodsTest, ReadsEachReply) {
  const struct {
    const char* method;
    const char* desc;
    AppServiceResponse response;
    std::string want;
  } rows[] = {
      {"keyboards", "", Reply(Set({{"keyboards", Nested(List({}))}})), Resolved("[]")},
      {"keyboards", "conversion error",
       Reply(Set({{"keyboards", Nested(List({Nested(Set({}))}))}})),
       Rejected("No such interface supported")},
      {"isFlashing", "", Reply(Set({{"result", Bool(true)}})), Resolved("true")},
      {"isFlashing", "result as text", Reply(Set({{"result", Str("true")}})), Resolved("false")},
      {"flashingState", "", Reply(Set({{"result", U32(4294967295u)}})), Resolved("4294967295")},
      {"flashingState", "result as UInt8", Reply(Set({{"result", U8(7)}})), Resolved("0")},
      {"recoverDeviceState", "", Reply(Set({{"result", U32(2)}})), Resolved("2")},
      {"resetFirmwareState", "", Reply(Set({{"result", U32(5)}})), Resolved("5")},
      {"updateDevice", "failed status, read",
       Reply(Set({{"result", Bool(true)}}), AppServiceResponseStatus::Failure), Resolved("true")},
      {"resetFirmware", "", Reply(Set({{"result", Bool(true)}})), Resolved("true")},
      {"recoverDevice", "", Reply(Set({{"result", Bool(true)}})), Resolved("true")},
      {"firmwareVersion", "never negative", Reply(Set({{"result", U32(4294967295u)}})),
       Resolved("4294967295")},
      {"firmwareVersion", "result as UInt64", Reply(Set({{"result", U64(7)}})),
       Rejected("No such interface supported")},
      {"selectFile", "", Reply(Set({{"result", Str("/tmp/fw \"1\".bin")}})),
       Resolved(R"("/tmp/fw \"1\".bin")")},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(std::string(row.method) + " " + row.desc);
    EXPECT_EQ(Exchange(Named(row.method), row.response), row.want);
  }
}

// A send that fails with a platform error rejects with the method's prefix
// joined to the error's text; any other error ends the run, and the promise
// released with it says so.
TEST_F(DeviceMethodsTest, RejectsFailedSends) {
  const struct {
    const char* desc;
    std::function<void(FakeChannel&, std::size_t)> fail;
    std::string text;
    bool prefixed;
  } failures[] = {
      {"failed send",
       [](FakeChannel& c, std::size_t i) {
         c.Fail(i, hresult_error(error_codes::kFail, "Bus closed \r\n"));
       },
       "Bus closed", true},
      {"cancelled send", [](FakeChannel& c, std::size_t i) { c.Cancel(i); },
       "The operation was canceled by the user.", true},
      {"not a platform error", [](FakeChannel& c, std::size_t i) { c.FailWithForeignError(i); },
       "Promise destroyed.", false},
  };
  for (const auto& failure : failures) {
    for (const Method& method : AllMethods()) {
      SCOPED_TRACE(std::string(failure.desc) + ", " + method.name);
      const std::string got =
          Exchange(method.call, [&](std::size_t i) { failure.fail(*channel, i); });
      EXPECT_EQ(got, Rejected((failure.prefixed ? method.errorPrefix : "") + failure.text));
    }
  }
}

// Each call waits for its own answer, holding the module meanwhile; an
// answer settles through the caller's queue, never inside the responder.
TEST_F(DeviceMethodsTest, OverlappingCallsSettleIndependently) {
  const long idleUses = module.use_count();
  PromiseProbe update, cancel;
  const std::size_t a = Start(Named("updateDevice"), update);
  const std::size_t b = Start(Named("setCancelUpdate"), cancel);
  EXPECT_GT(module.use_count(), idleUses);
  // The later call is answered first.
  channel->Respond(b, Reply({}));
  EXPECT_FALSE(cancel.Settled());
  RunUntilSettled(cancel);
  dispatcher->RunPending();
  EXPECT_FALSE(update.Settled());
  channel->Respond(a, Reply(Set({{"result", Bool(true)}})));
  RunUntilSettled(update);
  EXPECT_EQ(update.Text(), Resolved("true"));
  EXPECT_EQ(cancel.Text(), Resolved("null"));
  EXPECT_EQ(module.use_count(), idleUses);
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
