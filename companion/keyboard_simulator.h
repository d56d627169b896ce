// The simulated keyboards' behaviour: answers the app's device requests as a
// companion with real keyboards would, and announces changes with
// notifications. docs/simulated-companion.md describes every request, the
// state numbers and the timings.
//
//   KeyboardSimulator simulator(LoadSimulatedDevices(file),
//                               [&client](ValueSet note) { client.Notify(std::move(note)); });
//   simulator.Register(client);          // one handler per method
//   client.OnConnected([&] { simulator.OnConnected(); });
//
// Long operations (firmware update, reset, recovery, the boot loader's
// round trip) run on a scheduler thread of the simulator's own; their
// progress is reported by notifications and read back by the state queries.
//
// Thread-safety: every member may be called from any thread; the state is
// guarded by one mutex, never held while a notification is sent.
#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "companion/companion_client.h"
#include "companion/scheduler.h"
#include "companion/simulated_keyboards.h"

namespace tessarel::companion {

// The numbers that resetFirmwareState and recoverDeviceState report.
enum class OperationState : std::uint32_t { kIdle = 0, kRunning = 1, kSucceeded = 2, kFailed = 3 };

class KeyboardSimulator {
 public:
  using Sender = std::function<void(ValueSet notification)>;

  struct Options {
    // Overrides the file's "selectFile" path.
    std::optional<std::string> selectFilePath;
    // A line per request and per simulated key press; null: quiet.
    std::function<void(const std::string& line)> log;
    // Why a request was refused or the kept state could not be used; null: quiet.
    std::function<void(const std::string& line)> warn;
    // Where the keyboards' configuration is kept across restarts (see
    // keyboard_state.h); nullopt: nothing is kept.
    std::optional<std::filesystem::path> stateFile;
  };

  KeyboardSimulator(SimulatedDevices devices, Sender send, Options options);
  ~KeyboardSimulator();
  KeyboardSimulator(const KeyboardSimulator&) = delete;
  KeyboardSimulator& operator=(const KeyboardSimulator&) = delete;

  // The request methods answered, in the order of the device module's table.
  static const std::vector<std::string>& Methods();

  // Answers one request; throws std::invalid_argument for an unknown method.
  ValueSet HandleRequest(std::string_view method, const ValueSet& request);

  void Register(CompanionClient& client);

  // After each new connection: announces, once the configured delay has
  // passed, every keyboard whose firmware is older than the shipped one.
  void OnConnected();

 private:
  using Method = ValueSet (KeyboardSimulator::*)(const ValueSet&);
  static const std::map<std::string, Method, std::less<>>& MethodTable();

  ValueSet Keyboards(const ValueSet& request);
  ValueSet IsFlashing(const ValueSet& request);
  ValueSet FlashingState(const ValueSet& request);
  ValueSet RecoverDeviceState(const ValueSet& request);
  ValueSet ResetFirmwareState(const ValueSet& request);
  ValueSet UpdateDevice(const ValueSet& request);
  ValueSet ResetFirmware(const ValueSet& request);
  ValueSet RecoverDevice(const ValueSet& request);
  ValueSet FirmwareVersion(const ValueSet& request);
  ValueSet ResetToBootloader(const ValueSet& request);
  ValueSet SelectFile(const ValueSet& request);
  ValueSet SetCancelUpdate(const ValueSet& request);
  ValueSet SetLedActiveColor(const ValueSet& request);
  ValueSet SetLed(const ValueSet& request);
  ValueSet SimulateKeyPress(const ValueSet& request);

  void FlashStep(std::uint64_t run, const std::string& keyboardId);
  void FinishReset(const std::string& keyboardId, bool succeeds);
  void FinishRecovery(std::uint32_t model, bool succeeds);
  void LeaveBootloader(const std::string& keyboardId);

  // Callers hold mutex_.
  SimulatedKeyboard* FindKeyboard(std::string_view id);
  SimulatedKey* FindKey(SimulatedLayer& layer, std::int32_t x, std::int32_t y);

  // Callers hold mutex_.
  void RestoreKeptState();
  void KeepState();

  void Send(const std::vector<std::string>& types);
  void Log(const std::string& line) const;
  void Warn(const std::string& line) const;

  Sender send_;
  Options options_;

  std::mutex mutex_;
  SimulationSettings settings_;
  std::vector<SimulatedKeyboard> keyboards_;
  std::vector<SimulatedKeyboard> factoryKeyboards_;  // what a reset restores; the physical keys
  std::set<std::string> inBootloader_;               // hidden from "keyboards" meanwhile
  std::map<std::string, SimulatedKeyboard> pendingConfig_;  // written when its update ends
  bool isFlashing_ = false;
  std::uint32_t flashingState_ = 0;  // percent done
  std::uint64_t flashRun_ = 0;       // a cancelled run's later steps see a newer number
  OperationState resetState_ = OperationState::kIdle;
  OperationState recoverState_ = OperationState::kIdle;

  // Last: destroyed first, so no scheduled step runs on a half-destroyed
  // simulator.
  Scheduler scheduler_;
};

}  // namespace tessarel::companion
