// What the tessarel:// scheme serves and where the page may go.
#include "host/bundle_page.h"

#include <gtest/gtest.h>

#include <fstream>
#include <optional>

namespace tessarel {
namespace {

namespace fs = std::filesystem;

class BundleResourceTest : public ::testing::Test {
 protected:
  void SetUp() override {
    root_ =
        fs::temp_directory_path() /
        ("tessarel-bundle-" + std::to_string(::testing::UnitTest::GetInstance()->random_seed()) +
         "-" + ::testing::UnitTest::GetInstance()->current_test_info()->name());
    fs::remove_all(root_);
    fs::create_directories(root_ / "bundle" / "assets");
    Touch(root_ / "bundle" / "app.js");
    Touch(root_ / "bundle" / "assets" / "logo.png");
    Touch(root_ / "bundle" / "with space.txt");
    Touch(root_ / "secret.txt");
    fs::create_symlink(root_ / "secret.txt", root_ / "bundle" / "escape.txt");
  }
  void TearDown() override { fs::remove_all(root_); }

  static void Touch(const fs::path& file) { std::ofstream(file) << "x"; }

  fs::path root_;
};

TEST_F(BundleResourceTest, ServesOnlyFilesInsideTheBundleDirectory) {
  const fs::path bundle = root_ / "bundle" / "app.js";
  const fs::path inside = fs::canonical(root_ / "bundle");
  struct Row {
    const char* path;
    std::optional<fs::path> want;
  };
  const Row rows[] = {
      {"/index.windows.bundle", bundle},
      {"/assets/logo.png", inside / "assets" / "logo.png"},
      {"/assets/../app.js", inside / "app.js"},
      {"/with space.txt", inside / "with space.txt"},
      {"/../secret.txt", std::nullopt},
      {"/assets/../../secret.txt", std::nullopt},
      {"/escape.txt", std::nullopt},  // a link that leads outside
      {"/assets", std::nullopt},      // a directory
      {"/missing.png", std::nullopt},
      {"/", std::nullopt},
      {"", std::nullopt},
      {"assets/logo.png", std::nullopt},  // not a path
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.path);
    EXPECT_EQ(ResolveBundleResource(bundle, row.path), row.want);
  }
}

TEST(BundlePageTest, PageLoadsTheBundleUnderItsPolicy) {
  const std::string html = IndexHtml();
  EXPECT_NE(html.find("<div id=\"root\"></div>"), std::string::npos);
  EXPECT_NE(html.find("<script src=\"index.windows.bundle\"></script>"), std::string::npos);
  EXPECT_EQ(html.find("<script>"), std::string::npos);  // no inline script: the policy forbids it
  EXPECT_NE(kContentSecurityPolicy.find("script-src 'self'"), std::string::npos);
  EXPECT_EQ(kContentSecurityPolicy.find("http"), std::string::npos);
}

TEST(BundlePageTest, NavigationStaysOnTheBundlesOrigin) {
  struct Row {
    const char* uri;
    bool allowed;
  };
  const Row rows[] = {
      {"tessarel://app/index.html", true},
      {"tessarel://app/other.html#x", true},
      {"about:blank", true},
      {"about:srcdoc", true},
      {"https://example.com/", false},
      {"http://localhost:8081/index.html", false},
      {"file:///etc/passwd", false},
      {"data:text/html,<script>1</script>", false},
      {"javascript:alert(1)", false},
      {"tessarel://other/index.html", false},
      {"about:blankx", false},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.uri);
    EXPECT_EQ(IsAllowedNavigation(row.uri), row.allowed);
  }
}

}  // namespace
}  // namespace tessarel
