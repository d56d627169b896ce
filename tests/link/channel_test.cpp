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

class ChannelTest : public ListeningTest {
 protected:
  // A connected companion and the channel the listener delivered for it.
  std::unique_ptr<Subprocess> StartCompanion(AppServiceConnection* channel = nullptr) {
    const std::size_t before = recorder_.Count();
    auto companion = std::make_unique<Subprocess>(
        std::vector<std::string>{TestCompanionPath(), "--socket", SocketPath().string()});
    EXPECT_TRUE(companion->WaitForLine("connected 1"));
    if (channel) *channel = recorder_.WaitFor(before + 1);
    return companion;
  }
};

TEST_F(ChannelTest, RequestsAndNotificationsCrossBothWays) {
  std::mutex mutex;
  std::vector<ValueSet> received;
  recorder_.OnActivated([&](const AppServiceConnection& connection) {
    connection.RequestReceived(
        [&](const AppServiceConnection&, const AppServiceRequestReceivedEventArgs& args) {
          const ValueSet& message = args.Request.Message();
          {
            std::lock_guard lock(mutex);
            received.push_back(message);
          }
          const std::optional<PropertyValue> type = TolerantLookup(message, "type");
          const std::string text = type && type->TryString() ? *type->TryString() : "";
          if (text == "ask")
            args.Request.SendResponseAsync(Set({{"n", U8(7)}, {"ok", Bool(true)}}));
          if (text == "throw") throw hresult_error(error_codes::kFail);
          if (text == "unsendable")
            args.Request.SendResponseAsync(Set({{"bad", Str({"a\0b", 3})}}));
          if (text == "twice") {
            args.Request.SendResponseAsync(Set({{"first", U32(1)}}));
            EXPECT_EQ(args.Request.SendResponseAsync(Set({{"second", U32(2)}})).Get(),
                      AppServiceResponseStatus::Failure);
          }
        });
  });
  AppServiceConnection channel;
  auto companion = StartCompanion(&channel);
  ASSERT_TRUE(channel);

  // App to companion, with a nested set; then overlapping requests, each of
  // which must get its own reply.
  const ValueSet request = With(Request("echo"), "all", Nested(Set({{"y", U8(200)}})));
  const AppServiceResponse echoed = channel.SendMessageAsync(request).Get();
  EXPECT_EQ(echoed.Status, AppServiceResponseStatus::Success);
  EXPECT_EQ(echoed.Message, request);
  std::vector<IAsyncOperation<AppServiceResponse>> sends;
  for (std::uint32_t i = 0; i < 50; ++i)
    sends.push_back(channel.SendMessageAsync(With(Request("echo"), "index", U32(i))));
  for (std::uint32_t i = 0; i < 50; ++i)
    EXPECT_EQ(*sends[i].Get().Message.Lookup("index").TryUInt32(), i);

  // Companion to app: whatever the handler does, the companion's call ends.
  const std::pair<const char*, const char*> rows[] = {
      {"type=s:keyboardsUpdated level=y:3", "reply 0"},  // unanswered: the empty answer
      {"type=s:ask", "reply 0 n=y:7 ok=b:true"},
      {"type=s:throw", "reply 0"},
      {"type=s:unsendable", "error 0x80004005 The string under key 'bad' holds a NUL character"},
      {"type=s:twice", "reply 0 first=u:1"},
  };
  for (const auto& [message, reply] : rows) {
    SCOPED_TRACE(message);
    companion->WriteLine(std::string("send ") + message);
    EXPECT_EQ(companion->ReadLine(), reply);
  }
  std::lock_guard lock(mutex);
  // First the empty message with which a companion announces itself.
  ASSERT_EQ(received.size(), 1 + std::size(rows));
  EXPECT_EQ(received[0], ValueSet());
  EXPECT_EQ(received[1], Set({{"type", Str("keyboardsUpdated")}, {"level", U8(3)}}));
}

// Tools made for a message bus greet the app with Hello. They are visitors:
// their notifications reach the handlers of the companion's channel, and
// they never take that channel's place.
TEST_F(ChannelTest, ForeignPeersWithBusctlAndGdbusGetTheEmptyAnswer) {
  std::atomic<int> notifications{0};
  recorder_.OnActivated([&](const AppServiceConnection& connection) {
    connection.RequestReceived(
        [&](const AppServiceConnection&, const AppServiceRequestReceivedEventArgs& args) {
          if (args.Request.Message() == Set({{"type", Str("keyboardsUpdated")}})) ++notifications;
        });
  });
  const std::string address = "unix:path=" + SocketPath().string();
  const std::string busctl = "timeout 10 busctl --address=" + address +
                             " call io.tessarel.App /io/tessarel/AppService"
                             " io.tessarel.AppService1 Message ";
  // Before any companion the visitor is answered all the same.
  EXPECT_EQ(RunCommand(busctl + "'a{sv}' 1 type s keyboardsUpdated").output, "ua{sv} 0 0\n");
  AppServiceConnection channel;
  auto companion = StartCompanion(&channel);

  // The last is refused by our decoder, and the visitor hears why.
  const std::pair<std::string, std::string> rows[] = {
      {busctl + "'a{sv}' 1 type s keyboardsUpdated", "ua{sv} 0 0\n"},
      {"timeout 10 gdbus call --address " + address +
           " --dest io.tessarel.App --object-path /io/tessarel/AppService"
           " --method io.tessarel.AppService1.Message \"{'type': <'keyboardsUpdated'>}\"",
       "(uint32 0, @a{sv} {})\n"},
      {busctl + "'a{sv}' 1 type d 1.5",
       "Call failed: Unsupported value type 'd' under key 'type'\n"},
  };
  for (const auto& [command, output] : rows) {
    SCOPED_TRACE(command);
    EXPECT_EQ(RunCommand(command).output, output);
  }
  EXPECT_EQ(notifications.load(), 2);
  EXPECT_EQ(recorder_.Count(), 1u);  // the companion's channel is still the one
  EXPECT_EQ(channel.SendMessageAsync(Request("echo")).Get().Message, Request("echo"));
}

TEST_F(ChannelTest, KillingTheCompanionSettlesEveryRequestInFlight) {
  AppServiceConnection channel;
  auto companion = StartCompanion(&channel);
  // "hold" stops the companion's link thread: nothing after it is read or
  // answered, so all thousand stay in flight until the kill.
  const auto held = channel.SendMessageAsync(Request("hold"));
  std::vector<IAsyncOperation<AppServiceResponse>> inFlight;
  for (int i = 0; i < 1000; ++i) inFlight.push_back(channel.SendMessageAsync(Request("echo")));
  companion->Kill(SIGKILL);
  companion->Wait();
  int disconnected = 0;
  for (const auto& send : inFlight) disconnected += FailureCode(send) == error_codes::kDisconnected;
  EXPECT_EQ(disconnected, 1000);
  EXPECT_EQ(FailureCode(held), error_codes::kDisconnected);
  EXPECT_EQ(FailureCode(channel.SendMessageAsync(Request("echo"))), error_codes::kDisconnected);

  // The app side keeps serving: the next companion is accepted and answered.
  AppServiceConnection second;
  auto next = StartCompanion(&second);
  ASSERT_TRUE(second);
  EXPECT_EQ(second.SendMessageAsync(Request("echo")).Get().Message, Request("echo"));
}

TEST_F(ChannelTest, StoppingTheListenerFailsPendingSendsAndCompanionsReconnect) {
  AppServiceConnection channel;
  auto held = StartCompanion(&channel);
  auto other = StartCompanion();
  const auto hold = channel.SendMessageAsync(Request("hold"));
  listener_.reset();
  EXPECT_EQ(FailureCode(hold, std::chrono::seconds(2)), error_codes::kDisconnected);
  EXPECT_FALSE(std::filesystem::exists(SocketPath()));

  // The companion library sees the app go, fails its sends meanwhile, and
  // connects again when the app is back.
  ASSERT_TRUE(other->WaitForLine("disconnected"));
  other->WriteLine("send type=s:keyboardsUpdated");
  EXPECT_EQ(other->ReadLine(),
            "error 0x80010108 " + std::string(SystemMessageForCode(error_codes::kDisconnected)));
  ActivationRecorder restarted;
  listener_ = std::make_unique<AppServiceListener>(SocketPath(), restarted.Handler());
  ASSERT_TRUE(other->WaitForLine("connected 2"));
  const AppServiceConnection again = restarted.WaitFor(1);
  ASSERT_TRUE(again);
  EXPECT_EQ(again.SendMessageAsync(Request("echo")).Get().Message, Request("echo"));
}

}  // namespace
}  // namespace tessarel::testing
