// What the tessarel:// scheme serves, which URIs are the bundle's page and
// where the page may go.
#include "host/bundle_page.h"

#include <gtest/gtest.h>

#include <fstream>
#include <optional>
#include <tuple>

#include "host/bridge_call.h"
#include "host/page_files.h"

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
  const std::pair<const char*, std::optional<fs::path>> rows[] = {
      {"/index.windows.bundle", bundle},
      {"/assets/logo.png", inside / "assets" / "logo.png"},
      {"/assets/../app.js", inside / "app.js"},
      {"/assets/../../secret.txt", std::nullopt},
      {"/escape.txt", std::nullopt},  // a link that leads outside
      {"/assets", std::nullopt},      // a directory
      {"/missing.png", std::nullopt},
      {"assets/logo.png", std::nullopt},  // not a path
  };
  for (const auto& [path, want] : rows) {
    SCOPED_TRACE(path);
    EXPECT_EQ(ResolveBundleResource(bundle, path), want);
  }
  fs::remove_all(root);
}

// The window test sees inline script and eval refused; a page without a
// network cannot tell whether a remote fetch was refused, so that is here.
TEST(BundlePageTest, ThePolicyAllowsNothingRemote) {
  EXPECT_EQ(kContentSecurityPolicy.find("http"), std::string::npos);
}

// The page's origin decides both who may use the bridge and where the page
// may navigate; frames start on about:blank and may go there, but are not
// the page.
TEST(BundlePageTest, OnlyTheBundleOriginIsThePage) {
  // URI; whether it is the page; whether the page may go there; whether it is
  // data the page made itself, which it may save.
  const std::tuple<const char*, bool, bool, bool> rows[] = {
      {"tessarel://app/index.html", true, true, false},
      {"tessarel://app/", true, true, false},
      {"tessarel://app", false, false, false},
      {"tessarel://app.example.com/index.html", false, false, false},
      {"https://example.com/tessarel://app/", false, false, false},
      {"about:blank", false, true, false},
      {"about:srcdoc", false, true, false},
      {"about:blankx", false, false, false},
      {"blob:tessarel://app/6c1f0a52-2f3b-4c55-9b0e-1d2f3a4b5c6d", false, false, true},
      {"blob:tessarel://app.example.com/6c1f0a52", false, false, false},
      {"blob:tessarel://app", false, false, false},
      {"blob:https://example.com/6c1f0a52", false, false, false},
      {"data:application/json,%7B%7D", false, false, true},
      {"file:///etc/passwd", false, false, false},
  };
  for (const auto& [uri, page, navigable, pageData] : rows) {
    SCOPED_TRACE(uri);
    EXPECT_EQ(IsBundlePageUri(uri), page);
    EXPECT_EQ(IsAllowedNavigation(uri), navigable);
    EXPECT_EQ(IsPageMadeData(uri), pageData);
  }
}

}  // namespace
}  // namespace tessarel
