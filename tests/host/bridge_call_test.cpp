// The native end of the page's channel without a web view: which messages
// are answered, and that every call gets exactly one reply envelope, whatever
// the method does with its promise.
#include "host/bridge_call.h"

#include <gtest/gtest.h>

#include <memory>
#include <stdexcept>
#include <thread>
#include <tuple>
#include <vector>

#include "host/json_value_io.h"
#include "host/react_instance.h"
#include "probe_provider.h"
#include "values/js_value.h"
#include "values/react_promise.h"

namespace tessarel {
namespace {

constexpr char kDestroyed[] =
    R"({"reject":[{"code":"EUNSPECIFIED","message":"Promise destroyed.","userInfo":null}]})";

TEST(BridgeMessageTest, AnswersOnlyWellFormedMessagesWithTheToken) {
  enum Want { Call, Rendered, Refused };
  const std::string token = "0123456789abcdef0123456789abcdef";
  const std::string withToken = R"({"token":")" + token + R"(",)";
  const std::pair<std::string, Want> rows[] = {
      {withToken + R"("kind":"call","module":"M","method":"f","args":[1]})", Call},
      {withToken + R"("kind":"rendered"})", Rendered},
      {R"({"kind":"call","module":"M","method":"f","args":[]})", Refused},
      {R"({"token":")" + token.substr(0, 31) + R"(","kind":"call","module":"M","method":"f"})",
       Refused},
      {R"({"token":1,"kind":"call","module":"M","method":"f"})", Refused},
      {withToken + R"("kind":"eval"})", Refused},
      {withToken + R"("kind":"call","module":"M","method":[]})", Refused},
      {R"(["call"])", Refused},
  };
  for (const auto& [text, want] : rows) {
    SCOPED_TRACE(text);
    const BridgeMessage message = ParseBridgeMessage(text, token);
    ASSERT_EQ(message.index(), static_cast<std::size_t>(want));
    if (want == Call) {
      const auto& call = std::get<BridgeCall>(message);
      EXPECT_EQ(call.module + "." + call.method + call.args.dump(), "M.f[1]");
    }
  }
  // A bridge without a token yet lets nothing in.
  EXPECT_TRUE(std::holds_alternative<BridgeRefusal>(
      ParseBridgeMessage(R"({"token":"","kind":"rendered"})", "")));
}

TEST(BridgeMessageTest, TokensAreFreshHexDigits) {
  const std::string a = NewBridgeToken();
  EXPECT_EQ(a.size(), 32u);
  EXPECT_EQ(a.find_first_not_of("0123456789abcdef"), std::string::npos);
  EXPECT_NE(a, NewBridgeToken());
}

using testing::ProbeMethods;
using testing::ProbeProvider;
using testing::Promise;

class BridgeDispatchTest : public ::testing::Test {
 protected:
  // The envelopes a call got, with the thread each came from.
  struct Replies {
    std::vector<std::string> envelopes;
    std::vector<std::thread::id> threads;
  };

  std::shared_ptr<Replies> Call(const char* method, const char* module = "Probe") {
    auto replies = std::make_shared<Replies>();
    DispatchBridgeCall(*instance_, BridgeCall{module, method, nlohmann::ordered_json::array()},
                       [replies](std::string envelope) {
                         replies->envelopes.push_back(std::move(envelope));
                         replies->threads.push_back(std::this_thread::get_id());
                       });
    return replies;
  }

  std::vector<Promise> kept_;
  std::shared_ptr<ReactInstance> instance_ = ReactInstance::Create(
      {std::make_shared<ProbeProvider>(ProbeMethods{
          {"resolveNow",
           [](auto&, Promise p) {
             p.Resolve(JSValue::Object({{"b", 2}, {"a", "x"}}));
             p.Reject("second settlement, ignored");
           }},
          {"rejectNow", [](auto&, Promise p) { p.Reject("No luck"); }},
          {"keep", [this](auto&, Promise p) { kept_.push_back(std::move(p)); }},
          {"drop", [](auto&, Promise) {}},
          {"throws", [](auto&, Promise) { throw std::runtime_error("x"); }},
      })},
      std::make_shared<ManualDispatcher>());
};

TEST_F(BridgeDispatchTest, EveryCallGetsExactlyOneEnvelope) {
  const std::tuple<const char*, const char*, std::string> rows[] = {
      {"Probe", "resolveNow", R"({"resolve":[{"a":"x","b":2}]})"},
      {"Probe", "rejectNow",
       R"({"reject":[{"code":"EUNSPECIFIED","message":"No luck","userInfo":null}]})"},
      {"Probe", "drop", kDestroyed},
      {"Probe", "throws", kDestroyed},
      {"Probe", "fireAndForget", R"({"resolve":[]})"},
      {"Probe", "missing",
       R"({"reject":[{"code":"EUNSPECIFIED","message":"Native module Probe has no method missing","userInfo":null}]})"},
      {"Nobody", "resolveNow",
       R"({"reject":[{"code":"EUNSPECIFIED","message":"Unknown native module Nobody","userInfo":null}]})"},
  };
  for (const auto& [module, method, want] : rows) {
    SCOPED_TRACE(method);
    EXPECT_EQ(Call(method, module)->envelopes, std::vector<std::string>{want});
  }
}

// A kept promise settled later on another thread replies from that thread,
// once; one dropped later is rejected as destroyed.
TEST_F(BridgeDispatchTest, KeptPromisesReplyOnceWhenSettledOrDroppedLater) {
  auto settled = Call("keep");
  auto dropped = Call("keep");
  ASSERT_EQ(kept_.size(), 2u);
  EXPECT_TRUE(settled->envelopes.empty());
  std::thread::id settler;
  std::thread([&] {
    settler = std::this_thread::get_id();
    Promise copy = kept_.front();
    copy.Resolve(JSValue(7));
    kept_.front().Reject("too late");
  }).join();
  EXPECT_EQ(settled->envelopes, std::vector<std::string>{R"({"resolve":[7]})"});
  EXPECT_EQ(settled->threads, std::vector<std::thread::id>{settler});
  EXPECT_TRUE(dropped->envelopes.empty());
  kept_.clear();
  EXPECT_EQ(dropped->envelopes, std::vector<std::string>{kDestroyed});
  EXPECT_EQ(settled->envelopes.size(), 1u);
}

TEST(BridgeEnvelopeTest, AResultIsAlwaysAnArgumentList) {
  EXPECT_EQ(ResolveEnvelope("5"), R"({"resolve":[5]})");
  EXPECT_EQ(ResolveEnvelope("null"), R"({"resolve":[]})");
}

}  // namespace
}  // namespace tessarel
