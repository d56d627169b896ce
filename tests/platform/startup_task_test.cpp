#include "platform/startup_task.h"

#include <glib.h>
#include <gtest/gtest.h>
#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <regex>
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
  std::stringstream text;
  text << std::ifstream(path).rdbuf();
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
  // Keys added to an entry; kNone: no file there.
  constexpr const char* kNone = nullptr;
  constexpr const char* kBroken = "[broken\n";  // the rest of the entry cannot be read
  constexpr const char* kHidden = "Hidden=true\n";
  constexpr const char* kGnomeOff = "X-GNOME-Autostart-enabled=false\n";
  constexpr S kOn = S::Enabled, kOff = S::Disabled, kUserOff = S::DisabledByUser,
              kPolicyOn = S::EnabledByPolicy, kPolicyOff = S::DisabledByPolicy;
  struct Row {
    const char* desc;
    const char* user;
    const char* system1;
    const char* system2;
    S state;
    S afterEnable;   // from the same files, after RequestEnableAsync
    S afterDisable;  // from the same files, after Disable
  } rows[] = {
      {"nothing anywhere", kNone, kNone, kNone, kOff, kOn, kOff},
      {"user's on", "", kNone, kNone, kOn, kOn, kUserOff},
      {"user's hidden", kHidden, kNone, kNone, kUserOff, kOn, kUserOff},
      {"user's off for GNOME", kGnomeOff, kNone, kNone, kUserOff, kOn, kUserOff},
      {"OnlyShowIn another desktop", "OnlyShowIn=X;\n", kNone, kNone, kUserOff, kUserOff, kUserOff},
      {"OnlyShowIn ours among others", "OnlyShowIn=X;Shared;\n", kNone, kNone, kOn, kOn, kUserOff},
      {"NotShowIn ours", "NotShowIn=Test;\n", kNone, kNone, kUserOff, kUserOff, kUserOff},
      {"TryExec missing", "TryExec=/nonexistent\n", kNone, kNone, kUserOff, kUserOff, kUserOff},
      {"TryExec on PATH", "TryExec=sh\n", kNone, kNone, kOn, kOn, kUserOff},
      {"administrator's on", kNone, "", kNone, kPolicyOn, kPolicyOn, kPolicyOn},
      {"administrator's hidden", kNone, kHidden, kNone, kPolicyOff, kPolicyOff, kPolicyOff},
      {"administrator's off by default", kNone, kGnomeOff, kNone, kOff, kOn, kOff},
      {"user's on over administrator's hidden", "", kHidden, kNone, kOn, kOn, kPolicyOff},
      {"user's hidden over administrator's on", kHidden, "", kNone, kUserOff, kOn, kUserOff},
      {"second system dir hides", kNone, kNone, kHidden, kPolicyOff, kPolicyOff, kPolicyOff},
      {"first system dir wins", kNone, "", kHidden, kPolicyOn, kPolicyOn, kPolicyOn},
      {"unparseable user entry", kBroken, kNone, kNone, kUserOff, kUserOff, kUserOff},
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

// The user keeps the entry among their own files, linked into autostart,
// and has edited it by hand.
TEST_F(StartupTaskTest, HandEditedEntryBehindALinkKeepsEverythingButOurKeys) {
  const fs::path target = root_ / "dotfiles" / "autostart.desktop";
  WriteText(target,
            "# Mine\n[Desktop Entry]\nType=Application\n# the name I like\nName=Keyboard helper\n"
            "Name[de]=Tastaturhelfer\nExec=/bin/true\nX-GNOME-Autostart-Delay=10\nHidden=true\n\n"
            "[Desktop Action Extra]\nExec=/bin/false\n");
  fs::permissions(target, fs::perms::owner_read | fs::perms::owner_write);
  fs::create_directories(UserEntry().parent_path());
  fs::create_symlink(target, UserEntry());
  const StartupTask task = Task();
  ASSERT_EQ(task.RequestEnableAsync().Get(), S::Enabled);
  task.Disable();
  const std::string text = ReadText(target);
  // Ours: Name, Exec, Hidden, X-GNOME-Autostart-enabled; everything else,
  // comments and translations included, stays where it was. A missing key is
  // added at the end of its group. Blank lines are GKeyFile's to place.
  EXPECT_EQ(std::regex_replace(text, std::regex("\n\n+"), "\n"),
            "# Mine\n[Desktop Entry]\nType=Application\n# the name I like\n"
            "Name=Test keyboard service\nName[de]=Tastaturhelfer\nExec=\"" +
                Executable().string() +
                "\" --background\nX-GNOME-Autostart-Delay=10\nHidden=true\n"
                "X-GNOME-Autostart-enabled=false\n[Desktop Action Extra]\nExec=/bin/false\n");
  // A second round changes nothing more, blank lines included.
  ASSERT_EQ(task.RequestEnableAsync().Get(), S::Enabled);
  task.Disable();
  EXPECT_EQ(ReadText(target), text);
  EXPECT_TRUE(fs::is_symlink(UserEntry()));
  EXPECT_EQ(fs::status(target).permissions() & fs::perms::mask,
            fs::perms::owner_read | fs::perms::owner_write);
  // Each write went through a temporary file, renamed: nothing else is left.
  for (const fs::path& directory : {target.parent_path(), UserEntry().parent_path()}) {
    EXPECT_EQ(std::distance(fs::directory_iterator(directory), {}), 1) << directory;
  }
}

// Runs a program with this process's environment; whether it exited with 0,
// and its standard output and error, joined.
std::pair<bool, std::string> RunTool(std::vector<const char*> argv) {
  argv.push_back(nullptr);
  g_autofree gchar* out = nullptr;
  g_autofree gchar* err = nullptr;
  gint status = 0;
  const bool ran =
      g_spawn_sync(nullptr, const_cast<gchar**>(argv.data()), nullptr, G_SPAWN_SEARCH_PATH, nullptr,
                   nullptr, &out, &err, &status, nullptr);
  return {ran && g_spawn_check_wait_status(status, nullptr),
          std::string(out ? out : "") + (err ? err : "")};
}

// dex, a Python reader of autostart entries, and desktop-file-validate are
// independent of this code; they must read our files as we mean them. dex
// reads the same XDG variables and runs the session for the desktop "Test".
TEST_F(StartupTaskTest, DexStartsTheEnabledEntryAndDesktopFileValidateAcceptsIt) {
  for (const char* program : {"dex", "desktop-file-validate"}) {
    g_autofree gchar* found = g_find_program_in_path(program);
    ASSERT_TRUE(found) << program << " is not installed (Debian packages dex and "
                       << "desktop-file-utils; scripts/install-deps.sh)";
  }
  const StartupTask task = Task();
  ASSERT_EQ(task.RequestEnableAsync().Get(), S::Enabled);
  for (const bool enabled : {true, false}) {
    SCOPED_TRACE(enabled ? "enabled" : "disabled");
    const auto [exitedZero, output] =
        RunTool({"dex", "--verbose", "--autostart", "--dry-run", "-e", "Test"});
    ASSERT_TRUE(exitedZero) << output;
    // Enabled: dex reads our entry and runs our command. Disabled: it sees the
    // entry, hidden, and runs nothing.
    const std::string started = "Executing command: " + Executable().string() + " --background";
    EXPECT_EQ(output.find(enabled ? started : "Executing command") != std::string::npos, enabled)
        << output;
    const std::string seen = enabled ? "Autostart file: " : "hidden attribute is set: ";
    EXPECT_NE(output.find(seen + UserEntry().string()), std::string::npos) << output;
    EXPECT_EQ(RunTool({"desktop-file-validate", UserEntry().c_str()}),
              std::pair(true, std::string()));
    task.Disable();
  }
}

// Expected values follow the Desktop Entry rules for Exec by hand.
TEST(DesktopEntryCommandLineTest, QuotesByTheDesktopEntryRules) {
  const std::pair<std::vector<std::string>, const char*> rows[] = {
      {{""}, "/bin/helper \"\""},                                  // an empty argument
      {{"a\"b`c$d\\e"}, "/bin/helper \"a\\\"b\\`c\\$d\\\\e\""},    // escaped inside quotes
      {{"it's;(x)*?#~<>|&"}, "/bin/helper \"it's;(x)*?#~<>|&\""},  // reserved, not escaped
      {{"100%", "50% off"}, "/bin/helper 100%% \"50%% off\""},     // percent doubled
  };
  for (const auto& [arguments, want] : rows) {
    EXPECT_EQ(DesktopEntryCommandLine("/bin/helper", arguments), want);
  }
}

}  // namespace
}  // namespace tessarel
