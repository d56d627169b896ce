// The native end of the page's channel without a web view: which messages
// are answered, and that every call gets exactly one reply envelope, whatever
// the method does with its promise.
#include "host/bridge_call.h"

#include <gtest/gtest.h>

#include <memory>
#include <mutex>
#include <stdexcept>
#include <thread>
#include <vector>

#include "host/json_value_io.h"
#include "host/react_instance.h"
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
      {withToken + R"("kind":"call","module":"M","method":"f","args":)" + std::string(200, '[') +
           std::string(200, ']') + "}",
       Refused},
  };
  for (const auto& [text, want] : rows) {
    SCOPED_TRACE(text.substr(0, 80));
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

// Promises a method kept, for the test to settle or drop later.
struct Kept {
  std::mutex mutex;
  std::vector<ReactPromise<JSValue>> promises;
};

class Provider final : public IReactPackageProvider {
 public:
  explicit Provider(std::shared_ptr<Kept> kept) : kept_(std::move(kept)) {}
  void CreatePackage(IReactPackageBuilder& packages) override {
    packages.AddModule("Probe", [kept = kept_](IReactModuleBuilder& builder) {
      const auto promiseMethod = [&](const char* name, auto body) {
        builder.AddMethod(name, MethodReturnType::Promise,
                          [kept, body](IJSValueReader&, std::shared_ptr<IJSValueWriter> writer,
                                       MethodResultCallback resolve, MethodResultCallback reject) {
                            body(*kept, ReactPromise<JSValue>(std::move(writer), std::move(resolve),
                                                              std::move(reject)));
                          });
      };
      promiseMethod("resolveNow", [](Kept&, ReactPromise<JSValue> p) {
        p.Resolve(JSValue::Object({{"b", 2}, {"a", "x"}}));
        p.Reject("second settlement, ignored");
      });
      promiseMethod("rejectNow", [](Kept&, ReactPromise<JSValue> p) { p.Reject("No luck"); });
      promiseMethod("keep", [](Kept& k, ReactPromise<JSValue> p) {
        std::lock_guard lock(k.mutex);
        k.promises.push_back(std::move(p));
      });
      promiseMethod("drop", [](Kept&, ReactPromise<JSValue>) {});
      promiseMethod("throws", [](Kept&, ReactPromise<JSValue>) { throw std::runtime_error("x"); });
      builder.AddMethod("fireAndForget", MethodReturnType::Void,
                        [](IJSValueReader&, std::shared_ptr<IJSValueWriter>, MethodResultCallback,
                           MethodResultCallback) {});
      return kept;
    });
  }

 private:
  std::shared_ptr<Kept> kept_;
};

class BridgeDispatchTest : public ::testing::Test {
 protected:
  struct Replies {
    std::mutex mutex;
    std::vector<std::string> envelopes;
    std::vector<std::thread::id> threads;
  };

  std::shared_ptr<Replies> Call(const char* method, const char* module = "Probe") {
    auto replies = std::make_shared<Replies>();
    DispatchBridgeCall(*instance_, BridgeCall{module, method, nlohmann::ordered_json::array()},
                       [replies](std::string envelope) {
                         std::lock_guard lock(replies->mutex);
                         replies->envelopes.push_back(std::move(envelope));
                         replies->threads.push_back(std::this_thread::get_id());
                       });
    return replies;
  }

  std::shared_ptr<Kept> kept_ = std::make_shared<Kept>();
  std::shared_ptr<ReactInstance> instance_ = ReactInstance::Create(
      {std::make_shared<Provider>(kept_)}, std::make_shared<ManualDispatcher>());
};

TEST_F(BridgeDispatchTest, EveryCallGetsExactlyOneEnvelope) {
  struct Row {
    const char* module;
    const char* method;
    std::string want;
  };
  const Row rows[] = {
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
  for (const Row& row : rows) {
    SCOPED_TRACE(row.method);
    auto replies = Call(row.method, row.module);
    EXPECT_EQ(replies->envelopes, std::vector<std::string>{row.want});
  }
}

// A kept promise settled later on another thread replies from that thread,
// once; one dropped later is rejected as destroyed.
TEST_F(BridgeDispatchTest, KeptPromisesReplyOnceWhenSettledOrDroppedLater) {
  auto settled = Call("keep");
  auto dropped = Call("keep");
  EXPECT_TRUE(settled->envelopes.empty());
  std::vector<ReactPromise<JSValue>> kept;
  kept.swap(kept_->promises);
  ASSERT_EQ(kept.size(), 2u);
  std::thread::id settler;
  std::thread([&] {
    settler = std::this_thread::get_id();
    ReactPromise<JSValue> copy = kept.front();
    copy.Resolve(JSValue(7));
    kept.front().Reject("too late");
  }).join();
  EXPECT_EQ(settled->envelopes, std::vector<std::string>{R"({"resolve":[7]})"});
  EXPECT_EQ(settled->threads, std::vector<std::thread::id>{settler});
  EXPECT_TRUE(dropped->envelopes.empty());
  kept.clear();
  EXPECT_EQ(dropped->envelopes, std::vector<std::string>{kDestroyed});
  EXPECT_EQ(settled->envelopes.size(), 1u);
}

TEST(BridgeEnvelopeTest, ShapesAndEscaping) {
  EXPECT_EQ(ResolveEnvelope("5"), R"({"resolve":[5]})");
  EXPECT_EQ(ResolveEnvelope("null"), R"({"resolve":[]})");
  EXPECT_EQ(RejectEnvelope("say \"no\"\n"),
            R"({"reject":[{"code":"EUNSPECIFIED","message":"say \"no\"\n","userInfo":null}]})");
  EXPECT_NO_THROW(ParseJsonText(RejectEnvelope(std::string("bad \xff utf-8"))));
}

}  // namespace
}  // namespace tessarel
