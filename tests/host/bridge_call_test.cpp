// The native end of the page's channel without a web view: which messages
// are answered, and that every call gets exactly one reply envelope, whatever
// the method does with its promise.
#include "host/bridge_call.h"

#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <thread>
#include <vector>

#include "host/json_value_io.h"
#include "host/react_instance.h"
#include "modules/method_binding.h"
#include "values/js_value.h"
#include "values/react_promise.h"

namespace tessarel {
namespace {

constexpr char kToken[] = "0123456789abcdef0123456789abcdef";

TEST(BridgeMessageTest, AnswersOnlyWellFormedMessagesWithTheToken) {
  struct Row {
    const char* desc;
    std::string text;
    enum { Call, Rendered, Refused } want;
  };
  const std::string token = kToken;
  const Row rows[] = {
      {"call", R"({"token":")" + token + R"(","kind":"call","module":"M","method":"f","args":[1]})",
       Row::Call},
      {"rendered", R"({"token":")" + token + R"(","kind":"rendered"})", Row::Rendered},
      {"no token", R"({"kind":"call","module":"M","method":"f","args":[]})", Row::Refused},
      {"wrong token", R"({"token":"x","kind":"call","module":"M","method":"f"})", Row::Refused},
      {"token prefix",
       R"({"token":")" + token.substr(0, 31) + R"(","kind":"call","module":"M","method":"f"})",
       Row::Refused},
      {"token not a string", R"({"token":1,"kind":"call","module":"M","method":"f"})",
       Row::Refused},
      {"unknown kind", R"({"token":")" + token + R"(","kind":"eval"})", Row::Refused},
      {"no module", R"({"token":")" + token + R"(","kind":"call","method":"f"})", Row::Refused},
      {"method not a string",
       R"({"token":")" + token + R"(","kind":"call","module":"M","method":[]})", Row::Refused},
      {"not an object", R"(["call"])", Row::Refused},
      {"not JSON", "call M.f", Row::Refused},
      {"too deep",
       R"({"token":")" + token + R"(","args":)" + std::string(200, '[') + std::string(200, ']') +
           "}",
       Row::Refused},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.desc);
    const BridgeMessage message = ParseBridgeMessage(row.text, token);
    switch (row.want) {
      case Row::Call:
        ASSERT_TRUE(std::holds_alternative<BridgeCall>(message));
        EXPECT_EQ(std::get<BridgeCall>(message).module, "M");
        EXPECT_EQ(std::get<BridgeCall>(message).method, "f");
        EXPECT_EQ(std::get<BridgeCall>(message).args, nlohmann::ordered_json::parse("[1]"));
        break;
      case Row::Rendered:
        EXPECT_TRUE(std::holds_alternative<BridgeRendered>(message));
        break;
      case Row::Refused:
        EXPECT_TRUE(std::holds_alternative<BridgeRefusal>(message));
        break;
    }
  }
}

TEST(BridgeMessageTest, OnlyTheBundleOriginIsThePage) {
  struct Row {
    const char* uri;
    bool want;
  };
  const Row rows[] = {
      {"tessarel://app/index.html", true},
      {"tessarel://app/", true},
      {"tessarel://app", false},
      {"tessarel://app.example.com/index.html", false},
      {"tessarel://application/index.html", false},
      {"https://app/index.html", false},
      {"https://example.com/tessarel://app/", false},
      {"about:blank", false},
      {"", false},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.uri);
    EXPECT_EQ(IsBundlePageUri(row.uri), row.want);
  }
}

TEST(BridgeMessageTest, TokensAreFreshAndLongEnough) {
  const std::string a = NewBridgeToken();
  const std::string b = NewBridgeToken();
  EXPECT_EQ(a.size(), 32u);
  EXPECT_EQ(a.find_first_not_of("0123456789abcdef"), std::string::npos);
  EXPECT_NE(a, b);
}

// A module whose methods do every legal and illegal thing with their result
// callbacks.
struct ProbeModule {
  std::mutex mutex;
  std::vector<ReactPromise<JSValue>> kept;
  std::vector<JSValue> lastArguments;

  void Pair(JSValue first, JSValue second, ReactPromise<JSValue> promise) {
    lastArguments = {std::move(first), std::move(second)};
    promise.Resolve(JSValue("bound"));
  }
};

class BridgeDispatchTest : public ::testing::Test {
 protected:
  class Provider final : public IReactPackageProvider {
   public:
    explicit Provider(std::shared_ptr<ProbeModule> probe) : probe_(std::move(probe)) {}
    void CreatePackage(IReactPackageBuilder& packages) override {
      packages.AddModule("Probe", [probe = probe_](IReactModuleBuilder& builder) {
        const auto promiseMethod = [&](const char* name, auto body) {
          builder.AddMethod(
              name, MethodReturnType::Promise,
              [probe, body](IJSValueReader&, std::shared_ptr<IJSValueWriter> writer,
                            MethodResultCallback resolve, MethodResultCallback reject) {
                body(*probe, ReactPromise<JSValue>(std::move(writer), std::move(resolve),
                                                   std::move(reject)));
              });
        };
        promiseMethod("resolveNow", [](ProbeModule&, ReactPromise<JSValue> p) {
          p.Resolve(JSValue::Object({{"b", 2}, {"a", "x"}}));
          p.Reject("second settlement, ignored");
        });
        promiseMethod("rejectNow",
                      [](ProbeModule&, ReactPromise<JSValue> p) { p.Reject("No luck"); });
        promiseMethod("keep", [](ProbeModule& m, ReactPromise<JSValue> p) {
          std::lock_guard lock(m.mutex);
          m.kept.push_back(std::move(p));
        });
        promiseMethod("drop", [](ProbeModule&, ReactPromise<JSValue>) {});
        builder.AddMethod("throwsFirst", MethodReturnType::Promise,
                          [](IJSValueReader&, std::shared_ptr<IJSValueWriter>, MethodResultCallback,
                             MethodResultCallback) { throw std::runtime_error("broken"); });
        builder.AddMethod("fireAndForget", MethodReturnType::Void,
                          [](IJSValueReader&, std::shared_ptr<IJSValueWriter>, MethodResultCallback,
                             MethodResultCallback) {});
        builder.AddMethod("pair", MethodReturnType::Promise,
                          BindPromiseMethod(std::weak_ptr<ProbeModule>(probe), &ProbeModule::Pair));
        return probe;
      });
    }

   private:
    std::shared_ptr<ProbeModule> probe_;
  };

  BridgeDispatchTest()
      : probe_(std::make_shared<ProbeModule>()),
        instance_(ReactInstance::Create({std::make_shared<Provider>(probe_)},
                                        std::make_shared<ManualDispatcher>())) {}

  struct Replies {
    std::mutex mutex;
    std::vector<std::string> envelopes;
    std::vector<std::thread::id> threads;
  };

  std::shared_ptr<Replies> Call(const char* method, const char* args = "[]",
                                const char* module = "Probe") {
    auto replies = std::make_shared<Replies>();
    DispatchBridgeCall(*instance_, BridgeCall{module, method, nlohmann::ordered_json::parse(args)},
                       [replies](std::string envelope) {
                         std::lock_guard lock(replies->mutex);
                         replies->envelopes.push_back(std::move(envelope));
                         replies->threads.push_back(std::this_thread::get_id());
                       });
    return replies;
  }

  std::shared_ptr<ProbeModule> probe_;
  std::shared_ptr<ReactInstance> instance_;
};

TEST_F(BridgeDispatchTest, EveryCallGetsExactlyOneEnvelope) {
  struct Row {
    const char* desc;
    const char* module;
    const char* method;
    const char* want;
  };
  const Row rows[] = {
      {"resolved: the one value, members in key order", "Probe", "resolveNow",
       R"({"resolve":[{"a":"x","b":2}]})"},
      {"rejected: React Native's error shape", "Probe", "rejectNow",
       R"({"reject":[{"code":"EUNSPECIFIED","message":"No luck","userInfo":null}]})"},
      {"dropped unsettled", "Probe", "drop",
       R"({"reject":[{"code":"EUNSPECIFIED","message":"Promise destroyed.","userInfo":null}]})"},
      {"threw before making a promise", "Probe", "throwsFirst",
       R"({"reject":[{"code":"EUNSPECIFIED","message":"Promise destroyed.","userInfo":null}]})"},
      {"void method: resolved with nothing at once", "Probe", "fireAndForget", R"({"resolve":[]})"},
      {"unknown method", "Probe", "missing",
       R"({"reject":[{"code":"EUNSPECIFIED","message":"Native module Probe has no method missing","userInfo":null}]})"},
      {"unknown module", "Nobody", "resolveNow",
       R"({"reject":[{"code":"EUNSPECIFIED","message":"Unknown native module Nobody","userInfo":null}]})"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.desc);
    auto replies = Call(row.method, "[]", row.module);
    ASSERT_EQ(replies->envelopes.size(), 1u);
    EXPECT_EQ(replies->envelopes.front(), row.want);
  }
}

TEST_F(BridgeDispatchTest, ALaterSettlementOnAnotherThreadRepliesOnceFromThere) {
  auto replies = Call("keep");
  EXPECT_TRUE(replies->envelopes.empty());
  std::thread::id settler;
  std::thread worker([&] {
    settler = std::this_thread::get_id();
    std::vector<ReactPromise<JSValue>> kept;
    {
      std::lock_guard lock(probe_->mutex);
      kept.swap(probe_->kept);
    }
    ASSERT_EQ(kept.size(), 1u);
    ReactPromise<JSValue> copy = kept.front();
    copy.Resolve(JSValue(7));
    kept.front().Reject("too late");
  });
  worker.join();
  ASSERT_EQ(replies->envelopes.size(), 1u);
  EXPECT_EQ(replies->envelopes.front(), R"({"resolve":[7]})");
  EXPECT_EQ(replies->threads.front(), settler);
}

TEST_F(BridgeDispatchTest, KeptPromiseDroppedLaterIsRejected) {
  auto replies = Call("keep");
  {
    std::lock_guard lock(probe_->mutex);
    probe_->kept.clear();
  }
  ASSERT_EQ(replies->envelopes.size(), 1u);
  EXPECT_EQ(
      replies->envelopes.front(),
      R"({"reject":[{"code":"EUNSPECIFIED","message":"Promise destroyed.","userInfo":null}]})");
}

// The binding of module methods reads the JSON argument list by position.
TEST_F(BridgeDispatchTest, ArgumentsBindByPosition) {
  struct Row {
    const char* desc;
    const char* args;
    JSValue first;
    JSValue second;
  };
  const Row rows[] = {
      {"none: both null", "[]", JSValue(), JSValue()},
      {"too few: the rest null", "[1]", JSValue(1.0), JSValue()},
      {"too many: extras not read", R"([1, "a", true, {"x": 1}])", JSValue(1.0), JSValue("a")},
      {"not a list: all null", R"({"0": 1, "1": 2})", JSValue(), JSValue()},
      {"null: all null", "null", JSValue(), JSValue()},
      {"containers pass through", R"([[1, 2], {"k": "v"}])", JSValue(JSValueArray{1.0, 2.0}),
       JSValue::Object({{"k", "v"}})},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.desc);
    auto replies = Call("pair", row.args);
    ASSERT_EQ(replies->envelopes.size(), 1u);
    EXPECT_EQ(replies->envelopes.front(), R"({"resolve":["bound"]})");
    ASSERT_EQ(probe_->lastArguments.size(), 2u);
    EXPECT_EQ(probe_->lastArguments[0], row.first);
    EXPECT_EQ(probe_->lastArguments[1], row.second);
  }
}

TEST(BridgeEnvelopeTest, ShapesAndEscaping) {
  EXPECT_EQ(ResolveEnvelope("[1]"), R"({"resolve":[1]})");
  EXPECT_EQ(ResolveEnvelope("5"), R"({"resolve":[5]})");
  EXPECT_EQ(ResolveEnvelope("null"), R"({"resolve":[]})");
  EXPECT_EQ(RejectEnvelope("say \"no\"\n"),
            R"({"reject":[{"code":"EUNSPECIFIED","message":"say \"no\"\n","userInfo":null}]})");
  // The envelope is JSON the page can parse.
  EXPECT_NO_THROW(ParseJsonText(RejectEnvelope(std::string("bad \xff utf-8"))));
}

}  // namespace
}  // namespace tessarel
