// Start-up of the application object: the script host settings, the
// package providers activated by class name in their fixed order with the
// program's own last, the command line, and a clean failure naming a class
// that is missing.
#include <gtest/gtest.h>

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "app/app.h"
#include "app/host_main.h"
#include "host/class_registry.h"
#include "host/react_native_host.h"
#include "host/react_package_provider.h"

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

TEST(AppStartupTest, RunsThePackagedBundleWithDeveloperFeaturesOff) {
  App app;
  EXPECT_EQ(App::Current(), &app);
  const ReactInstanceSettings& settings = app.InstanceSettings();
  EXPECT_FALSE(settings.UseWebDebugger || settings.UseFastRefresh || settings.UseDeveloperSupport);
  EXPECT_TRUE(app.Host().BundleFile().string().ends_with("/Bundle/index.windows.bundle"))
      << app.Host().BundleFile();
}

TEST(AppStartupTest, ProvidersInTableOrderThenTheProgramsOwn) {
  ClassRegistry registry;
  for (const std::string& name : kProviderTable) {
    registry.Register(name, [name] { return std::make_shared<NamedProvider>(name); });
  }
  App app(registry);
  std::vector<std::string> made;
  for (const auto& provider : app.PackageProviders()) {
    const auto* named = dynamic_cast<const NamedProvider*>(provider.get());
    made.push_back(named                                                 ? named->name
                   : dynamic_cast<ReactPackageProvider*>(provider.get()) ? "own"
                                                                         : "other");
  }
  std::vector<std::string> want = kProviderTable;
  want.push_back("own");
  EXPECT_EQ(made, want);
}

// What the program's main returns and prints when it cannot start.
TEST(AppStartupTest, RunHostEndsEarlyWithAStatusAndAMessage) {
  ClassRegistry withoutPicker = ClassRegistry::Default();
  withoutPicker.Unregister("ReactNativePicker.ReactPackageProvider");
  struct Row {
    std::vector<const char*> args;
    const ClassRegistry& registry;
    int status;
    const char* message;
  };
  const Row rows[] = {
      {{},
       withoutPicker,
       1,
       "Class not registered: ReactNativePicker.ReactPackageProvider (0x80040154)"},
      {{"--remote-debugging"}, ClassRegistry::Default(), 2, "unknown argument --remote-debugging"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.message);
    std::vector<char*> argv = {const_cast<char*>("tessarel")};
    for (const char* arg : row.args) argv.push_back(const_cast<char*>(arg));
    argv.push_back(nullptr);
    ::testing::internal::CaptureStderr();
    const int status = RunHost(static_cast<int>(argv.size()) - 1, argv.data(), row.registry);
    const std::string error = ::testing::internal::GetCapturedStderr();
    EXPECT_EQ(status, row.status);
    EXPECT_NE(error.find(row.message), std::string::npos) << error;
    EXPECT_EQ(App::Current(), nullptr);
  }
}

TEST(CommandLineTest, ReadsTheDevelopmentOverridesAndNothingElse) {
  struct Row {
    std::vector<const char*> args;
    std::string bundle;  // "!" when the line is refused
    bool console = false;
    std::string screenshot = "";
  };
  const Row rows[] = {
      {{"--bundle", "/b/x.js", "--console", "--screenshot", "/s.png"}, "/b/x.js", true, "/s.png"},
      {{"--bundle=/b/y.js", "--screenshot=/t.png"}, "/b/y.js", false, "/t.png"},
      {{"--bundle", "rel.js"}, (std::filesystem::current_path() / "rel.js").string()},
      {{"--bundle"}, "!"},
      {{"--screenshot="}, "!"},
      {{"--bundles", "x"}, "!"},
      {{"file.js"}, "!"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.args.front());
    std::vector<const char*> argv = {"tessarel"};
    argv.insert(argv.end(), row.args.begin(), row.args.end());
    const CommandLine parsed = ParseCommandLine(static_cast<int>(argv.size()), argv.data());
    EXPECT_EQ(!parsed.error.empty(), row.bundle == "!") << parsed.error;
    if (row.bundle == "!") continue;
    EXPECT_EQ(parsed.overrides.bundleFile.string(), row.bundle);
    EXPECT_EQ(parsed.overrides.console, row.console);
    EXPECT_EQ(parsed.overrides.screenshotFile.string(), row.screenshot);
  }
}

}  // namespace
}  // namespace tessarel
