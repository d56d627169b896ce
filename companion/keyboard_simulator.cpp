#include "companion/keyboard_simulator.h"

#include <stdexcept>
#include <utility>

#include "companion/configuration_check.h"
#include "companion/keyboard_state.h"
#include "companion/request_arguments.h"

namespace tessarel::companion {
using namespace request;

namespace {

constexpr std::uint32_t kFlashSteps = 20;  // flashingState grows by 5 per step

}  // namespace

KeyboardSimulator::KeyboardSimulator(SimulatedDevices devices, Sender send, Options options)
    : send_(std::move(send)),
      options_(std::move(options)),
      settings_(std::move(devices.settings)),
      keyboards_(std::move(devices.keyboards)),
      factoryKeyboards_(keyboards_) {
  if (options_.selectFilePath) settings_.selectFilePath = *options_.selectFilePath;
  std::lock_guard lock(mutex_);
  RestoreKeptState();
}

void KeyboardSimulator::RestoreKeptState() {
  if (!options_.stateFile) return;
  std::vector<SimulatedKeyboard> kept;
  try {
    kept = LoadKeyboardState(*options_.stateFile);
  } catch (const std::runtime_error& error) {
    Warn("the kept configuration is not used: " + std::string(error.what()));
    return;
  }
  for (SimulatedKeyboard& configured : kept) {
    SimulatedKeyboard* keyboard = FindKeyboard(configured.id);
    if (keyboard == nullptr) continue;  // a keyboard of another keyboards file
    for (const SimulatedKeyboard& factory : factoryKeyboards_) {
      if (factory.id != configured.id) continue;
      if (auto problem = CheckConfiguration(configured, factory)) {
        Warn("the kept configuration of " + configured.id + " is not used: " + *problem);
        break;
      }
      keyboard->layers = std::move(configured.layers);
      keyboard->appPaths = configured.appPaths;
    }
  }
}

void KeyboardSimulator::KeepState() {
  if (!options_.stateFile) return;
  try {
    SaveKeyboardState(*options_.stateFile, keyboards_);
  } catch (const std::exception& error) {
    Warn("the configuration is not kept: " + std::string(error.what()));
  }
}

KeyboardSimulator::~KeyboardSimulator() {
  scheduler_.Stop();
}

const std::map<std::string, KeyboardSimulator::Method, std::less<>>&
KeyboardSimulator::MethodTable() {
  static const std::map<std::string, Method, std::less<>> table = {
      {"keyboards", &KeyboardSimulator::Keyboards},
      {"isFlashing", &KeyboardSimulator::IsFlashing},
      {"flashingState", &KeyboardSimulator::FlashingState},
      {"recoverDeviceState", &KeyboardSimulator::RecoverDeviceState},
      {"resetFirmwareState", &KeyboardSimulator::ResetFirmwareState},
      {"updateDevice", &KeyboardSimulator::UpdateDevice},
      {"resetFirmware", &KeyboardSimulator::ResetFirmware},
      {"recoverDevice", &KeyboardSimulator::RecoverDevice},
      {"firmwareVersion", &KeyboardSimulator::FirmwareVersion},
      {"resetToBootloader", &KeyboardSimulator::ResetToBootloader},
      {"selectFile", &KeyboardSimulator::SelectFile},
      {"setCancelUpdate", &KeyboardSimulator::SetCancelUpdate},
      {"setLedActiveColor", &KeyboardSimulator::SetLedActiveColor},
      {"setLed", &KeyboardSimulator::SetLed},
      {"simulateKeyPress", &KeyboardSimulator::SimulateKeyPress},
  };
  return table;
}

const std::vector<std::string>& KeyboardSimulator::Methods() {
  static const std::vector<std::string> names = {
      "keyboards",          "isFlashing",
      "flashingState",      "recoverDeviceState",
      "resetFirmwareState", "updateDevice",
      "resetFirmware",      "recoverDevice",
      "firmwareVersion",    "resetToBootloader",
      "selectFile",         "setCancelUpdate",
      "setLedActiveColor",  "setLed",
      "simulateKeyPress",
  };
  return names;
}

ValueSet KeyboardSimulator::HandleRequest(std::string_view method, const ValueSet& request) {
  const auto& table = MethodTable();
  auto entry = table.find(method);
  if (entry == table.end()) throw std::invalid_argument("Unknown method: " + std::string(method));
  Log("request " + std::string(method));
  return (this->*(entry->second))(request);
}

void KeyboardSimulator::Register(CompanionClient& client) {
  for (const std::string& method : Methods()) {
    client.Handle(
        method, [this, method](const ValueSet& request) { return HandleRequest(method, request); });
  }
}

void KeyboardSimulator::OnConnected() {
  std::chrono::milliseconds delay;
  {
    std::lock_guard lock(mutex_);
    delay = settings_.versionNoticeDelay;
  }
  scheduler_.After(delay, [this] {
    std::vector<std::string> names;
    {
      std::lock_guard lock(mutex_);
      for (const SimulatedKeyboard& keyboard : keyboards_)
        if (keyboard.firmwareVersion < settings_.shippedFirmwareVersion)
          names.push_back(keyboard.name);
    }
    for (std::string& name : names) {
      ValueSet notice = Notification("keyboardVersionNewer");
      notice.Insert("name", PropertyValue::CreateString(std::move(name)));
      send_(std::move(notice));
    }
  });
}

ValueSet KeyboardSimulator::Keyboards(const ValueSet&) {
  std::lock_guard lock(mutex_);
  std::vector<const SimulatedKeyboard*> visible;
  for (const SimulatedKeyboard& keyboard : keyboards_)
    if (!inBootloader_.contains(keyboard.id)) visible.push_back(&keyboard);
  ValueSet reply;
  reply.Insert("keyboards", PropertyValue::CreateValueSet(EncodeKeyboardList(visible)));
  return reply;
}

ValueSet KeyboardSimulator::IsFlashing(const ValueSet&) {
  std::lock_guard lock(mutex_);
  return BooleanResult(isFlashing_);
}

ValueSet KeyboardSimulator::FlashingState(const ValueSet&) {
  std::lock_guard lock(mutex_);
  return StateResult(flashingState_);
}

ValueSet KeyboardSimulator::RecoverDeviceState(const ValueSet&) {
  std::lock_guard lock(mutex_);
  return StateResult(static_cast<std::uint32_t>(recoverState_));
}

ValueSet KeyboardSimulator::ResetFirmwareState(const ValueSet&) {
  std::lock_guard lock(mutex_);
  return StateResult(static_cast<std::uint32_t>(resetState_));
}

ValueSet KeyboardSimulator::UpdateDevice(const ValueSet& request) {
  const std::string keyboardId = StringArgument(request, "keyboardId");
  const std::string config = StringArgument(request, "config");
  // A configuration to write (the keyboard as the script edited it) is
  // checked before anything starts, as the device would; any other text is
  // taken for the path of a firmware file.
  std::optional<SimulatedKeyboard> configured;
  if (config.starts_with("{")) {
    try {
      configured = ParseScriptKeyboard(config);
    } catch (const std::runtime_error& error) {
      Warn("updateDevice refused the configuration for " + keyboardId + ": " + error.what());
      return BooleanResult(false);
    }
  }
  std::uint64_t run = 0;
  std::chrono::milliseconds step;
  {
    std::lock_guard lock(mutex_);
    if (isFlashing_ || FindKeyboard(keyboardId) == nullptr || inBootloader_.contains(keyboardId))
      return BooleanResult(false);
    for (const SimulatedKeyboard& factory : factoryKeyboards_) {
      if (factory.id != keyboardId || !configured) continue;
      if (auto problem = CheckConfiguration(*configured, factory)) {
        Warn("updateDevice refused the configuration for " + keyboardId + ": " + *problem);
        return BooleanResult(false);
      }
    }
    isFlashing_ = true;
    flashingState_ = 0;
    run = ++flashRun_;
    if (configured)
      pendingConfig_.insert_or_assign(keyboardId, std::move(*configured));
    else
      pendingConfig_.erase(keyboardId);
    step = settings_.flashDuration / kFlashSteps;
  }
  Send({"isFlashingUpdated", "flashingStateUpdated"});
  scheduler_.After(step, [this, run, keyboardId] { FlashStep(run, keyboardId); });
  return BooleanResult(true);
}

void KeyboardSimulator::FlashStep(std::uint64_t run, const std::string& keyboardId) {
  std::chrono::milliseconds step;
  bool finished = false;
  {
    std::lock_guard lock(mutex_);
    if (run != flashRun_ || !isFlashing_) return;  // cancelled meanwhile
    flashingState_ += 100 / kFlashSteps;
    finished = flashingState_ >= 100;
    if (finished) {
      flashingState_ = 100;
      isFlashing_ = false;
      if (SimulatedKeyboard* keyboard = FindKeyboard(keyboardId)) {
        keyboard->firmwareVersion = settings_.shippedFirmwareVersion;
        if (auto written = pendingConfig_.find(keyboardId); written != pendingConfig_.end()) {
          keyboard->layers = std::move(written->second.layers);
          keyboard->appPaths = written->second.appPaths;
          pendingConfig_.erase(written);
          KeepState();
        }
      }
    }
    step = settings_.flashDuration / kFlashSteps;
  }
  if (finished) {
    Send({"flashingStateUpdated", "isFlashingUpdated", "keyboardsUpdated"});
    return;
  }
  Send({"flashingStateUpdated"});
  scheduler_.After(step, [this, run, keyboardId] { FlashStep(run, keyboardId); });
}

ValueSet KeyboardSimulator::SetCancelUpdate(const ValueSet& request) {
  // The app sends the switch as the text "true" or "false".
  if (StringArgument(request, "cancel") != "true") return BooleanResult(false);
  {
    std::lock_guard lock(mutex_);
    if (!isFlashing_) return BooleanResult(false);
    isFlashing_ = false;
    flashingState_ = 0;
    ++flashRun_;
    pendingConfig_.clear();  // nothing is written by a cancelled update
  }
  Send({"isFlashingUpdated", "flashingStateUpdated"});
  return BooleanResult(true);
}

ValueSet KeyboardSimulator::ResetFirmware(const ValueSet& request) {
  const std::string keyboardId = StringArgument(request, "keyboardId");
  const std::string model = StringArgument(request, "model");
  bool succeeds = false;
  std::chrono::milliseconds duration;
  {
    std::lock_guard lock(mutex_);
    const SimulatedKeyboard* keyboard = FindKeyboard(keyboardId);
    if (keyboard == nullptr || resetState_ == OperationState::kRunning) return BooleanResult(false);
    // A model that does not match the keyboard makes the reset fail later,
    // as the device would refuse a firmware image of another model. No model
    // at all ("" or the script's null) means the keyboard's own.
    succeeds = model.empty() || model == "null" || model == std::to_string(keyboard->model);
    resetState_ = OperationState::kRunning;
    duration = settings_.resetDuration;
  }
  Send({"resetFirmwareStateUpdated"});
  scheduler_.After(duration, [this, keyboardId, succeeds] { FinishReset(keyboardId, succeeds); });
  return BooleanResult(true);
}

void KeyboardSimulator::FinishReset(const std::string& keyboardId, bool succeeds) {
  {
    std::lock_guard lock(mutex_);
    resetState_ = succeeds ? OperationState::kSucceeded : OperationState::kFailed;
    if (succeeds) {
      SimulatedKeyboard* keyboard = FindKeyboard(keyboardId);
      for (const SimulatedKeyboard& factory : factoryKeyboards_) {
        if (keyboard != nullptr && factory.id == keyboardId) {
          keyboard->layers = factory.layers;
          keyboard->appPaths = factory.appPaths;
        }
      }
      KeepState();
    }
  }
  if (succeeds)
    Send({"resetFirmwareStateUpdated", "keyboardsUpdated"});
  else
    Send({"resetFirmwareStateUpdated"});
}

ValueSet KeyboardSimulator::RecoverDevice(const ValueSet& request) {
  const std::string model = StringArgument(request, "model");
  std::uint32_t modelNumber = 0;
  bool succeeds = false;
  std::chrono::milliseconds duration;
  {
    std::lock_guard lock(mutex_);
    if (recoverState_ == OperationState::kRunning) return BooleanResult(false);
    for (const SimulatedKeyboard& keyboard : keyboards_) {
      if (model == std::to_string(keyboard.model)) {
        succeeds = true;
        modelNumber = keyboard.model;
      }
    }
    recoverState_ = OperationState::kRunning;
    duration = settings_.recoverDuration;
  }
  Send({"recoverDeviceStateUpdated"});
  scheduler_.After(duration,
                   [this, modelNumber, succeeds] { FinishRecovery(modelNumber, succeeds); });
  return BooleanResult(true);
}

void KeyboardSimulator::FinishRecovery(std::uint32_t model, bool succeeds) {
  {
    std::lock_guard lock(mutex_);
    recoverState_ = succeeds ? OperationState::kSucceeded : OperationState::kFailed;
    if (succeeds) {
      for (SimulatedKeyboard& keyboard : keyboards_) {
        if (keyboard.model != model) continue;
        keyboard.firmwareVersion = settings_.shippedFirmwareVersion;
        inBootloader_.erase(keyboard.id);
      }
    }
  }
  if (succeeds)
    Send({"recoverDeviceStateUpdated", "keyboardsUpdated"});
  else
    Send({"recoverDeviceStateUpdated"});
}

ValueSet KeyboardSimulator::FirmwareVersion(const ValueSet& request) {
  std::lock_guard lock(mutex_);
  const SimulatedKeyboard* keyboard = FindKeyboard(StringArgument(request, "keyboardId"));
  if (keyboard == nullptr) return ValueSet{};  // no "result": the app reports the failure
  return StateResult(keyboard->firmwareVersion);
}

ValueSet KeyboardSimulator::ResetToBootloader(const ValueSet& request) {
  const std::string keyboardId = StringArgument(request, "keyboardId");
  std::chrono::milliseconds duration;
  {
    std::lock_guard lock(mutex_);
    if (FindKeyboard(keyboardId) == nullptr || !inBootloader_.insert(keyboardId).second)
      return BooleanResult(false);
    duration = settings_.bootloaderDuration;
  }
  // In its boot loader the keyboard shows up as another device: it leaves
  // the list, and comes back once the boot loader has restarted it.
  Send({"keyboardsUpdated"});
  scheduler_.After(duration, [this, keyboardId] { LeaveBootloader(keyboardId); });
  return BooleanResult(true);
}

void KeyboardSimulator::LeaveBootloader(const std::string& keyboardId) {
  {
    std::lock_guard lock(mutex_);
    if (inBootloader_.erase(keyboardId) == 0) return;  // a recovery brought it back already
  }
  Send({"keyboardsUpdated"});
}

ValueSet KeyboardSimulator::SelectFile(const ValueSet&) {
  std::lock_guard lock(mutex_);
  return Result(PropertyValue::CreateString(settings_.selectFilePath));
}

SimulatedKeyboard* KeyboardSimulator::FindKeyboard(std::string_view id) {
  for (SimulatedKeyboard& keyboard : keyboards_)
    if (keyboard.id == id) return &keyboard;
  return nullptr;
}

void KeyboardSimulator::Send(const std::vector<std::string>& types) {
  for (const std::string& type : types) send_(Notification(type));
}

void KeyboardSimulator::Log(const std::string& line) const {
  if (options_.log) options_.log(line);
}

void KeyboardSimulator::Warn(const std::string& line) const {
  if (options_.warn) options_.warn(line);
}

}  // namespace tessarel::companion
