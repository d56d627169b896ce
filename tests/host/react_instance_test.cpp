// The module table of one script instance: the order in which modules and
// their initializers are made, their constants, and the way events get from
// any thread to the page in order, or nowhere once the instance is gone.
#include "host/react_instance.h"

#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "host/json_value_io.h"
#include "host/react_native_host.h"
#include "values/js_value.h"

namespace tessarel {
namespace {

using Log = std::vector<std::string>;

// A provider of named modules; each module, initializer and module
// destruction writes to `log`.
class LoggingProvider final : public IReactPackageProvider {
 public:
  LoggingProvider(std::shared_ptr<Log> log, std::vector<std::string> names)
      : log_(std::move(log)), names_(std::move(names)) {}

  void CreatePackage(IReactPackageBuilder& packages) override {
    for (const std::string& name : names_) {
      packages.AddModule(name, [log = log_, name](IReactModuleBuilder& builder) {
        log->push_back("create " + name);
        for (const char* step : {"init1 ", "init2 "}) {
          builder.AddInitializer([log, name, step](const std::shared_ptr<IReactContext>&) {
            log->push_back(step + name);
          });
        }
        builder.AddMethod("m", MethodReturnType::Promise, nullptr);
        return std::shared_ptr<std::string>(new std::string(name), [log](std::string* module) {
          log->push_back("destroy " + *module);
          delete module;
        });
      });
    }
  }

 private:
  std::shared_ptr<Log> log_;
  std::vector<std::string> names_;
};

TEST(ReactInstanceTest, MakesModulesInProviderOrderEachInitializedAtOnce) {
  auto log = std::make_shared<Log>();
  auto instance = ReactInstance::Create(
      {std::make_shared<LoggingProvider>(log, std::vector<std::string>{"A", "B"}), nullptr,
       std::make_shared<LoggingProvider>(log, std::vector<std::string>{"C", "A"})},
      std::make_shared<ManualDispatcher>());
  // The second "A" is not made at all: the first registration of a name wins.
  EXPECT_EQ(*log, (Log{"create A", "init1 A", "init2 A", "create B", "init1 B", "init2 B",
                       "create C", "init1 C", "init2 C"}));
  ASSERT_EQ(instance->Modules().size(), 3u);
  EXPECT_EQ(instance->Modules()[2].name, "C");
  EXPECT_EQ(instance->FindModule("D"), nullptr);
  EXPECT_NE(instance->FindModule("B")->FindMethod("m"), nullptr);
  EXPECT_EQ(instance->FindModule("B")->FindMethod("n"), nullptr);
}

// A module that keeps its context, for the test to emit through.
class EmitterProvider final : public IReactPackageProvider {
 public:
  std::shared_ptr<IReactContext> context;

  void CreatePackage(IReactPackageBuilder& packages) override {
    packages.AddModule("Emitter", [this](IReactModuleBuilder& builder) {
      builder.AddInitializer(
          [this](const std::shared_ptr<IReactContext>& given) { context = given; });
      return std::shared_ptr<void>();
    });
  }

  // Writes `args` as the event's arguments; without, passes no writer at all.
  void Emit(const std::string& name, std::optional<JSValue> args = std::nullopt) const {
    context->EmitJSEvent(
        "", name, args ? [args](IJSValueWriter& w) { WriteValue(w, *args); } : JSValueArgWriter());
  }
};

class ReactInstanceEventsTest : public ::testing::Test {
 protected:
  std::shared_ptr<ManualDispatcher> ui_ = std::make_shared<ManualDispatcher>();
  std::shared_ptr<EmitterProvider> provider_ = std::make_shared<EmitterProvider>();
  std::shared_ptr<ReactInstance> instance_ = ReactInstance::Create({provider_}, ui_);
};

TEST_F(ReactInstanceEventsTest, EventsFromAnyThreadArriveInOrderAfterTheSinkIsSet) {
  // Emitted before the page is ready: queued, then delivered first.
  provider_->Emit("early", JSValueArray{9});
  std::thread([&] {
    for (int i = 0; i < 3; ++i) provider_->Emit("fromThread", JSValueArray{i});
  }).join();
  ui_->RunPending();

  Log delivered;
  instance_->SetEventSink([&](const std::string& name, const std::string& args) {
    delivered.push_back(name + " " + args);
  });
  // A single value is a list of one; nothing written is an empty list.
  provider_->Emit("single", true);
  provider_->Emit("bare");
  ui_->RunPending();
  EXPECT_EQ(delivered, (Log{"early [9]", "fromThread [0]", "fromThread [1]", "fromThread [2]",
                            "single [true]", "bare []"}));
}

TEST_F(ReactInstanceEventsTest, AnEventForAnInstanceThatIsGoneIsDropped) {
  int delivered = 0;
  instance_->SetEventSink([&](const std::string&, const std::string&) { ++delivered; });
  provider_->Emit("late");
  instance_.reset();         // the page reloaded before the event got there
  provider_->Emit("later");  // the module may still emit afterwards
  EXPECT_EQ(ui_->RunPending(), 2u);
  EXPECT_EQ(delivered, 0);
}

TEST(ReactNativeHostTest, ReloadReplacesTheModulesOldOnesFirst) {
  auto log = std::make_shared<Log>();
  ReactNativeHost host;
  host.PackageProviders().push_back(
      std::make_shared<LoggingProvider>(log, std::vector<std::string>{"A"}));
  std::weak_ptr<ReactInstance> first = host.ReloadInstance();
  log->clear();
  host.ReloadInstance();
  EXPECT_TRUE(first.expired());
  EXPECT_EQ(*log, (Log{"destroy A", "create A", "init1 A", "init2 A"}));
}

}  // namespace
}  // namespace tessarel
