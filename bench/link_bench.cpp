// The companion link's round trip against the floor it stands on.
//
//   link round trip: the app side sends {"method": "echo", "data": <N bytes>}
//     on the channel and waits until the operation has completed with the
//     companion's answer (the same map back): app thread -> link thread ->
//     socket -> companion process (its link thread, the handler) -> socket ->
//     link thread -> app thread.
//   raw ping-pong: the same N bytes written to a Unix socket, echoed by a
//     child process with blocking reads and writes, and read back.
//
//   keyboards round trip: the "keyboards" request answered with the packaged
//     simulated keyboards (the largest reply the app gets), for its absolute
//     time.
//
// Both peers are child processes of this program (it runs itself again with
// --echo-companion or --raw-echo). After the runs it prints, per payload
// size, how many times the raw ping-pong the link's round trip takes; the
// goal is at most 4. It prints and does not assert.
#include <benchmark/benchmark.h>
#include <signal.h>
#include <spawn.h>
#include <stdlib.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <filesystem>
#include <map>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "companion/companion_client.h"
#include "companion/simulated_keyboards.h"
#include "link/app_service_listener.h"

extern char** environ;

namespace {

using namespace tessarel;

constexpr std::size_t kPayloadSizes[] = {64, 1024, 4096};

// The build tree's packaged keyboards: bin/../share/tessarel/.
std::filesystem::path PackagedKeyboards() {
  return std::filesystem::read_symlink("/proc/self/exe").parent_path().parent_path() / "share" /
         "tessarel" / "simulated-keyboards.json";
}

// --echo-companion SOCKET: a companion answering "echo" with the request, and
// "keyboards" with the packaged keyboards as the simulated companion does.
int RunEchoCompanion(const char* socketPath) {
  companion::CompanionClient::Options options;
  options.socketPath = socketPath;
  companion::CompanionClient client(options);
  client.Handle("echo", [](const ValueSet& request) { return request; });
  const companion::SimulatedDevices devices = companion::LoadSimulatedDevices(PackagedKeyboards());
  std::vector<const companion::SimulatedKeyboard*> keyboards;
  for (const auto& keyboard : devices.keyboards) keyboards.push_back(&keyboard);
  ValueSet keyboardsReply;
  keyboardsReply.Insert("keyboards",
                        PropertyValue::CreateValueSet(companion::EncodeKeyboardList(keyboards)));
  client.Handle("keyboards", [&keyboardsReply](const ValueSet&) { return keyboardsReply; });
  client.Start();
  pause();  // until the benchmark kills it
  return 0;
}

bool ReadFully(int fd, char* data, std::size_t size) {
  std::size_t done = 0;
  while (done < size) {
    const ssize_t got = read(fd, data + done, size - done);
    if (got <= 0) return false;
    done += static_cast<std::size_t>(got);
  }
  return true;
}

bool WriteFully(int fd, const char* data, std::size_t size) {
  std::size_t done = 0;
  while (done < size) {
    const ssize_t put = write(fd, data + done, size - done);
    if (put <= 0) return false;
    done += static_cast<std::size_t>(put);
  }
  return true;
}

// --raw-echo: echoes length-prefixed messages on descriptor 3.
int RunRawEcho() {
  std::vector<char> buffer;
  for (;;) {
    std::uint32_t size = 0;
    if (!ReadFully(3, reinterpret_cast<char*>(&size), sizeof size)) return 0;
    buffer.resize(size);
    if (!ReadFully(3, buffer.data(), size)) return 0;
    if (!WriteFully(3, reinterpret_cast<char*>(&size), sizeof size)) return 0;
    if (!WriteFully(3, buffer.data(), size)) return 0;
  }
}

pid_t SpawnSelf(const std::vector<std::string>& arguments, int passFd = -1) {
  std::vector<std::string> argv = {std::filesystem::read_symlink("/proc/self/exe").string()};
  argv.insert(argv.end(), arguments.begin(), arguments.end());
  std::vector<char*> raw;
  for (std::string& argument : argv) raw.push_back(argument.data());
  raw.push_back(nullptr);
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  if (passFd >= 0) posix_spawn_file_actions_adddup2(&actions, passFd, 3);
  pid_t pid = -1;
  if (posix_spawn(&pid, raw[0], &actions, nullptr, raw.data(), environ) != 0) pid = -1;
  posix_spawn_file_actions_destroy(&actions);
  return pid;
}

// Keeps the real time per iteration of every run by its name; with
// repetitions, the median's.
class RecordingReporter : public benchmark::ConsoleReporter {
 public:
  void ReportRuns(const std::vector<Run>& runs) override {
    for (const Run& run : runs) {
      const bool single = run.run_type == Run::RT_Iteration && run.repetitions <= 1;
      const bool median = run.run_type == Run::RT_Aggregate && run.aggregate_name == "median";
      if ((single || median) && run.iterations > 0) {
        nanoseconds[run.run_name.str()] =
            run.GetAdjustedRealTime() / benchmark::GetTimeUnitMultiplier(run.time_unit) * 1e9;
      }
    }
    ConsoleReporter::ReportRuns(runs);
  }
  std::map<std::string, double> nanoseconds;
};

}  // namespace

int main(int argc, char** argv) {
  if (argc >= 3 && std::string(argv[1]) == "--echo-companion") return RunEchoCompanion(argv[2]);
  if (argc >= 2 && std::string(argv[1]) == "--raw-echo") return RunRawEcho();

  char pattern[] = "/tmp/tessarel-link-bench-XXXXXX";
  if (!mkdtemp(pattern)) return 1;
  const std::filesystem::path socketPath =
      std::filesystem::path(pattern) / "tessarel" / "app-service";

  std::mutex mutex;
  std::condition_variable arrived;
  AppServiceConnection channel;
  auto listener = std::make_unique<AppServiceListener>(
      socketPath, [&](const BackgroundActivatedEventArgs& args) {
        std::lock_guard lock(mutex);
        channel = args.TaskInstance->TriggerDetails()->Connection;
        arrived.notify_all();
      });
  const pid_t companion = SpawnSelf({"--echo-companion", socketPath.string()});
  {
    std::unique_lock lock(mutex);
    if (!arrived.wait_for(lock, std::chrono::seconds(10), [&] { return bool(channel); })) {
      std::fprintf(stderr, "link_bench: the companion did not connect\n");
      return 1;
    }
  }
  int pair[2];
  if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, pair) < 0) return 1;
  const pid_t rawEcho = SpawnSelf({"--raw-echo"}, pair[1]);
  close(pair[1]);
  const int raw = pair[0];

  for (std::size_t size : kPayloadSizes) {
    const std::string suffix = "/" + std::to_string(size);
    benchmark::RegisterBenchmark(
        ("BM_LinkRoundTrip" + suffix).c_str(),
        [&channel, size](benchmark::State& state) {
          ValueSet request;
          request.Insert("method", PropertyValue::CreateString("echo"));
          request.Insert("data", PropertyValue::CreateString(std::string(size, 'k')));
          for (auto _ : state) {
            AppServiceResponse response = channel.SendMessageAsync(request).Get();
            benchmark::DoNotOptimize(response);
          }
        })
        ->UseRealTime();
    benchmark::RegisterBenchmark(("BM_RawSocketPingPong" + suffix).c_str(),
                                 [raw, size](benchmark::State& state) {
                                   std::string out(size, 'k');
                                   std::string in(size, '\0');
                                   const auto length = static_cast<std::uint32_t>(size);
                                   for (auto _ : state) {
                                     std::uint32_t back = 0;
                                     WriteFully(raw, reinterpret_cast<const char*>(&length),
                                                sizeof length);
                                     WriteFully(raw, out.data(), size);
                                     ReadFully(raw, reinterpret_cast<char*>(&back), sizeof back);
                                     ReadFully(raw, in.data(), back);
                                   }
                                 })
        ->UseRealTime();
  }

  benchmark::RegisterBenchmark("BM_KeyboardsRoundTrip", [&channel](benchmark::State& state) {
    ValueSet request;
    request.Insert("method", PropertyValue::CreateString("keyboards"));
    for (auto _ : state) {
      AppServiceResponse response = channel.SendMessageAsync(request).Get();
      benchmark::DoNotOptimize(response);
    }
  })->UseRealTime();

  benchmark::Initialize(&argc, argv);
  RecordingReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  for (std::size_t size : kPayloadSizes) {
    const std::string suffix = "/" + std::to_string(size);
    const double link = reporter.nanoseconds["BM_LinkRoundTrip" + suffix + "/real_time"];
    const double floor = reporter.nanoseconds["BM_RawSocketPingPong" + suffix + "/real_time"];
    if (link > 0 && floor > 0) {
      std::printf(
          "link round trip / raw ping-pong, %zu-byte payload: %.0f ns / %.0f ns = %.2fx"
          " (goal: at most 4x)\n",
          size, link, floor, link / floor);
    }
  }

  close(raw);
  kill(companion, SIGKILL);
  kill(rawEcho, SIGKILL);
  waitpid(companion, nullptr, 0);
  waitpid(rawEcho, nullptr, 0);
  listener.reset();
  std::filesystem::remove_all(pattern);
  benchmark::Shutdown();
  return 0;
}
