// The channel between real processes over the real socket: the listener in
// this process, a companion built on the companion library in another.
#include <gtest/gtest.h>
#include <signal.h>

#include <atomic>
#include <string>
#include <vector>

#include "link/link_test_support.h"
#include "link/subprocess.h"
#include "support/value_set_builders.h"

namespace tessarel::testing {
namespace {

class ChannelTest : public RuntimeDirectoryTest {
 protected:
  void SetUp() override {
    RuntimeDirectoryTest::SetUp();
    listener_ = std::make_unique<AppServiceListener>(SocketPath(), recorder_.Handler());
  }
  void TearDown() override {
    listener_.reset();
    RuntimeDirectoryTest::TearDown();
  }

  std::unique_ptr<Subprocess> StartCompanion() {
    auto companion = std::make_unique<Subprocess>(
        std::vector<std::string>{TestCompanionPath(), "--socket", SocketPath().string()});
    EXPECT_TRUE(companion->Started());
    return companion;
  }

  ActivationRecorder recorder_;
  std::unique_ptr<AppServiceListener> listener_;
};

TEST_F(ChannelTest, RequestsAndNotificationsCrossBothWaysWithTheirTypes) {
  std::mutex mutex;
  std::vector<ValueSet> received;
  recorder_.OnActivated([&](const AppServiceConnection& connection) {
    connection.RequestReceived(
        [&](const AppServiceConnection&, const AppServiceRequestReceivedEventArgs& args) {
          {
            std::lock_guard lock(mutex);
            received.push_back(args.Request.Message());
          }
          // Answers only what asks for it; the rest gets the empty answer.
          const std::optional<PropertyValue> type = TolerantLookup(args.Request.Message(), "type");
          if (type && type->TryString() && type->TryString()->starts_with("ask")) {
            args.Request.SendResponseAsync(Set({{"answer", U8(7)}, {"ok", Bool(true)}}));
          }
        });
  });
  auto companion = StartCompanion();
  ASSERT_TRUE(companion->WaitForLine("connected 1"));
  const AppServiceConnection channel = recorder_.WaitFor(1);
  ASSERT_TRUE(channel);

  // App to companion: every boxed type survives the trip out and back.
  ValueSet request = Request("echo");
  request.Insert("model", KeyboardShape{1, 2, 2, 2}.Build().Lookup("0"));
  request.Insert("all", Nested(Set({{"s", Str("Grüße")},
                                    {"b", Bool(true)},
                                    {"i", I32(-5)},
                                    {"y", U8(200)},
                                    {"u", U32(200)},
                                    {"t", U64(UINT64_MAX)}})));
  const AppServiceResponse echoed = channel.SendMessageAsync(request).Get();
  EXPECT_EQ(echoed.Status, AppServiceResponseStatus::Success);
  EXPECT_EQ(echoed.Message, request);

  // Overlapping requests each get their own reply.
  std::vector<IAsyncOperation<AppServiceResponse>> sends;
  for (std::uint32_t i = 0; i < 50; ++i) {
    sends.push_back(channel.SendMessageAsync(With(Request("echo"), "index", U32(i))));
  }
  for (std::uint32_t i = 0; i < 50; ++i) {
    EXPECT_EQ(*sends[i].Get().Message.Lookup("index").TryUInt32(), i);
  }

  // Companion to app: unanswered notifications get status 0 and nothing else.
  companion->WriteLine("send type=s:keyboardsUpdated level=y:3");
  EXPECT_EQ(companion->ReadLine(), "reply 0");
  companion->WriteLine("send type=s:asking");
  EXPECT_EQ(companion->ReadLine(), "reply 0 answer=y:7 ok=b:true");
  // A message without "type" is answered too.
  companion->WriteLine("send name=s:Pad");
  EXPECT_EQ(companion->ReadLine(), "reply 0");

  std::lock_guard lock(mutex);
  ASSERT_EQ(received.size(), 3u);
  EXPECT_EQ(received[0], Set({{"type", Str("keyboardsUpdated")}, {"level", U8(3)}}));
  EXPECT_EQ(received[2], Set({{"name", Str("Pad")}}));
}

TEST_F(ChannelTest, AnswersThatFailOrCannotBeSentStillCompleteThePeersCall) {
  recorder_.OnActivated([](const AppServiceConnection& connection) {
    connection.RequestReceived(
        [](const AppServiceConnection&, const AppServiceRequestReceivedEventArgs& args) {
          const std::string type = *args.Request.Message().Lookup("type").TryString();
          if (type == "throw") throw hresult_error(error_codes::kFail);
          if (type == "unsendable") {
            args.Request.SendResponseAsync(Set({{"bad", Str(std::string("a\0b", 3))}}));
          }
          if (type == "twice") {
            args.Request.SendResponseAsync(Set({{"first", U32(1)}}));
            EXPECT_EQ(args.Request.SendResponseAsync(Set({{"second", U32(2)}})).Get(),
                      AppServiceResponseStatus::Failure);
          }
        });
  });
  auto companion = StartCompanion();
  ASSERT_TRUE(companion->WaitForLine("connected 1"));
  struct Row {
    const char* command;
    const char* reply;
  };
  const Row rows[] = {
      {"send type=s:throw", "reply 0"},
      {"send type=s:unsendable",
       "error 0x80004005 The string under key 'bad' holds a NUL character"},
      {"send type=s:twice", "reply 0 first=u:1"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.command);
    companion->WriteLine(row.command);
    EXPECT_EQ(companion->ReadLine(), row.reply);
  }
}

// Tools made for a message bus greet the app with Hello. They are visitors:
// their notifications reach the handlers of the companion's channel, as if
// the companion had sent them, and they never take that channel's place.
TEST_F(ChannelTest, ForeignPeersWithBusctlAndGdbusGetTheEmptyAnswer) {
  std::atomic<int> notifications{0};
  recorder_.OnActivated([&](const AppServiceConnection& connection) {
    // The channel by address only: a handler holding its own channel would
    // keep it alive for ever.
    connection.RequestReceived(
        [&, channel = connection.GetChannel().get()](
            const AppServiceConnection& sender, const AppServiceRequestReceivedEventArgs& args) {
          EXPECT_EQ(sender.GetChannel().get(), channel);
          if (args.Request.Message() == Set({{"type", Str("keyboardsUpdated")}})) ++notifications;
        });
  });
  const std::string address = "unix:path=" + SocketPath().string();
  // Before any companion, a visitor's notification has nobody to reach but
  // is answered all the same.
  EXPECT_EQ(RunCommand("timeout 10 busctl --address=" + address +
                       " call io.tessarel.App /io/tessarel/AppService io.tessarel.AppService1"
                       " Message 'a{sv}' 1 type s keyboardsUpdated")
                .output,
            "ua{sv} 0 0\n");
  EXPECT_EQ(notifications.load(), 0);
  auto companion = StartCompanion();
  ASSERT_TRUE(companion->WaitForLine("connected 1"));
  const AppServiceConnection channel = recorder_.WaitFor(1);

  struct Row {
    const char* desc;
    std::string command;
    std::string output;
    bool succeeds;
  };
  const Row rows[] = {
      {"busctl",
       "busctl --address=" + address +
           " call io.tessarel.App /io/tessarel/AppService io.tessarel.AppService1"
           " Message 'a{sv}' 1 type s keyboardsUpdated",
       "ua{sv} 0 0\n", true},
      {"gdbus",
       "gdbus call --address " + address +
           " --dest io.tessarel.App --object-path /io/tessarel/AppService"
           " --method io.tessarel.AppService1.Message \"{'type': <'keyboardsUpdated'>}\"",
       "(uint32 0, @a{sv} {})\n", true},
      {"a type we do not carry",
       "busctl --address=" + address +
           " call io.tessarel.App /io/tessarel/AppService"
           " io.tessarel.AppService1 Message 'a{sv}' 1 type d 1.5",
       "Call failed: Unsupported value type 'd' under key 'type'\n", false},
      {"the wrong signature",
       "busctl --address=" + address +
           " call io.tessarel.App /io/tessarel/AppService"
           " io.tessarel.AppService1 Message s keyboardsUpdated",
       "", false},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.desc);
    const CommandResult result = RunCommand("timeout 10 " + row.command);
    EXPECT_EQ(result.status == 0, row.succeeds) << result.output;
    if (!row.output.empty()) {
      EXPECT_EQ(result.output, row.output);
    }
  }
  EXPECT_EQ(notifications.load(), 2);
  EXPECT_EQ(recorder_.Count(), 1u);  // the companion's channel is still the one
  EXPECT_EQ(channel.SendMessageAsync(Request("echo")).Get().Message, Request("echo"));

  const CommandResult introspection =
      RunCommand("timeout 10 busctl --address=" + address +
                 " introspect io.tessarel.App /io/tessarel/AppService io.tessarel.AppService1");
  EXPECT_NE(introspection.output.find(".Message"), std::string::npos) << introspection.output;
  EXPECT_NE(introspection.output.find("a{sv}     ua{sv}"), std::string::npos);
}

TEST_F(ChannelTest, KillingTheCompanionSettlesEveryRequestInFlight) {
  auto companion = StartCompanion();
  ASSERT_TRUE(companion->WaitForLine("connected 1"));
  const AppServiceConnection channel = recorder_.WaitFor(1);

  // "hold" stops the companion's link thread, so nothing after it is read
  // or answered: all thousand stay in flight until the kill.
  const IAsyncOperation<AppServiceResponse> held = channel.SendMessageAsync(Request("hold"));
  std::vector<IAsyncOperation<AppServiceResponse>> inFlight;
  for (int i = 0; i < 1000; ++i) inFlight.push_back(channel.SendMessageAsync(Request("echo")));
  usleep(200'000);
  int settledEarly = 0;
  for (const auto& send : inFlight) settledEarly += send.Status() != AsyncStatus::Started;
  EXPECT_EQ(settledEarly, 0);

  companion->Kill(SIGKILL);
  companion->Wait();
  int disconnected = 0;
  for (const auto& send : inFlight) disconnected += FailureCode(send) == error_codes::kDisconnected;
  EXPECT_EQ(disconnected, 1000);
  EXPECT_EQ(FailureCode(held), error_codes::kDisconnected);

  // Later sends on the dead channel fail at once.
  EXPECT_EQ(FailureCode(channel.SendMessageAsync(Request("echo"))), error_codes::kDisconnected);

  // The app side keeps serving: the next companion is accepted and answered.
  auto next = StartCompanion();
  ASSERT_TRUE(next->WaitForLine("connected 1"));
  const AppServiceConnection second = recorder_.WaitFor(2);
  ASSERT_TRUE(second);
  EXPECT_EQ(second.SendMessageAsync(Request("echo")).Get().Message, Request("echo"));
}

TEST_F(ChannelTest, StoppingTheListenerFailsPendingSendsAndFreesTheSocket) {
  auto companion = StartCompanion();
  ASSERT_TRUE(companion->WaitForLine("connected 1"));
  const AppServiceConnection channel = recorder_.WaitFor(1);
  const auto held = channel.SendMessageAsync(Request("hold"));
  const auto waiting = channel.SendMessageAsync(Request("echo"));
  listener_.reset();
  EXPECT_EQ(FailureCode(held, std::chrono::seconds(2)), error_codes::kDisconnected);
  EXPECT_EQ(FailureCode(waiting, std::chrono::seconds(2)), error_codes::kDisconnected);
  EXPECT_EQ(FailureCode(channel.SendMessageAsync(Request("echo"))), error_codes::kDisconnected);
  EXPECT_FALSE(std::filesystem::exists(SocketPath()));
}

TEST_F(ChannelTest, CompletingTheDeferralEndsTheActivation) {
  auto companion = StartCompanion();
  ASSERT_TRUE(companion->WaitForLine("connected 1"));
  const AppServiceConnection channel = recorder_.WaitFor(1);
  recorder_.Deferral(0)->Complete();
  EXPECT_TRUE(companion->WaitForLine("disconnected"));
  EXPECT_EQ(FailureCode(channel.SendMessageAsync(Request("echo"))), error_codes::kDisconnected);
  // The companion library reconnects by itself: a new activation.
  EXPECT_TRUE(companion->WaitForLine("connected 2"));
  EXPECT_TRUE(recorder_.WaitFor(2));
}

TEST_F(ChannelTest, TheCompanionReconnectsWhenTheAppComesBack) {
  auto companion = StartCompanion();
  ASSERT_TRUE(companion->WaitForLine("connected 1"));
  listener_.reset();
  ASSERT_TRUE(companion->WaitForLine("disconnected"));
  companion->WriteLine("send type=s:keyboardsUpdated");
  EXPECT_EQ(companion->ReadLine(),
            "error 0x80010108 " + std::string(SystemMessageForCode(error_codes::kDisconnected)));

  ActivationRecorder restarted;
  listener_ = std::make_unique<AppServiceListener>(SocketPath(), restarted.Handler());
  ASSERT_TRUE(companion->WaitForLine("connected 2"));
  const AppServiceConnection channel = restarted.WaitFor(1);
  ASSERT_TRUE(channel);
  EXPECT_EQ(channel.SendMessageAsync(Request("echo")).Get().Message, Request("echo"));
}

}  // namespace
}  // namespace tessarel::testing
