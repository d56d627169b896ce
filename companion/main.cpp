// tessarel-companion: the simulated-keyboard companion. Connects to the app's
// app-service socket and behaves like the companion of real keyboards, with
// the virtual keyboards described in a JSON file. See
// docs/simulated-companion.md.
#include <fcntl.h>
#include <signal.h>
#include <sys/file.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <iostream>
#include <optional>
#include <string>
#include <string_view>

#include "companion/companion_client.h"
#include "companion/keyboard_simulator.h"
#include "companion/keyboard_state.h"
#include "companion/simulated_keyboards.h"
#include "link/app_service_listener.h"
#include "platform/package.h"

namespace {

using namespace tessarel;
using namespace tessarel::companion;

constexpr char kUsage[] =
    "Usage: tessarel-companion [OPTION]...\n"
    "The simulated-keyboard companion of the Tessarel app.\n"
    "\n"
    "  --socket PATH            connect to PATH instead of $XDG_RUNTIME_DIR/tessarel/app-service\n"
    "  --keyboards FILE         load the virtual keyboards from FILE\n"
    "                           (default: <prefix>/share/tessarel/simulated-keyboards.json)\n"
    "  --select-file PATH       the path that selectFile answers\n"
    "  --send-exit-after SECS   send \"exit\" to the app SECS seconds after connecting, then quit\n"
    "  --background             wait for the app quietly (the sign-in task's mode)\n"
    "  --allow-second-instance  run even when another companion holds the lock\n"
    "  --verbose                print a line per request\n"
    "  --help                   show this text\n";

struct Arguments {
  std::optional<std::filesystem::path> socket;
  std::optional<std::filesystem::path> keyboards;
  std::optional<std::string> selectFile;
  std::optional<double> exitAfterSeconds;
  bool background = false;
  bool allowSecondInstance = false;
  bool verbose = false;
};

std::optional<Arguments> ParseArguments(int argc, char** argv) {
  Arguments arguments;
  for (int i = 1; i < argc; ++i) {
    const std::string_view option = argv[i];
    auto value = [&]() -> std::optional<std::string> {
      if (i + 1 >= argc) return std::nullopt;
      return std::string(argv[++i]);
    };
    std::optional<std::string> text;
    if (option == "--background")
      arguments.background = true;
    else if (option == "--verbose")
      arguments.verbose = true;
    else if (option == "--allow-second-instance")
      arguments.allowSecondInstance = true;
    else if (option == "--help") {
      std::cout << kUsage;
      std::exit(0);
    } else if (option == "--socket" && (text = value()))
      arguments.socket = *text;
    else if (option == "--keyboards" && (text = value()))
      arguments.keyboards = *text;
    else if (option == "--select-file" && (text = value()))
      arguments.selectFile = *text;
    else if (option == "--send-exit-after" && (text = value())) {
      char* end = nullptr;
      const double seconds = std::strtod(text->c_str(), &end);
      if (end == text->c_str() || *end != '\0' || !(seconds >= 0)) return std::nullopt;
      arguments.exitAfterSeconds = seconds;
    } else {
      return std::nullopt;
    }
  }
  return arguments;
}

// <prefix>/libexec/tessarel/tessarel-companion -> <prefix>
std::filesystem::path InstallPrefix() {
  std::error_code error;
  const auto executable = std::filesystem::read_symlink("/proc/self/exe", error);
  if (error) return {};
  return executable.parent_path().parent_path().parent_path();
}

std::filesystem::path DefaultSocketPath(const std::filesystem::path& prefix) {
  std::string socketName = "tessarel/app-service";
  try {
    socketName = Package::Load(Package::ManifestPath(prefix), prefix).AppServiceSocketName();
  } catch (const hresult_error&) {
    // Run outside a package: the app's default name.
  }
  return AppServiceListener::SocketPathFor(socketName);
}

// One simulated companion per socket: a second one (launched again by a new
// app, or at sign-in) leaves the field to the first, which reconnects by
// itself. The lock is released by the kernel when the holder ends.
bool TakeInstanceLock(const std::filesystem::path& socketPath) {
  const std::filesystem::path directory = socketPath.parent_path();
  std::error_code error;
  std::filesystem::create_directories(directory, error);
  const auto lockPath = directory / (socketPath.filename().string() + ".companion-lock");
  const int fd = open(lockPath.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
  if (fd < 0) return true;                   // cannot tell; run rather than refuse
  return flock(fd, LOCK_EX | LOCK_NB) == 0;  // the descriptor stays open for our life
}

}  // namespace

int main(int argc, char** argv) {
  const std::optional<Arguments> arguments = ParseArguments(argc, argv);
  if (!arguments) {
    std::cerr << kUsage;
    return 2;
  }
  const std::filesystem::path prefix = InstallPrefix();

  std::filesystem::path socketPath;
  try {
    socketPath = arguments->socket ? *arguments->socket : DefaultSocketPath(prefix);
  } catch (const hresult_error& error) {
    std::cerr << "tessarel-companion: " << error.message() << "\n";
    return 1;
  }
  SimulatedDevices devices;
  const std::filesystem::path keyboardsFile =
      arguments->keyboards ? *arguments->keyboards
                           : prefix / "share" / "tessarel" / "simulated-keyboards.json";
  try {
    devices = LoadSimulatedDevices(keyboardsFile);
  } catch (const std::exception& error) {
    std::cerr << "tessarel-companion: " << error.what() << "\n";
    return 1;
  }
  if (!arguments->allowSecondInstance && !TakeInstanceLock(socketPath)) {
    if (!arguments->background)
      std::cerr << "tessarel-companion: another companion serves " << socketPath << "\n";
    return 0;
  }

  // Signals are taken by sigtimedwait below; blocked before any thread starts
  // so that every thread inherits the mask.
  sigset_t stopSignals;
  sigemptyset(&stopSignals);
  sigaddset(&stopSignals, SIGINT);
  sigaddset(&stopSignals, SIGTERM);
  sigaddset(&stopSignals, SIGHUP);
  pthread_sigmask(SIG_BLOCK, &stopSignals, nullptr);
  signal(SIGPIPE, SIG_IGN);

  auto log = [](const std::string& line) { std::cerr << "tessarel-companion: " << line << "\n"; };
  CompanionClient::Options options;
  options.socketPath = socketPath;
  if (!arguments->background) options.log = log;
  CompanionClient client(options);

  KeyboardSimulator::Options simulatorOptions;
  simulatorOptions.selectFilePath = arguments->selectFile;
  if (arguments->verbose) simulatorOptions.log = log;
  simulatorOptions.warn = log;
  simulatorOptions.stateFile = DefaultStateFile();
  KeyboardSimulator simulator(
      std::move(devices),
      [&client](ValueSet notification) { client.Notify(std::move(notification)); },
      simulatorOptions);
  simulator.Register(client);

  std::atomic<bool> quit{false};
  Scheduler exitTimer;
  bool exitScheduled = false;
  client.OnConnected([&] {
    simulator.OnConnected();
    if (!arguments->exitAfterSeconds || exitScheduled) return;
    exitScheduled = true;  // link thread only
    const auto delay = std::chrono::milliseconds(std::lround(*arguments->exitAfterSeconds * 1000));
    exitTimer.After(delay, [&] {
      try {
        client.Notify(Notification("exit")).Get(std::chrono::seconds(5));
      } catch (const hresult_error& error) {
        log("\"exit\" did not reach the app: " + error.message());
      }
      quit = true;
    });
  });

  try {
    client.Start();
  } catch (const hresult_error& error) {
    std::cerr << "tessarel-companion: " << error.message() << "\n";
    return 1;
  }
  const timespec tick{0, 100'000'000};
  while (!quit) {
    siginfo_t info;
    if (sigtimedwait(&stopSignals, &info, &tick) > 0) break;
  }
  exitTimer.Stop();
  client.Stop();
  return 0;
}
