// The real program in a real window (on an X server of the test's own):
// the script bridge as a page sees it, what the page may not do, persistent
// storage across runs, --screenshot, and the ways start-up ends early.
#include <gdk-pixbuf/gdk-pixbuf.h>
#include <gtest/gtest.h>
#include <signal.h>

#include <filesystem>
#include <map>
#include <memory>
#include <nlohmann/json.hpp>
#include <sstream>

#include "host_process.h"

namespace tessarel::testing {
namespace {

namespace fs = std::filesystem;
using Json = nlohmann::json;

const fs::path kTestDirectory = TESSAREL_HOST_TEST_DIRECTORY;

std::string Describe(const ProcessRun& run) {
  std::ostringstream text;
  text << "exited=" << run.exited << " status=" << run.status << " signal=" << run.signal
       << " timedOut=" << run.timedOut << "\n--- stdout ---\n"
       << run.out << "\n--- stderr ---\n"
       << run.err;
  return text.str();
}

// "[log] bridge-test: <name> <JSON>" lines, by name.
std::map<std::string, Json> Reports(const ProcessRun& run) {
  std::map<std::string, Json> reports;
  for (const std::string& line : run.Lines("[log] bridge-test: ")) {
    const auto space = line.find(' ');
    reports[line.substr(0, space)] = Json::parse(line.substr(space + 1));
  }
  return reports;
}

Json Rejection(const char* message) {
  return {{"rejected",
           {{"isError", true},
            {"name", "Error"},
            {"code", "EUNSPECIFIED"},
            {"message", message},
            {"userInfo", nullptr}}}};
}

class WindowTest : public ::testing::Test {
 protected:
  XServer display_;
  Session session_;
};

// One run of the bridge test page, shared by the tests that read its reports.
class BridgePageTest : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    XServer display;
    Session session;
    run_ = std::make_unique<ProcessRun>(RunTessarel(
        display, session,
        {"--bundle", (kTestDirectory / "bridge_test_bundle.js").string(), "--console"}));
  }
  static void TearDownTestSuite() { run_.reset(); }

  void SetUp() override {
    ASSERT_TRUE(run_->exited && run_->status == 0) << Describe(*run_);
    reports_ = Reports(*run_);
    ASSERT_EQ(reports_["done"], true) << Describe(*run_);
    EXPECT_EQ(reports_.count("error"), 0u) << reports_["error"];
  }

  static std::unique_ptr<ProcessRun> run_;
  std::map<std::string, Json> reports_;
};

std::unique_ptr<ProcessRun> BridgePageTest::run_;

TEST_F(BridgePageTest, TheBridgeAsThePageSeesIt) {
  auto& reports = reports_;

  // The component and its properties come from the main page's markup.
  EXPECT_EQ(reports["runApplication"],
            Json::parse(R"({"componentName":"Tessarel","initialProps":{},"rootTag":"root"})"));

  EXPECT_EQ(reports["modules"],
            Json::parse(R"(["KeyBinderJs","RNCConfigModule","SettingsJs","TessarelJs"])"));
  EXPECT_EQ(reports["methodsOf.SettingsJs"], Json::parse(R"(["appVersion"])"));
  // The device module's methods in their registration order.
  EXPECT_EQ(reports["methodsOf.TessarelJs"],
            Json::parse(R"(["keyboards","sendDebugCommand","simulateKeyPress",
              "isLaunchAtStartUpEnabled","setIsLaunchAtStartUpEnabled","setLedActiveColor","setLed",
              "isFlashing","resetFirmwareState","recoverDeviceState","flashingState","updateDevice",
              "resetFirmware","recoverDevice","firmwareVersion","resetToBootloader","selectFile",
              "setCancelUpdate"])"));
  EXPECT_EQ(reports["config"]["VERSION"], TESSAREL_TEST_VERSION);

  // The version of the package manifest of the build tree.
  const Json version = {{"resolved", TESSAREL_TEST_VERSION}};
  EXPECT_EQ(reports["appVersion"], version);
  EXPECT_EQ(reports["appVersionTwice"], Json::array({version, version}));
  EXPECT_EQ(reports["appVersionExtraArguments"], version);

  // The placeholder rejects when its promise is released, with any arguments.
  EXPECT_EQ(reports["sendDebugCommand"], Rejection("Promise destroyed."));
  EXPECT_EQ(reports["sendDebugCommandNoArguments"], Rejection("Promise destroyed."));
  // Too many and too few arguments are bound (extras dropped, missing null)
  // and the body runs: with no companion it rejects with its own message.
  EXPECT_EQ(reports["setLedTenArguments"], Rejection("Service connection isn't running yet"));
  EXPECT_EQ(reports["setLedNoArguments"], Rejection("Service connection isn't running yet"));
  // An argument JSON cannot carry is refused in the page; the host goes on.
  EXPECT_EQ(reports["unserializableArgument"]["rejected"]["name"], "TypeError");

  EXPECT_EQ(reports["forgedWithoutToken"]["rejected"]["message"],
            "Refused: not from the bundle's page");
  EXPECT_EQ(reports["nativeModulesFrozen"], true);

  EXPECT_EQ(reports["events"],
            Json::parse(R"({"seen":[["a",1,"two"],["b",1],["b",3]],"both":2,"afterRemoveAll":0,
                            "other":1})"));
}

TEST_F(BridgePageTest, ThePageCannotLeaveOrLetOthersIn) {
  auto& reports = reports_;
  const ProcessRun& run = *run_;

  // The content policy: no inline script, no eval, nothing remote.
  EXPECT_EQ(reports["inlineScriptRan"], false);
  EXPECT_EQ(reports["evalRan"], false);
  EXPECT_EQ(reports["remoteScript"], "error");
  EXPECT_EQ(reports["remoteFetch"]["rejected"]["name"], "TypeError");
  const Json& violations = reports["violations"];
  for (const char* wanted : {"connect-src https://example.com/data.json",
                             "script-src-elem https://example.com/remote.js"}) {
    EXPECT_NE(std::find(violations.begin(), violations.end(), wanted), violations.end())
        << wanted << " in " << violations;
  }
  EXPECT_FALSE(reports["frameViolations"].empty());

  // A frame of the page's origin has the channel but not the token and is
  // refused; a sandboxed (opaque origin) frame loads but cannot run script.
  const Json& frames = reports["frames"];
  EXPECT_EQ(frames["sameOriginLoaded"], true);
  EXPECT_EQ(frames["sandboxedLoaded"], true);
  ASSERT_EQ(frames["probes"].size(), 1u) << frames;
  EXPECT_EQ(frames["probes"][0]["hasTessarelNative"], false);
  EXPECT_EQ(frames["probes"][0]["error"], "Refused: not from the bundle's page");
  EXPECT_FALSE(frames["probes"][0].contains("reply"));

  // Navigation elsewhere and new windows are refused; the page stays.
  EXPECT_EQ(reports["windowOpen"], nullptr);
  EXPECT_EQ(reports["afterNavigation"], "tessarel://app/index.html");
  EXPECT_NE(run.out.find("[host] refused navigation to https://example.com/\n"), std::string::npos)
      << run.out;
}

TEST_F(WindowTest, WebStorageSurvivesARestartOfTheSameUser) {
  const std::vector<std::string> arguments = {
      "--bundle", (kTestDirectory / "storage_bundle.js").string(), "--console"};
  const ProcessRun first = RunTessarel(display_, session_, arguments);
  ASSERT_TRUE(first.exited && first.status == 0) << Describe(first);
  EXPECT_EQ(first.Line("[log] storage-test: before "), "null");

  const ProcessRun second = RunTessarel(display_, session_, arguments);
  ASSERT_TRUE(second.exited && second.status == 0) << Describe(second);
  EXPECT_EQ(second.Line("[log] storage-test: before "), "\"kept across runs\"");
  // Kept in the user's data directory, not somewhere shared.
  EXPECT_TRUE(fs::exists(session_.Root() / "data" / "tessarel"));

  Session otherUser;
  const ProcessRun third = RunTessarel(display_, otherUser, arguments);
  ASSERT_TRUE(third.exited && third.status == 0) << Describe(third);
  EXPECT_EQ(third.Line("[log] storage-test: before "), "null");
}

TEST_F(WindowTest, ScreenshotShowsThePage) {
  const fs::path picture = session_.Root() / "window.png";
  const ProcessRun run =
      RunTessarel(display_, session_,
                  {"--bundle", (kTestDirectory / "screenshot_bundle.js").string(), "--screenshot",
                   picture.string()});
  ASSERT_TRUE(run.exited && run.status == 0) << Describe(run);
  GError* error = nullptr;
  GdkPixbuf* pixbuf = gdk_pixbuf_new_from_file(picture.c_str(), &error);
  ASSERT_NE(pixbuf, nullptr) << (error ? error->message : "") << Describe(run);
  EXPECT_EQ(gdk_pixbuf_get_width(pixbuf), 1200);
  EXPECT_EQ(gdk_pixbuf_get_height(pixbuf), 800);
  // The page's colour, in the middle of the window.
  const guchar* middle = gdk_pixbuf_get_pixels(pixbuf) + 400 * gdk_pixbuf_get_rowstride(pixbuf) +
                         600 * gdk_pixbuf_get_n_channels(pixbuf);
  EXPECT_EQ(middle[0], 200);
  EXPECT_EQ(middle[1], 30);
  EXPECT_EQ(middle[2], 60);
  g_object_unref(pixbuf);
}

TEST_F(WindowTest, WithoutPackageIdentityAppVersionEndsTheProcess) {
  // The program alone, with no package manifest beside it.
  const fs::path program = session_.Root() / "bin" / "tessarel";
  fs::create_directories(program.parent_path());
  fs::copy_file(TESSAREL_HOST_PROGRAM, program);
  const ProcessRun run =
      RunTessarel(display_, session_,
                  {"--bundle", (kTestDirectory / "version_bundle.js").string(), "--console"},
                  std::chrono::seconds(60), program);
  EXPECT_FALSE(run.timedOut) << Describe(run);
  EXPECT_FALSE(run.exited && run.status == 0) << Describe(run);
  EXPECT_EQ(run.signal, SIGABRT) << Describe(run);
  EXPECT_NE(run.err.find("SettingsJs.appVersion: no package identity"), std::string::npos)
      << Describe(run);
  EXPECT_EQ(run.Line("[log] version-test: "), "");  // it never answered
}

TEST(StartupTest, AMissingProviderClassEndsStartUpNamingIt) {
  const ProcessRun run =
      RunProcess({TESSAREL_MISSING_PROVIDER_PROGRAM}, {}, std::chrono::seconds(30));
  EXPECT_TRUE(run.exited) << Describe(run);
  EXPECT_EQ(run.status, 1) << Describe(run);
  EXPECT_NE(run.err.find("Class not registered: RNCConfig.ReactPackageProvider"), std::string::npos)
      << Describe(run);
}

TEST(StartupTest, ABadCommandLineIsRefused) {
  const ProcessRun run =
      RunProcess({TESSAREL_HOST_PROGRAM, "--remote-debugging"}, {}, std::chrono::seconds(30));
  EXPECT_TRUE(run.exited) << Describe(run);
  EXPECT_EQ(run.status, 2);
  EXPECT_NE(run.err.find("unknown argument --remote-debugging"), std::string::npos) << run.err;
}

}  // namespace
}  // namespace tessarel::testing
