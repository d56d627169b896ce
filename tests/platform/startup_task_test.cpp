#include "platform/startup_task.h"

#include <glib.h>
#include <gtest/gtest.h>
#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <memory>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "platform/hresult_error.h"

namespace tessarel {
namespace {

namespace fs = std::filesystem;
using S = StartupTaskState;

std::string ReadText(const fs::path& path) {
  std::ifstream in(path);
  std::stringstream text;
  text << in.rdbuf();
  return text.str();
}

void WriteText(const fs::path& path, const std::string& text) {
  fs::create_directories(path.parent_path());
  std::ofstream(path) << text;
}

std::string Entry(const std::string& extra) {
  return "[Desktop Entry]\nType=Application\nName=Someone's copy\nExec=/bin/true\n" + extra;
}

constexpr const char* kManifest = R"([Identity]
Name=io.tessarel.Test
Version=1.2.3.4
[Application]
Bundle=share/tessarel/Bundle
[Companion]
Executable=libexec/tessarel/companion
[AppService]
Socket=tessarel/app-service
[StartupTask DaemonLauncher]
DisplayName=Test keyboard service
Executable=libexec/tessarel test/tessarel-companion
Arguments=--background;
)";

constexpr const char* kFileName = "io.tessarel.Test.DaemonLauncher.desktop";

// A private XDG tree per test: the user's config directory and two system
// directories, the first the more important.
class StartupTaskTest : public ::testing::Test {
 protected:
  void SetUp() override {
    std::string pattern = (fs::temp_directory_path() / "startup-task-XXXXXX").string();
    ASSERT_NE(mkdtemp(pattern.data()), nullptr);
    root_ = pattern;
    setenv("XDG_CONFIG_HOME", (root_ / "home").c_str(), 1);
    setenv("XDG_CONFIG_DIRS", ((root_ / "sys1").string() + ":" + (root_ / "sys2").string()).c_str(),
           1);
    setenv("XDG_CURRENT_DESKTOP", "Test:Shared", 1);
    WriteText(root_ / "package.manifest", kManifest);
    package_ = Package::Load(root_ / "package.manifest", root_ / "prefix");
  }
  void TearDown() override {
    std::error_code ignored;
    fs::remove_all(root_, ignored);
  }

  // Replaces the entries of the user and of both system directories with
  // Entry(keys); nullptr leaves a directory without one.
  void LayOut(const char* user, const char* system1, const char* system2) const {
    for (const auto& [directory, text] :
         {std::pair{"home", user}, std::pair{"sys1", system1}, std::pair{"sys2", system2}}) {
      fs::remove_all(root_ / directory);
      if (text) WriteText(root_ / directory / "autostart" / kFileName, Entry(text));
    }
  }

  StartupTask Task() const { return StartupTask::GetAsync(package_, "DaemonLauncher").Get(); }
  fs::path UserEntry() const { return root_ / "home" / "autostart" / kFileName; }
  fs::path Executable() const {
    return root_ / "prefix" / "libexec" / "tessarel test" / "tessarel-companion";
  }

  fs::path root_;
  Package package_;
};

TEST_F(StartupTaskTest, FileContentsMapToStatesAndToWhatEnableAndDisableDo) {
  constexpr const char* kBroken = "[broken\n";  // the rest of the entry cannot be read
  struct Row {
    const char* desc;
    // Keys added to an entry of the user and of each system directory;
    // nullptr: no file there.
    const char* user;
    const char* system1;
    const char* system2;
    S state;
    S afterEnable;   // from the same files, after RequestEnableAsync
    S afterDisable;  // from the same files, after Disable
  } rows[] = {
      {"nothing anywhere", nullptr, nullptr, nullptr, S::Disabled, S::Enabled, S::Disabled},
      {"user's on", "", nullptr, nullptr, S::Enabled, S::Enabled, S::DisabledByUser},
      {"user's hidden", "Hidden=true\n", nullptr, nullptr, S::DisabledByUser, S::Enabled,
       S::DisabledByUser},
      {"user's off for GNOME", "X-GNOME-Autostart-enabled=false\n", nullptr, nullptr,
       S::DisabledByUser, S::Enabled, S::DisabledByUser},
      {"user's for another desktop keeps its key", "OnlyShowIn=Elsewhere;\n", nullptr, nullptr,
       S::DisabledByUser, S::DisabledByUser, S::DisabledByUser},
      {"user's for this desktop among others", "OnlyShowIn=Elsewhere;Shared;\n", nullptr, nullptr,
       S::Enabled, S::Enabled, S::DisabledByUser},
      {"user's not for this desktop", "NotShowIn=Test;\n", nullptr, nullptr, S::DisabledByUser,
       S::DisabledByUser, S::DisabledByUser},
      {"user's TryExec missing", "TryExec=/nonexistent/program\n", nullptr, nullptr,
       S::DisabledByUser, S::DisabledByUser, S::DisabledByUser},
      {"user's TryExec on PATH", "TryExec=sh\n", nullptr, nullptr, S::Enabled, S::Enabled,
       S::DisabledByUser},
      {"administrator's on", nullptr, "", nullptr, S::EnabledByPolicy, S::EnabledByPolicy,
       S::EnabledByPolicy},
      {"administrator's hidden", nullptr, "Hidden=true\n", nullptr, S::DisabledByPolicy,
       S::DisabledByPolicy, S::DisabledByPolicy},
      {"administrator's off by default", nullptr, "X-GNOME-Autostart-enabled=false\n", nullptr,
       S::Disabled, S::Enabled, S::Disabled},
      {"user's on over administrator's hidden", "", "Hidden=true\n", nullptr, S::Enabled,
       S::Enabled, S::DisabledByPolicy},
      {"user's hidden over administrator's on", "Hidden=true\n", "", nullptr, S::DisabledByUser,
       S::Enabled, S::DisabledByUser},
      {"only the second system directory hides it", nullptr, nullptr, "Hidden=true\n",
       S::DisabledByPolicy, S::DisabledByPolicy, S::DisabledByPolicy},
      {"the first system directory wins", nullptr, "", "Hidden=true\n", S::EnabledByPolicy,
       S::EnabledByPolicy, S::EnabledByPolicy},
      {"an unparseable user entry starts nothing", kBroken, nullptr, nullptr, S::DisabledByUser,
       S::DisabledByUser, S::DisabledByUser},
  };
  // One task object for every row: the state must follow the files, never a
  // cached answer.
  const StartupTask task = Task();
  for (const Row& row : rows) {
    SCOPED_TRACE(row.desc);
    LayOut(row.user, row.system1, row.system2);
    EXPECT_EQ(task.State(), row.state);
    if (row.user == kBroken) {
      // Neither direction may overwrite a file it cannot read back.
      EXPECT_THROW(task.RequestEnableAsync().Get(), hresult_error);
      EXPECT_THROW(task.Disable(), hresult_error);
      EXPECT_EQ(ReadText(UserEntry()), Entry(kBroken));
      continue;
    }
    EXPECT_EQ(task.RequestEnableAsync().Get(), row.afterEnable);
    EXPECT_EQ(task.State(), row.afterEnable);
    LayOut(row.user, row.system1, row.system2);
    task.Disable();
    EXPECT_EQ(task.State(), row.afterDisable);
    // Disabling never creates a file: an administrator's entry stays policy.
    EXPECT_EQ(fs::exists(UserEntry()), row.user != nullptr);
  }
}

TEST_F(StartupTaskTest, HandEditedEntryKeepsEverythingButOurKeys) {
  const std::string original =
      "# Mine\n[Desktop Entry]\nType=Application\n# the name I like\nName=Keyboard helper\n"
      "Name[de]=Tastaturhelfer\nExec=/bin/true\nX-GNOME-Autostart-Delay=10\nHidden=true\n\n"
      "[Desktop Action Extra]\nExec=/bin/false\n";
  WriteText(UserEntry(), original);
  fs::permissions(UserEntry(), fs::perms::owner_read | fs::perms::owner_write);
  const StartupTask task = Task();
  ASSERT_EQ(task.RequestEnableAsync().Get(), S::Enabled);
  task.Disable();
  const std::string text = ReadText(UserEntry());
  // Ours: Name, Exec, Hidden, X-GNOME-Autostart-enabled; everything else,
  // comments and translations included, stays where it was. A missing key is
  // added at the end of its group. Blank lines are GKeyFile's to place.
  const std::string expected =
      "# Mine\n[Desktop Entry]\nType=Application\n"
      "# the name I like\nName=Test keyboard service\n"
      "Name[de]=Tastaturhelfer\nExec=\"" +
      Executable().string() +
      "\" --background\nX-GNOME-Autostart-Delay=10\nHidden=true\n"
      "X-GNOME-Autostart-enabled=false\n"
      "[Desktop Action Extra]\nExec=/bin/false\n";
  std::string withoutBlankLines;
  std::istringstream lines(text);
  for (std::string line; std::getline(lines, line);) {
    if (!line.empty()) withoutBlankLines += line + "\n";
  }
  EXPECT_EQ(withoutBlankLines, expected);
  // A second round changes nothing more, blank lines included.
  ASSERT_EQ(task.RequestEnableAsync().Get(), S::Enabled);
  task.Disable();
  EXPECT_EQ(ReadText(UserEntry()), text);
  EXPECT_EQ(fs::status(UserEntry()).permissions() & fs::perms::mask,
            fs::perms::owner_read | fs::perms::owner_write);
  // Each write went through a temporary file, renamed: nothing else is left.
  EXPECT_EQ(std::distance(fs::directory_iterator(UserEntry().parent_path()), {}), 1);
}

TEST_F(StartupTaskTest, WritesThroughASymbolicLinkAndKeepsTheLink) {
  const fs::path target = root_ / "dotfiles" / "autostart.desktop";
  WriteText(target, Entry(""));
  fs::create_directories(UserEntry().parent_path());
  fs::create_symlink(target, UserEntry());
  Task().Disable();
  EXPECT_TRUE(fs::is_symlink(UserEntry()));
  EXPECT_NE(ReadText(target).find("Hidden=true"), std::string::npos);
  EXPECT_EQ(Task().State(), S::DisabledByUser);
}

// Runs a program with this process's environment; whether it exited with 0,
// and its standard output and error, joined.
std::pair<bool, std::string> RunTool(std::vector<std::string> arguments) {
  std::vector<char*> argv;
  for (auto& argument : arguments) argv.push_back(argument.data());
  argv.push_back(nullptr);
  gchar* out = nullptr;
  gchar* err = nullptr;
  gint status = 0;
  GError* error = nullptr;
  if (!g_spawn_sync(nullptr, argv.data(), nullptr, G_SPAWN_SEARCH_PATH, nullptr, nullptr, &out,
                    &err, &status, &error)) {
    std::string message = error->message;
    g_error_free(error);
    return {false, message};
  }
  std::pair<bool, std::string> run{g_spawn_check_wait_status(status, nullptr),
                                   std::string(out ? out : "") + (err ? err : "")};
  g_free(out);
  g_free(err);
  return run;
}

// dex, a Python reader of autostart entries, and desktop-file-validate are
// independent of this code; they must read our files as we mean them. dex
// reads the same XDG variables and runs the session for the desktop "Test".
TEST_F(StartupTaskTest, DexStartsTheEnabledEntryAndDesktopFileValidateAcceptsIt) {
  for (const char* program : {"dex", "desktop-file-validate"}) {
    const std::unique_ptr<gchar, decltype(&g_free)> found(g_find_program_in_path(program), g_free);
    ASSERT_TRUE(found) << program << " is not installed (Debian packages dex and "
                       << "desktop-file-utils; scripts/install-deps.sh)";
  }
  const StartupTask task = Task();
  const std::vector<std::string> dryRun = {"dex",       "--verbose", "--autostart",
                                           "--dry-run", "-e",        "Test"};
  const std::vector<std::string> validate = {"desktop-file-validate", UserEntry().string()};

  ASSERT_EQ(task.RequestEnableAsync().Get(), S::Enabled);
  auto [exitedZero, output] = RunTool(dryRun);
  ASSERT_TRUE(exitedZero) << output;
  EXPECT_NE(output.find("Autostart file: " + UserEntry().string()), std::string::npos) << output;
  EXPECT_NE(output.find("Executing command: " + Executable().string() + " --background"),
            std::string::npos)
      << output;
  EXPECT_EQ(RunTool(validate), std::pair(true, std::string()));

  task.Disable();
  std::tie(exitedZero, output) = RunTool(dryRun);
  ASSERT_TRUE(exitedZero) << output;
  EXPECT_EQ(output.find("Executing command"), std::string::npos) << output;
  EXPECT_NE(output.find("hidden attribute is set: " + UserEntry().string()), std::string::npos)
      << output;
  EXPECT_EQ(RunTool(validate), std::pair(true, std::string()));
}

// Expected values follow the Desktop Entry rules for Exec by hand.
TEST(DesktopEntryCommandLineTest, QuotesByTheDesktopEntryRules) {
  struct Row {
    const char* desc;
    std::vector<std::string> arguments;
    const char* want;
  } rows[] = {
      {"an empty argument", {""}, "/bin/helper \"\""},
      {"escaped inside quotes", {"a\"b`c$d\\e"}, "/bin/helper \"a\\\"b\\`c\\$d\\\\e\""},
      {"reserved but not escaped", {"it's;(x)*?#~<>|&"}, "/bin/helper \"it's;(x)*?#~<>|&\""},
      {"percent is doubled", {"100%", "50% off"}, "/bin/helper 100%% \"50%% off\""},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.desc);
    EXPECT_EQ(DesktopEntryCommandLine("/bin/helper", row.arguments), row.want);
  }
}

}  // namespace
}  // namespace tessarel
