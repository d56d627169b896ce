// What each device method of TessarelJs sends and how it reads the answer.
// The method bodies (tessarel_js_queries.cpp, _firmware.cpp, _lighting.cpp)
// add their arguments; everything else about the exchange is here and in
// request_exchange.h.
//
// Queries reject on a failed response status with their own text; commands
// never look at the status. The rejection prefixes are joined to the error
// text with nothing between: most end in ": ", and "Failed to send
// keystrokes to process" ends in its last letter, so the error text runs
// straight on. That is what the script expects; keep it.
#pragma once

#include <array>

#include "modules/request_exchange.h"

namespace tessarel {

// Device queries: no arguments; a failed status rejects.
inline constexpr DeviceRequest kKeyboardsRequest{"keyboards",
                                                 "Failed to receive response. Request=keyboards",
                                                 "keyboards", ResolveKeyboards, ""};
inline constexpr DeviceRequest kIsFlashingRequest{"isFlashing",
                                                  "Failed to receive response. Request=isFlashing",
                                                  "result", ResolveBooleanResult, ""};
inline constexpr DeviceRequest kFlashingStateRequest{
    "flashingState", "Failed to receive response. Request=flashingState", "result",
    ResolveUInt32Result, ""};
inline constexpr DeviceRequest kRecoverDeviceStateRequest{
    "recoverDeviceState", "Failed to receive response. Request=recoverDeviceState", "result",
    ResolveUInt32Result, ""};
inline constexpr DeviceRequest kResetFirmwareStateRequest{
    "resetFirmwareState", "Failed to receive response. Request=resetFirmwareState", "result",
    ResolveUInt32Result, ""};

// Firmware commands.
inline constexpr DeviceRequest kUpdateDeviceRequest{"updateDevice", "", "result",
                                                    ResolveBooleanResult, ""};
inline constexpr DeviceRequest kResetFirmwareRequest{"resetFirmware", "", "result",
                                                     ResolveBooleanResult, ""};
inline constexpr DeviceRequest kRecoverDeviceRequest{"recoverDevice", "", "result",
                                                     ResolveBooleanResult, ""};
inline constexpr DeviceRequest kFirmwareVersionRequest{"firmwareVersion", "", "result",
                                                       ResolveFirmwareVersion, ""};
inline constexpr DeviceRequest kResetToBootloaderRequest{"resetToBootloader", "", "", ResolveNull,
                                                         "Failed to enter Bootloader mode: "};
inline constexpr DeviceRequest kSelectFileRequest{"selectFile", "", "result", ResolveStringResult,
                                                  "Failed to select file: "};
inline constexpr DeviceRequest kSetCancelUpdateRequest{"setCancelUpdate", "", "", ResolveNull,
                                                       "Failed to cancel update: "};

// Lighting and key simulation.
inline constexpr DeviceRequest kSetLedActiveColorRequest{"setLedActiveColor", "", "", ResolveNull,
                                                         "Failed to setLedActiveColor: "};
inline constexpr DeviceRequest kSetLedRequest{"setLed", "", "", ResolveNull, "Failed to setLed: "};
inline constexpr DeviceRequest kSimulateKeyPressRequest{"simulateKeyPress", "", "", ResolveNull,
                                                        "Failed to send keystrokes to process"};

// Every device request, for tools that walk them all (the reply fuzzer).
inline constexpr std::array kDeviceRequests{
    kKeyboardsRequest,          kIsFlashingRequest,
    kFlashingStateRequest,      kRecoverDeviceStateRequest,
    kResetFirmwareStateRequest, kUpdateDeviceRequest,
    kResetFirmwareRequest,      kRecoverDeviceRequest,
    kFirmwareVersionRequest,    kResetToBootloaderRequest,
    kSelectFileRequest,         kSetCancelUpdateRequest,
    kSetLedActiveColorRequest,  kSetLedRequest,
    kSimulateKeyPressRequest,
};

}  // namespace tessarel
