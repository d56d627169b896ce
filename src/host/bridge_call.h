// The native end of the page's message channel, without the web view: checks
// a message from the page, runs a module method for it and makes the one
// reply envelope that the page's bridge script turns into a settled promise.
//
// From the page (JSON text):
//   {"token": "...", "kind": "call", "module": "SettingsJs", "method": "appVersion", "args": []}
//   {"token": "...", "kind": "rendered"}
// Replies (JSON text):
//   {"resolve": [value]}
//   {"reject": [{"code": "EUNSPECIFIED", "message": "...", "userInfo": null}]}
//
// The token is a secret that only the bridge script in the bundle's own top
// frame holds; a message without it did not come from the bundle's page.
//
// Thread-safety: ParseBridgeMessage and the envelope helpers are pure.
// DispatchBridgeCall runs on the UI thread; its reply callback is called
// exactly once, on whatever thread settles the call's promise.
#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <variant>

#include <nlohmann/json.hpp>

namespace tessarel {

class ReactInstance;

inline constexpr std::string_view kBundleOrigin = "tessarel://app";

struct BridgeCall {
  std::string module;
  std::string method;
  nlohmann::ordered_json args;
};

struct BridgeRendered {};

// A message that is answered with a bare error, never with module data.
struct BridgeRefusal {
  std::string reason;
};

using BridgeMessage = std::variant<BridgeCall, BridgeRendered, BridgeRefusal>;

BridgeMessage ParseBridgeMessage(std::string_view text, std::string_view token);

// True for URIs of documents of the bundle's origin (tessarel://app/...).
bool IsBundlePageUri(std::string_view uri) noexcept;

// 128 random bits as 32 hex digits.
std::string NewBridgeToken();

// The reply envelopes. `argsJson` is the written argument list; a single
// value that is not a list is wrapped into one.
std::string ResolveEnvelope(std::string_view argsJson);
std::string RejectEnvelope(std::string_view message);

using BridgeReply = std::function<void(std::string envelope)>;

// Runs `call` on the instance's module. `reply` gets exactly one envelope:
// the settled promise's, a rejection for an unknown module or method, or
// "Promise destroyed." when the method dropped its callbacks unsettled.
void DispatchBridgeCall(const ReactInstance& instance, BridgeCall call, BridgeReply reply);

}  // namespace tessarel
