// The module table of one script instance: the order in which modules and
// their initializers are made, their constants, and the way events get from
// any thread to the page in order, or nowhere once the instance is gone.
#include "host/react_instance.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "host/class_registry.h"
#include "host/ecosystem_providers.h"
#include "host/json_value_io.h"
#include "host/react_native_host.h"

namespace tessarel {
namespace {

using Log = std::vector<std::string>;

// A provider of named modules; each module and initializer writes to `log`.
class LoggingProvider final : public IReactPackageProvider {
 public:
  LoggingProvider(std::shared_ptr<Log> log, std::vector<std::string> names)
      : log_(std::move(log)), names_(std::move(names)) {}

  void CreatePackage(IReactPackageBuilder& packages) override {
    for (const std::string& name : names_) {
      packages.AddModule(name, [log = log_, name](IReactModuleBuilder& builder) {
        log->push_back("create " + name);
        builder.AddInitializer([log, name](const std::shared_ptr<IReactContext>&) {
          log->push_back("init1 " + name);
        });
        builder.AddInitializer([log, name](const std::shared_ptr<IReactContext>&) {
          log->push_back("init2 " + name);
        });
        builder.AddMethod("m", MethodReturnType::Promise, nullptr);
        return std::make_shared<std::string>(name);
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
  EXPECT_EQ(instance->Modules()[0].eventEmitterName, "RCTDeviceEventEmitter");
  EXPECT_EQ(instance->FindModule("D"), nullptr);
  EXPECT_NE(instance->FindModule("B")->FindMethod("m"), nullptr);
  EXPECT_EQ(instance->FindModule("B")->FindMethod("n"), nullptr);
}

TEST(ReactInstanceTest, DescribesModulesWithTheirConstants) {
  ClassRegistry registry;
  RegisterEcosystemProviders(registry);
  auto instance =
      ReactInstance::Create({registry.ActivateInstance("RNCConfig.ReactPackageProvider")},
                            std::make_shared<ManualDispatcher>());
  const auto table = ParseJsonText(instance->DescribeModules());
  const auto& config = table.at("RNCConfigModule");
  EXPECT_EQ(config.at("methods"), nlohmann::ordered_json::array());
  EXPECT_EQ(config.at("constants").at("VERSION"), TESSAREL_TEST_VERSION);
  EXPECT_EQ(config.at("constants").at("APP_ID"), "io.tessarel.Host");
  EXPECT_EQ(config.at("constants").size(), std::size(kBuildConfig));
}

// Which host features each ecosystem provider gives; the control providers
// give nothing because react-native-web draws those controls.
TEST(ReactInstanceTest, EcosystemProvidersOnThisHost) {
  struct Row {
    const char* className;
    std::size_t moduleCount;
    bool persistentStorage;
  };
  const Row rows[] = {
      {"ReactNativeAsyncStorage.ReactPackageProvider", 0, true},
      {"CheckboxWindows.ReactPackageProvider", 0, false},
      {"ReactNativePicker.ReactPackageProvider", 0, false},
      {"RNCConfig.ReactPackageProvider", 1, false},
      {"ReactNativeXaml.ReactPackageProvider", 0, false},
  };
  const ClassRegistry& registry = ClassRegistry::Default();
  for (const Row& row : rows) {
    SCOPED_TRACE(row.className);
    auto instance = ReactInstance::Create({registry.ActivateInstance(row.className)},
                                          std::make_shared<ManualDispatcher>());
    EXPECT_EQ(instance->Modules().size(), row.moduleCount);
    EXPECT_EQ(instance->UsesPersistentWebStorage(), row.persistentStorage);
  }
}

// A module that keeps its context and emits through it.
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

  void Emit(const std::string& name, const JSValueArgWriter& args) const {
    context->EmitJSEvent("", name, args);
  }
};

struct Delivered {
  std::string name;
  std::string args;
  friend bool operator==(const Delivered&, const Delivered&) = default;
};

TEST(ReactInstanceEventsTest, EventsFromAnyThreadArriveInOrderAfterTheSinkIsSet) {
  auto ui = std::make_shared<ManualDispatcher>();
  auto provider = std::make_shared<EmitterProvider>();
  auto instance = ReactInstance::Create({provider}, ui);
  ASSERT_TRUE(provider->context);

  // Emitted before the page is ready: queued, then delivered first.
  provider->Emit("early", [](IJSValueWriter& w) {
    w.WriteArrayBegin();
    w.WriteString("x");
    w.WriteArrayEnd();
  });
  std::thread other([&] {
    for (int i = 0; i < 3; ++i) {
      provider->Emit("fromThread", [i](IJSValueWriter& w) {
        w.WriteArrayBegin();
        w.WriteInt64(i);
        w.WriteArrayEnd();
      });
    }
  });
  other.join();
  ui->RunPending();

  std::vector<Delivered> delivered;
  instance->SetEventSink([&](const std::string& name, const std::string& args) {
    delivered.push_back({name, args});
  });
  // A single value is a list of one; nothing written is an empty list.
  provider->Emit("single", [](IJSValueWriter& w) { w.WriteBoolean(true); });
  provider->Emit("bare", nullptr);
  ui->RunPending();

  EXPECT_EQ(delivered, (std::vector<Delivered>{{"early", R"(["x"])"},
                                               {"fromThread", "[0]"},
                                               {"fromThread", "[1]"},
                                               {"fromThread", "[2]"},
                                               {"single", "[true]"},
                                               {"bare", "[]"}}));
}

TEST(ReactInstanceEventsTest, AnEventForAnInstanceThatIsGoneIsDropped) {
  auto ui = std::make_shared<ManualDispatcher>();
  auto provider = std::make_shared<EmitterProvider>();
  auto instance = ReactInstance::Create({provider}, ui);
  int delivered = 0;
  instance->SetEventSink([&](const std::string&, const std::string&) { ++delivered; });
  provider->Emit("late", nullptr);
  instance.reset();  // the page reloaded before the event got there
  EXPECT_EQ(ui->RunPending(), 1u);
  EXPECT_EQ(delivered, 0);
  // The module may still emit through its context afterwards.
  provider->Emit("later", nullptr);
  EXPECT_EQ(ui->RunPending(), 1u);
  EXPECT_EQ(delivered, 0);
}

TEST(ReactNativeHostTest, ReloadReplacesTheModulesOldOnesFirst) {
  auto log = std::make_shared<Log>();
  ReactNativeHost host;
  host.PackageProviders().push_back(
      std::make_shared<LoggingProvider>(log, std::vector<std::string>{"A"}));
  std::weak_ptr<ReactInstance> first = host.ReloadInstance();
  std::weak_ptr<void> firstModule = first.lock()->Modules()[0].instance;
  log->clear();
  host.ReloadInstance();
  EXPECT_TRUE(first.expired());
  EXPECT_TRUE(firstModule.expired());
  EXPECT_EQ(*log, (Log{"create A", "init1 A", "init2 A"}));
}

TEST(ReactNativeHostTest, TheBundleIsThePackagesUnlessOverridden) {
  ReactNativeHost host;
  host.InstanceSettings().JavaScriptBundleFile = "index.windows";
  EXPECT_EQ(host.BundleFile().filename(), "index.windows.bundle");
  EXPECT_EQ(host.BundleFile().parent_path().filename(), "Bundle");
  host.Overrides().bundleFile = "/tmp/other.js";
  EXPECT_EQ(host.BundleFile(), "/tmp/other.js");
}

}  // namespace
}  // namespace tessarel
