#include "platform/startup_task.h"

#include <glib.h>
#include <gtest/gtest.h>
#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "platform/hresult_error.h"

namespace tessarel {
namespace {

namespace fs = std::filesystem;

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

std::string WithoutBlankLines(const std::string& text) {
  std::string kept;
  std::istringstream lines(text);
  for (std::string line; std::getline(lines, line);) {
    if (!line.empty()) kept += line + "\n";
  }
  return kept;
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

  StartupTask Task() const { return StartupTask::GetAsync(package_, "DaemonLauncher").Get(); }
  fs::path UserEntry() const { return root_ / "home" / "autostart" / kFileName; }
  fs::path Executable() const {
    return root_ / "prefix" / "libexec" / "tessarel test" / "tessarel-companion";
  }

  fs::path root_;
  Package package_;
};

struct MappingRow {
  const char* desc;
  const char* user;  // nullptr: no file
  const char* system1;
  const char* system2;
  StartupTaskState state;
  StartupTaskState afterEnable;   // from the same files, after RequestEnableAsync
  StartupTaskState afterDisable;  // from the same files, after Disable
  // Why dex, the independent reader below, cannot judge the row; nullptr
  // when it reads the files as a session does.
  const char* dexBlindSpot;
};

using S = StartupTaskState;
const std::string kOn = Entry("");
const std::string kHidden = Entry("Hidden=true\n");
const std::string kGnomeOff = Entry("X-GNOME-Autostart-enabled=false\n");
const std::string kOtherDesktop = Entry("OnlyShowIn=Elsewhere;\n");
const std::string kThisDesktopOnly = Entry("OnlyShowIn=Elsewhere;Shared;\n");
const std::string kNotHere = Entry("NotShowIn=Test;\n");
const std::string kTryMissing = Entry("TryExec=/nonexistent/program\n");
const std::string kTryShell = Entry("TryExec=sh\n");
const std::string kBroken = "[Desktop Entry\nType=Application\n";

constexpr const char* kGnomeKey = "dex does not read GNOME's X-GNOME-Autostart-enabled";

const MappingRow kMappingRows[] = {
    {"nothing anywhere", nullptr, nullptr, nullptr, S::Disabled, S::Enabled, S::Disabled, nullptr},
    {"user entry on", kOn.c_str(), nullptr, nullptr, S::Enabled, S::Enabled, S::DisabledByUser,
     nullptr},
    {"user entry hidden", kHidden.c_str(), nullptr, nullptr, S::DisabledByUser, S::Enabled,
     S::DisabledByUser, nullptr},
    {"user entry switched off for GNOME", kGnomeOff.c_str(), nullptr, nullptr, S::DisabledByUser,
     S::Enabled, S::DisabledByUser, kGnomeKey},
    {"user entry for another desktop only keeps its key", kOtherDesktop.c_str(), nullptr, nullptr,
     S::DisabledByUser, S::DisabledByUser, S::DisabledByUser, nullptr},
    {"user entry for this desktop among others", kThisDesktopOnly.c_str(), nullptr, nullptr,
     S::Enabled, S::Enabled, S::DisabledByUser, "dex matches one desktop name only"},
    {"user entry not for this desktop", kNotHere.c_str(), nullptr, nullptr, S::DisabledByUser,
     S::DisabledByUser, S::DisabledByUser, nullptr},
    {"user entry whose TryExec is missing", kTryMissing.c_str(), nullptr, nullptr,
     S::DisabledByUser, S::DisabledByUser, S::DisabledByUser, nullptr},
    {"user entry whose TryExec is on PATH", kTryShell.c_str(), nullptr, nullptr, S::Enabled,
     S::Enabled, S::DisabledByUser, nullptr},
    {"administrator's entry on", nullptr, kOn.c_str(), nullptr, S::EnabledByPolicy,
     S::EnabledByPolicy, S::EnabledByPolicy, nullptr},
    {"administrator's entry hidden", nullptr, kHidden.c_str(), nullptr, S::DisabledByPolicy,
     S::DisabledByPolicy, S::DisabledByPolicy, nullptr},
    {"administrator's entry off by default", nullptr, kGnomeOff.c_str(), nullptr, S::Disabled,
     S::Enabled, S::Disabled, kGnomeKey},
    {"administrator's entry for another desktop", nullptr, kOtherDesktop.c_str(), nullptr,
     S::Disabled, S::Enabled, S::Disabled, nullptr},
    {"user entry on over a hidden administrator's entry", kOn.c_str(), kHidden.c_str(), nullptr,
     S::Enabled, S::Enabled, S::DisabledByPolicy, nullptr},
    {"user entry hidden over an administrator's entry on", kHidden.c_str(), kOn.c_str(), nullptr,
     S::DisabledByUser, S::Enabled, S::DisabledByUser, nullptr},
    {"both hidden", kHidden.c_str(), kHidden.c_str(), nullptr, S::DisabledByPolicy,
     S::DisabledByPolicy, S::DisabledByPolicy, nullptr},
    {"only the second system directory hides it", nullptr, nullptr, kHidden.c_str(),
     S::DisabledByPolicy, S::DisabledByPolicy, S::DisabledByPolicy, nullptr},
    {"the first system directory wins over the second", nullptr, kOn.c_str(), kHidden.c_str(),
     S::EnabledByPolicy, S::EnabledByPolicy, S::EnabledByPolicy, nullptr},
    {"an unparseable user entry starts nothing", kBroken.c_str(), nullptr, nullptr,
     S::DisabledByUser, S::DisabledByUser, S::DisabledByUser, nullptr},
};

// Lays a row's files out under a fresh user directory and fresh system
// directories named after `tag`.
void LayOut(const fs::path& root, const MappingRow& row, const std::string& tag) {
  setenv("XDG_CONFIG_HOME", (root / (tag + "home")).string().c_str(), 1);
  const std::string dirs =
      (root / (tag + "sys1")).string() + ":" + (root / (tag + "sys2")).string();
  setenv("XDG_CONFIG_DIRS", dirs.c_str(), 1);
  const auto place = [&](const char* text, const std::string& directory) {
    if (text) WriteText(root / directory / "autostart" / kFileName, text);
  };
  place(row.user, tag + "home");
  place(row.system1, tag + "sys1");
  place(row.system2, tag + "sys2");
}

TEST_F(StartupTaskTest, FileContentsMapToStatesAndToWhatEnableAndDisableDo) {
  // One task object for every row: the state must follow the environment and
  // the files, never a cached answer.
  const StartupTask task = Task();
  int index = 0;
  for (const MappingRow& row : kMappingRows) {
    SCOPED_TRACE(row.desc);
    const std::string tag = "row" + std::to_string(index++);
    LayOut(root_, row, tag + "a");
    EXPECT_EQ(task.State(), row.state);
    if (row.user == kBroken.c_str()) {
      // Neither direction may overwrite a file it cannot read back.
      EXPECT_THROW(task.RequestEnableAsync().Get(), hresult_error);
      EXPECT_THROW(task.Disable(), hresult_error);
      EXPECT_EQ(ReadText(task.UserEntryPath()), kBroken);
      continue;
    }
    EXPECT_EQ(task.RequestEnableAsync().Get(), row.afterEnable);
    EXPECT_EQ(task.State(), row.afterEnable);

    LayOut(root_, row, tag + "b");
    task.Disable();
    EXPECT_EQ(task.State(), row.afterDisable);
    // Disabling never creates a file: an administrator's entry stays policy.
    EXPECT_EQ(fs::exists(task.UserEntryPath()), row.user != nullptr);
  }
}

TEST_F(StartupTaskTest, HandEditedEntryKeepsEverythingButOurKeys) {
  const std::string original =
      "# Mine: started with a delay\n"
      "[Desktop Entry]\n"
      "Type=Application\n"
      "# the name I like\n"
      "Name=Keyboard helper\n"
      "Name[de]=Tastaturhelfer\n"
      "Comment=Starts the keyboard helper\n"
      "Comment[fr]=Démarre l'assistant\n"
      "Exec=/bin/true\n"
      "X-GNOME-Autostart-Delay=10\n"
      "Hidden=true\n"
      "\n"
      "[Desktop Action Extra]\n"
      "Name=Extra\n"
      "Exec=/bin/false\n";
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
      "# Mine: started with a delay\n"
      "[Desktop Entry]\n"
      "Type=Application\n"
      "# the name I like\n"
      "Name=Test keyboard service\n"
      "Name[de]=Tastaturhelfer\n"
      "Comment=Starts the keyboard helper\n"
      "Comment[fr]=Démarre l'assistant\n"
      "Exec=\"" +
      Executable().string() +
      "\" --background\n"
      "X-GNOME-Autostart-Delay=10\n"
      "Hidden=true\n"
      "X-GNOME-Autostart-enabled=false\n"
      "[Desktop Action Extra]\n"
      "Name=Extra\n"
      "Exec=/bin/false\n";
  EXPECT_EQ(WithoutBlankLines(text), expected);
  // A second round changes nothing more, blank lines included.
  ASSERT_EQ(task.RequestEnableAsync().Get(), S::Enabled);
  task.Disable();
  EXPECT_EQ(ReadText(UserEntry()), text);
  EXPECT_EQ(fs::status(UserEntry()).permissions() & fs::perms::mask,
            fs::perms::owner_read | fs::perms::owner_write);
  // Each write went through a temporary file, renamed: nothing else is left.
  std::vector<fs::path> left;
  for (const auto& item : fs::directory_iterator(UserEntry().parent_path())) {
    left.push_back(item.path());
  }
  EXPECT_EQ(left, std::vector<fs::path>{UserEntry()});
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

TEST_F(StartupTaskTest, UndeclaredTaskFailsWithAPlatformErrorNamingIt) {
  try {
    StartupTask::GetAsync(package_, "NoSuchTask").Get();
    FAIL() << "an undeclared task must not be found";
  } catch (const hresult_error& error) {
    EXPECT_EQ(error.code(), error_codes::kInvalidArgument);
    EXPECT_EQ(error.message(), "The package declares no start-up task \"NoSuchTask\"");
  }
}

// Runs a program with this process's environment; its exit status and its
// standard output and error, joined.
struct ToolRun {
  bool exitedZero = false;
  std::string output;
};

ToolRun RunTool(std::vector<std::string> arguments) {
  std::vector<char*> argv;
  for (auto& argument : arguments) argv.push_back(argument.data());
  argv.push_back(nullptr);
  gchar* out = nullptr;
  gchar* err = nullptr;
  gint status = 0;
  GError* error = nullptr;
  ToolRun run;
  if (!g_spawn_sync(nullptr, argv.data(), nullptr, G_SPAWN_SEARCH_PATH, nullptr, nullptr, &out,
                    &err, &status, &error)) {
    run.output = error->message;
    g_error_free(error);
    return run;
  }
  run.exitedZero = g_spawn_check_wait_status(status, nullptr);
  run.output = std::string(out ? out : "") + (err ? err : "");
  g_free(out);
  g_free(err);
  return run;
}

::testing::AssertionResult Installed(const char* program, const char* package) {
  std::unique_ptr<gchar, decltype(&g_free)> found(g_find_program_in_path(program), g_free);
  if (found) return ::testing::AssertionSuccess();
  return ::testing::AssertionFailure() << program << " is not installed: it comes with the Debian "
                                       << "package " << package << " (scripts/install-deps.sh)";
}

// dex's dry run of the session's autostart for the desktop "Test".
ToolRun DexDryRun() {
  return RunTool({"dex", "--verbose", "--autostart", "--dry-run", "-e", "Test"});
}

// dex, a Python reader of autostart entries, and desktop-file-validate are
// independent of this code; they must read our files as we mean them.
TEST_F(StartupTaskTest, DexStartsTheEnabledEntryAndDesktopFileValidateAcceptsIt) {
  ASSERT_TRUE(Installed("dex", "dex"));
  ASSERT_TRUE(Installed("desktop-file-validate", "desktop-file-utils"));
  const StartupTask task = Task();
  const std::string command = "Executing command: " + Executable().string() + " --background";

  ASSERT_EQ(task.RequestEnableAsync().Get(), S::Enabled);
  ToolRun dex = DexDryRun();
  ASSERT_TRUE(dex.exitedZero) << dex.output;
  EXPECT_NE(dex.output.find("Autostart file: " + UserEntry().string()), std::string::npos)
      << dex.output;
  EXPECT_NE(dex.output.find(command), std::string::npos) << dex.output;
  ToolRun validate = RunTool({"desktop-file-validate", UserEntry().string()});
  EXPECT_TRUE(validate.exitedZero) << validate.output;
  EXPECT_EQ(validate.output, "");

  task.Disable();
  dex = DexDryRun();
  ASSERT_TRUE(dex.exitedZero) << dex.output;
  EXPECT_EQ(dex.output.find("Executing command"), std::string::npos) << dex.output;
  EXPECT_NE(dex.output.find("hidden attribute is set: " + UserEntry().string()), std::string::npos)
      << dex.output;
  validate = RunTool({"desktop-file-validate", UserEntry().string()});
  EXPECT_TRUE(validate.exitedZero) << validate.output;
  EXPECT_EQ(validate.output, "");
}

TEST_F(StartupTaskTest, DexRunsSomethingExactlyWhenTheStateSaysEnabled) {
  ASSERT_TRUE(Installed("dex", "dex"));
  const StartupTask task = Task();
  int index = 0;
  for (const MappingRow& row : kMappingRows) {
    SCOPED_TRACE(row.desc);
    const std::string tag = "dex" + std::to_string(index++);
    if (row.dexBlindSpot) continue;
    LayOut(root_, row, tag);
    const StartupTaskState state = task.State();
    const ToolRun dex = DexDryRun();
    ASSERT_TRUE(dex.exitedZero) << dex.output;
    const bool runs = dex.output.find("Executing command") != std::string::npos;
    EXPECT_EQ(runs, state == S::Enabled || state == S::EnabledByPolicy) << dex.output;
  }
}

struct QuotingRow {
  const char* desc;
  const char* executable;
  std::vector<std::string> arguments;
  const char* want;
};

// Expected values follow the Desktop Entry rules for Exec by hand.
const QuotingRow kQuotingRows[] = {
    {"plain words stay bare", "/usr/bin/helper", {"--background"}, "/usr/bin/helper --background"},
    {"a blank in the path", "/opt/my apps/helper", {}, "\"/opt/my apps/helper\""},
    {"an empty argument", "/bin/helper", {""}, "/bin/helper \"\""},
    {"escaped inside quotes",
     "/bin/helper",
     {"a\"b`c$d\\e"},
     "/bin/helper \"a\\\"b\\`c\\$d\\\\e\""},
    {"reserved but not escaped",
     "/bin/helper",
     {"it's;(x)*?#~<>|&"},
     "/bin/helper \"it's;(x)*?#~<>|&\""},
    {"percent is doubled", "/bin/helper", {"100%", "50% off"}, "/bin/helper 100%% \"50%% off\""},
    {"tab and newline quote", "/bin/helper", {"a\tb", "c\nd"}, "/bin/helper \"a\tb\" \"c\nd\""},
};

TEST(DesktopEntryCommandLineTest, QuotesByTheDesktopEntryRules) {
  for (const QuotingRow& row : kQuotingRows) {
    SCOPED_TRACE(row.desc);
    EXPECT_EQ(DesktopEntryCommandLine(row.executable, row.arguments), row.want);
  }
}

}  // namespace
}  // namespace tessarel
