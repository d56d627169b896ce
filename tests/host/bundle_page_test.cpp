// What the tessarel:// scheme serves, which URIs are the bundle's page and
// where the page may go.
#include "host/bundle_page.h"

#include <gtest/gtest.h>

#include <fstream>
#include <optional>

#include "host/bridge_call.h"

namespace tessarel {
namespace {

namespace fs = std::filesystem;

TEST(BundlePageTest, ServesOnlyFilesInsideTheBundleDirectory) {
  const fs::path root =
      fs::temp_directory_path() /
      ("tessarel-bundle-" + std::to_string(::testing::UnitTest::GetInstance()->random_seed()));
  fs::remove_all(root);
  fs::create_directories(root / "bundle" / "assets");
  for (const char* file : {"bundle/app.js", "bundle/assets/logo.png", "secret.txt"}) {
    std::ofstream(root / file) << "x";
  }
  fs::create_symlink(root / "secret.txt", root / "bundle" / "escape.txt");
  const fs::path bundle = root / "bundle" / "app.js";
  const fs::path inside = fs::canonical(root / "bundle");
  struct Row {
    const char* path;
    std::optional<fs::path> want;
  };
  const Row rows[] = {
      {"/index.windows.bundle", bundle},
      {"/assets/logo.png", inside / "assets" / "logo.png"},
      {"/assets/../app.js", inside / "app.js"},
      {"/assets/../../secret.txt", std::nullopt},
      {"/escape.txt", std::nullopt},  // a link that leads outside
      {"/assets", std::nullopt},      // a directory
      {"/missing.png", std::nullopt},
      {"assets/logo.png", std::nullopt},  // not a path
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.path);
    EXPECT_EQ(ResolveBundleResource(bundle, row.path), row.want);
  }
  fs::remove_all(root);
}

TEST(BundlePageTest, PageLoadsTheBundleUnderItsPolicy) {
  const std::string html = IndexHtml();
  EXPECT_NE(html.find("<script src=\"index.windows.bundle\"></script>"), std::string::npos);
  EXPECT_EQ(html.find("<script>"), std::string::npos);  // no inline script: the policy forbids it
  EXPECT_EQ(kContentSecurityPolicy.find("http"), std::string::npos);
}

// The page's origin decides both who may use the bridge and where the page
// may navigate; frames start on about:blank and may go there, but are not
// the page.
TEST(BundlePageTest, OnlyTheBundleOriginIsThePage) {
  struct Row {
    const char* uri;
    bool page;
    bool navigable;
  };
  const Row rows[] = {
      {"tessarel://app/index.html", true, true},
      {"tessarel://app/", true, true},
      {"tessarel://app", false, false},
      {"tessarel://app.example.com/index.html", false, false},
      {"https://example.com/tessarel://app/", false, false},
      {"about:blank", false, true},
      {"about:srcdoc", false, true},
      {"about:blankx", false, false},
      {"data:text/html,<script>1</script>", false, false},
      {"", false, false},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.uri);
    EXPECT_EQ(IsBundlePageUri(row.uri), row.page);
    EXPECT_EQ(IsAllowedNavigation(row.uri), row.navigable);
  }
}

}  // namespace
}  // namespace tessarel
