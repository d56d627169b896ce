#include "host/bridge_call.h"

#include <atomic>
#include <memory>
#include <random>

#include "host/json_value_io.h"
#include "host/react_instance.h"

namespace tessarel {
namespace {

using Json = nlohmann::ordered_json;

const std::string* StringMember(const Json& object, const char* key) {
  const auto found = object.find(key);
  if (found == object.end()) return nullptr;
  return found->get_ptr<const Json::string_t*>();
}

// Compares without an early exit, so the time taken says nothing about how
// much of a guessed token was right.
bool SameToken(std::string_view given, std::string_view expected) noexcept {
  if (given.size() != expected.size() || expected.empty()) return false;
  unsigned char difference = 0;
  for (std::size_t i = 0; i < expected.size(); ++i) {
    difference |= static_cast<unsigned char>(given[i] ^ expected[i]);
  }
  return difference == 0;
}

std::string AsArgumentList(std::string argsJson) {
  if (argsJson.empty() || argsJson == "null") return "[]";
  if (argsJson.front() != '[') return "[" + argsJson + "]";
  return argsJson;
}

// Shared by a call's resolve and reject callbacks: the first envelope wins,
// and if both callbacks go away unused the call is rejected, so the page's
// promise always settles.
class PendingReply {
 public:
  explicit PendingReply(BridgeReply reply) : reply_(std::move(reply)) {}
  PendingReply(const PendingReply&) = delete;
  PendingReply& operator=(const PendingReply&) = delete;
  ~PendingReply() {
    try {
      Send(RejectEnvelope("Promise destroyed."));
    } catch (...) {  // nothing can be told to a page whose reply cannot be sent
    }
  }

  void Send(std::string envelope) {
    if (!sent_.exchange(true)) reply_(std::move(envelope));
  }

 private:
  std::atomic<bool> sent_{false};
  BridgeReply reply_;
};

}  // namespace

BridgeMessage ParseBridgeMessage(std::string_view text, std::string_view token) {
  Json message;
  try {
    message = ParseJsonText(text);
  } catch (const JsonFormatError&) {
    return BridgeRefusal{"malformed message"};
  }
  if (!message.is_object()) return BridgeRefusal{"malformed message"};
  const std::string* given = StringMember(message, "token");
  if (given == nullptr || !SameToken(*given, token)) {
    return BridgeRefusal{"not from the bundle's page"};
  }
  const std::string* kind = StringMember(message, "kind");
  if (kind != nullptr && *kind == "rendered") return BridgeRendered{};
  if (kind == nullptr || *kind != "call") return BridgeRefusal{"unknown message kind"};
  const std::string* module = StringMember(message, "module");
  const std::string* method = StringMember(message, "method");
  if (module == nullptr || method == nullptr) return BridgeRefusal{"malformed call"};
  BridgeCall call{*module, *method, nullptr};
  if (auto args = message.find("args"); args != message.end()) call.args = std::move(*args);
  return call;
}

bool IsBundlePageUri(std::string_view uri) noexcept {
  return uri.starts_with(kBundleOrigin) && uri.size() > kBundleOrigin.size() &&
         uri[kBundleOrigin.size()] == '/';
}

std::string NewBridgeToken() {
  std::random_device source;
  static constexpr char kHex[] = "0123456789abcdef";
  std::string token;
  for (int word = 0; word < 4; ++word) {
    std::uint32_t bits = source();
    for (int nibble = 0; nibble < 8; ++nibble, bits >>= 4) token.push_back(kHex[bits & 0xF]);
  }
  return token;
}

std::string ResolveEnvelope(std::string_view argsJson) {
  return "{\"resolve\":" + AsArgumentList(std::string(argsJson)) + "}";
}

std::string RejectEnvelope(std::string_view message) {
  JsonValueWriter writer;
  writer.WriteArrayBegin();
  writer.WriteObjectBegin();
  writer.WritePropertyName("code");
  writer.WriteString("EUNSPECIFIED");
  writer.WritePropertyName("message");
  writer.WriteString(message);
  writer.WritePropertyName("userInfo");
  writer.WriteNull();
  writer.WriteObjectEnd();
  writer.WriteArrayEnd();
  return "{\"reject\":" + writer.TakeJson() + "}";
}

void DispatchBridgeCall(const ReactInstance& instance, BridgeCall call, BridgeReply reply) {
  auto pending = std::make_shared<PendingReply>(std::move(reply));
  const ReactInstance::Module* module = instance.FindModule(call.module);
  if (module == nullptr) {
    pending->Send(RejectEnvelope("Unknown native module " + call.module));
    return;
  }
  const ReactModuleMethod* method = module->FindMethod(call.method);
  if (method == nullptr || !method->delegate) {
    pending->Send(RejectEnvelope("Native module " + call.module + " has no method " + call.method));
    return;
  }
  auto writer = std::make_shared<JsonValueWriter>();
  // The promise writes its reply into `writer` before it calls one of these.
  MethodResultCallback resolve = [pending, writer](IJSValueWriter&) {
    pending->Send(ResolveEnvelope(writer->TakeJson()));
  };
  MethodResultCallback reject = [pending, writer](IJSValueWriter&) {
    pending->Send("{\"reject\":" + AsArgumentList(writer->TakeJson()) + "}");
  };
  JsonValueReader args(&call.args);
  try {
    method->delegate(args, writer, std::move(resolve), std::move(reject));
  } catch (...) {
    // The method's promise, if it made one, has rejected itself while the
    // error unwound; otherwise `pending` does so when its last copy goes.
  }
  if (method->returnType == MethodReturnType::Void) pending->Send(ResolveEnvelope("[]"));
}

}  // namespace tessarel
