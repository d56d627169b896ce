// Start-up of the application object: the script host settings, the
// package providers activated by class name in their fixed order with the
// program's own last, and a clean failure naming a class that is missing.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "app/app.h"
#include "app/host_main.h"
#include "host/class_registry.h"
#include "host/react_package_provider.h"
#include "platform/hresult_error.h"

namespace tessarel {
namespace {

// The providers the host loads, in its order; the program's own follows.
const std::vector<std::string> kProviderTable = {
    "ReactNativeAsyncStorage.ReactPackageProvider", "CheckboxWindows.ReactPackageProvider",
    "ReactNativePicker.ReactPackageProvider",       "RNCConfig.ReactPackageProvider",
    "ReactNativeXaml.ReactPackageProvider",
};

class NamedProvider final : public IReactPackageProvider {
 public:
  explicit NamedProvider(std::string name) : name(std::move(name)) {}
  void CreatePackage(IReactPackageBuilder&) override {}
  std::string name;
};

// A registry whose factories record the order in which they are asked.
struct RecordingRegistry {
  ClassRegistry registry;
  std::shared_ptr<std::vector<std::string>> activated =
      std::make_shared<std::vector<std::string>>();

  RecordingRegistry() {
    for (const std::string& name : kProviderTable) {
      registry.Register(name, [name, activated = activated] {
        activated->push_back(name);
        return std::make_shared<NamedProvider>(name);
      });
    }
  }
};

TEST(AppStartupTest, ConfiguresThePackagedBundleWithDeveloperFeaturesOff) {
  App app;
  EXPECT_EQ(app.JavaScriptBundleFile(), "index.windows");
  EXPECT_FALSE(app.InstanceSettings().UseWebDebugger);
  EXPECT_FALSE(app.InstanceSettings().UseFastRefresh);
  EXPECT_FALSE(app.InstanceSettings().UseDeveloperSupport);
  EXPECT_EQ(App::Current(), &app);
}

TEST(AppStartupTest, ProvidersInTableOrderThenTheProgramsOwn) {
  RecordingRegistry recording;
  App app(recording.registry);
  EXPECT_EQ(*recording.activated, kProviderTable);
  const auto& providers = app.PackageProviders();
  ASSERT_EQ(providers.size(), kProviderTable.size() + 1);
  for (std::size_t i = 0; i < kProviderTable.size(); ++i) {
    SCOPED_TRACE(kProviderTable[i]);
    auto* named = dynamic_cast<NamedProvider*>(providers[i].get());
    ASSERT_NE(named, nullptr);
    EXPECT_EQ(named->name, kProviderTable[i]);
  }
  EXPECT_NE(dynamic_cast<ReactPackageProvider*>(providers.back().get()), nullptr);
}

TEST(AppStartupTest, TheDefaultRegistryHoldsEveryProviderOfTheTable) {
  for (const std::string& name : kProviderTable) {
    SCOPED_TRACE(name);
    EXPECT_TRUE(ClassRegistry::Default().Contains(name));
    EXPECT_NE(ClassRegistry::Default().ActivateInstance(name), nullptr);
  }
}

TEST(AppStartupTest, AMissingProviderClassFailsConstructionNamingIt) {
  for (const std::string& missing : kProviderTable) {
    SCOPED_TRACE(missing);
    RecordingRegistry recording;
    recording.registry.Unregister(missing);
    try {
      App app(recording.registry);
      ADD_FAILURE() << "the App was made without " << missing;
    } catch (const hresult_error& error) {
      EXPECT_EQ(error.code(), error_codes::kClassNotRegistered);
      EXPECT_EQ(error.message(), "Class not registered: " + missing);
    }
    EXPECT_EQ(App::Current(), nullptr);
    // Activation stopped at the missing class: the ones before it were made.
    std::vector<std::string> before(
        kProviderTable.begin(), std::find(kProviderTable.begin(), kProviderTable.end(), missing));
    EXPECT_EQ(*recording.activated, before);
  }
}

TEST(AppStartupTest, RunHostExitsNonZeroNamingTheMissingClass) {
  ClassRegistry registry = ClassRegistry::Default();
  registry.Unregister("ReactNativePicker.ReactPackageProvider");
  char program[] = "tessarel";
  char* argv[] = {program, nullptr};
  ::testing::internal::CaptureStderr();
  const int status = RunHost(1, argv, registry);
  const std::string error = ::testing::internal::GetCapturedStderr();
  EXPECT_EQ(status, 1);
  EXPECT_NE(error.find("Class not registered: ReactNativePicker.ReactPackageProvider"),
            std::string::npos)
      << error;
  EXPECT_NE(error.find("0x80040154"), std::string::npos) << error;
}

TEST(CommandLineTest, ReadsTheDevelopmentOverridesAndNothingElse) {
  struct Row {
    const char* desc;
    std::vector<const char*> args;
    std::string bundle;
    bool console;
    std::string screenshot;
    bool error;
  };
  const Row rows[] = {
      {"nothing", {}, "", false, "", false},
      {"all three",
       {"--bundle", "/b/x.js", "--console", "--screenshot", "/s.png"},
       "/b/x.js",
       true,
       "/s.png",
       false},
      {"joined with =",
       {"--bundle=/b/y.js", "--screenshot=/t.png"},
       "/b/y.js",
       false,
       "/t.png",
       false},
      {"relative path made absolute",
       {"--bundle", "rel.js"},
       (std::filesystem::current_path() / "rel.js").string(),
       false,
       "",
       false},
      {"missing file", {"--bundle"}, "", false, "", true},
      {"empty file", {"--screenshot="}, "", false, "", true},
      {"unknown option", {"--inspect"}, "", false, "", true},
      {"prefix of an option is not the option", {"--bundles", "x"}, "", false, "", true},
      {"positional argument", {"file.js"}, "", false, "", true},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.desc);
    std::vector<const char*> argv = {"tessarel"};
    argv.insert(argv.end(), row.args.begin(), row.args.end());
    const CommandLine parsed = ParseCommandLine(static_cast<int>(argv.size()), argv.data());
    EXPECT_EQ(!parsed.error.empty(), row.error) << parsed.error;
    if (row.error) continue;
    EXPECT_EQ(parsed.overrides.bundleFile.string(), row.bundle);
    EXPECT_EQ(parsed.overrides.console, row.console);
    EXPECT_EQ(parsed.overrides.screenshotFile.string(), row.screenshot);
  }
}

}  // namespace
}  // namespace tessarel
