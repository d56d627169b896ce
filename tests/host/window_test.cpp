// The real program in a real window (on an X server of the test's own):
// the script bridge as a page sees it, what the page may not do, persistent
// storage across runs, --screenshot, and start-up without package identity.
#include <gdk-pixbuf/gdk-pixbuf.h>
#include <gtest/gtest.h>
#include <signal.h>

#include <filesystem>
#include <map>
#include <nlohmann/json.hpp>

#include "host_process.h"

namespace tessarel::testing {
namespace {

namespace fs = std::filesystem;
using Json = nlohmann::json;

std::vector<std::string> WithBundle(const char* bundle, std::vector<std::string> more) {
  more.insert(more.begin(),
              {"--bundle", (fs::path(TESSAREL_HOST_TEST_DIRECTORY) / bundle).string()});
  return more;
}

Json Rejection(const char* message) {
  return {{"rejected", {{"name", "Error"}, {"code", "EUNSPECIFIED"}, {"message", message}}}};
}

class WindowTest : public ::testing::Test {
 protected:
  XServer display_;
  Session session_;
};

TEST_F(WindowTest, TheBridgeAsThePageSeesItAndWhatThePageMayNotDo) {
  const ProcessRun run =
      RunTessarel(display_, session_, WithBundle("bridge_test_bundle.js", {"--console"}));
  ASSERT_TRUE(run.exited && run.status == 0) << run.Describe();
  std::map<std::string, Json> reports;
  for (const std::string& line : run.Lines("[log] bridge-test: ")) {
    const auto space = line.find(' ');
    reports[line.substr(0, space)] = Json::parse(line.substr(space + 1));
  }
  ASSERT_EQ(reports["done"], true) << run.Describe();

  // The component and root come from the main page's markup.
  EXPECT_EQ(reports["runApplication"],
            Json::parse(R"({"componentName":"Tessarel","rootTag":"root"})"));
  // Of the ecosystem providers only the build configuration adds a module;
  // its constants reach the page.
  EXPECT_EQ(reports["modules"],
            Json::parse(R"(["KeyBinderJs","RNCConfigModule","SettingsJs","TessarelJs"])"));
  EXPECT_EQ(reports["configVersion"], TESSAREL_TEST_VERSION);
  // The version of the package manifest of the build tree, to each of two
  // calls at once; extra arguments are not read.
  const Json version = {{"resolved", TESSAREL_TEST_VERSION}};
  EXPECT_EQ(reports["appVersion"], Json::array({version, version}));
  // The placeholder rejects when its promise is released.
  EXPECT_EQ(reports["sendDebugCommand"], Rejection("Promise destroyed."));
  // Too many and too few arguments are bound (extras dropped, missing null)
  // and the body runs: with no companion it rejects with its own message.
  const Json noService = Rejection("Service connection isn't running yet");
  EXPECT_EQ(reports["setLed"], Json::array({noService, noService}));
  // An argument JSON cannot carry is refused in the page; the host goes on.
  EXPECT_EQ(reports["unserializable"]["rejected"]["name"], "TypeError");
  EXPECT_EQ(reports["events"], Json::parse(R"([["a",1,"two"],["b",1],["b",3]])"));

  EXPECT_EQ(reports["policy"], Json::parse(R"({"inline":false,"eval":false})"));
  // A frame of the page's origin has the channel but not the token and is
  // refused; a sandboxed (opaque origin) frame cannot run script at all.
  EXPECT_EQ(reports["frames"], Json::parse(R"([{"hasTessarelNative":false,
                             "error":"Refused: not from the bundle's page"}])"));
  // Navigation elsewhere and new windows are refused; the page stays.
  EXPECT_EQ(reports["windowOpenRefused"], true);
  EXPECT_EQ(reports["afterNavigation"], "tessarel://app/index.html");
  EXPECT_NE(run.out.find("[host] refused navigation to https://example.com/\n"), std::string::npos);
}

TEST_F(WindowTest, WebStorageSurvivesARestartOfTheSameUser) {
  Session otherUser;
  const std::pair<const Session*, const char*> runs[] = {
      {&session_, "null"}, {&session_, "\"kept across runs\""}, {&otherUser, "null"}};
  for (const auto& [session, want] : runs) {
    const ProcessRun run =
        RunTessarel(display_, *session, WithBundle("page_bundle.js", {"--console"}));
    ASSERT_TRUE(run.exited && run.status == 0) << run.Describe();
    EXPECT_EQ(run.Line("[log] page-test: storage "), want);
  }
  // Kept in the user's data directory, not somewhere shared.
  EXPECT_TRUE(fs::exists(session_.Root() / "data" / "tessarel"));
}

TEST_F(WindowTest, ScreenshotShowsThePage) {
  const fs::path picture = session_.Root() / "window.png";
  const ProcessRun run =
      RunTessarel(display_, session_, WithBundle("page_bundle.js", {"--screenshot", picture}));
  ASSERT_TRUE(run.exited && run.status == 0) << run.Describe();
  GdkPixbuf* pixbuf = gdk_pixbuf_new_from_file(picture.c_str(), nullptr);
  ASSERT_NE(pixbuf, nullptr) << run.Describe();
  // The window's size, and the page's colour in its middle.
  const guchar* middle = gdk_pixbuf_get_pixels(pixbuf) + 400 * gdk_pixbuf_get_rowstride(pixbuf) +
                         600 * gdk_pixbuf_get_n_channels(pixbuf);
  EXPECT_EQ(std::vector<int>({gdk_pixbuf_get_width(pixbuf), gdk_pixbuf_get_height(pixbuf),
                              middle[0], middle[1], middle[2]}),
            (std::vector<int>{1200, 800, 200, 30, 60}));
  g_object_unref(pixbuf);
}

TEST_F(WindowTest, WithoutPackageIdentityAppVersionEndsTheProcess) {
  // The program alone, with no package manifest beside it.
  const fs::path program = session_.Root() / "bin" / "tessarel";
  fs::create_directories(program.parent_path());
  fs::copy_file(TESSAREL_HOST_PROGRAM, program);
  const ProcessRun run =
      RunTessarel(display_, session_, WithBundle("page_bundle.js", {"--console"}), program);
  EXPECT_EQ(run.signal, SIGABRT) << run.Describe();
  EXPECT_NE(run.err.find("SettingsJs.appVersion: no package identity"), std::string::npos)
      << run.Describe();
  EXPECT_EQ(run.Line("[log] page-test: version "), "");  // it never answered
}

}  // namespace
}  // namespace tessarel::testing
