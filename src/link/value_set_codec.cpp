#include "link/value_set_codec.h"

#include <cstdint>
#include <string>
#include <string_view>

#include "link/bus_ptr.h"

namespace tessarel::link {
namespace {

[[noreturn]] void ThrowBadValue(std::string description) {
  throw hresult_error(error_codes::kInvalidArgument, description);
}

// A key as it can appear in an error text: up to its first NUL, if any.
std::string KeyText(std::string_view key) {
  return std::string(key.substr(0, key.find('\0')));
}

// D-Bus strings end at their first NUL; a string holding one would arrive cut
// short, so it is refused instead.
const char* WireString(const std::string& text, std::string_view key) {
  if (text.find('\0') != std::string::npos) {
    ThrowBadValue("The string under key '" + KeyText(key) + "' holds a NUL character");
  }
  return text.c_str();
}

void CheckWrite(int result, std::string_view key) {
  if (result >= 0) return;
  if (result == -EINVAL) {
    ThrowBadValue("The value under key '" + KeyText(key) + "' cannot be encoded");
  }
  throw BusError(result, "Encoding a message");
}

void WriteEntries(sd_bus_message* message, const ValueSet& set, int depth);

template <class T>
void WriteScalar(sd_bus_message* message, char type, const T& value, std::string_view key) {
  const char signature[] = {type, '\0'};
  CheckWrite(sd_bus_message_open_container(message, 'v', signature), key);
  CheckWrite(sd_bus_message_append_basic(message, type, &value), key);
  CheckWrite(sd_bus_message_close_container(message), key);
}

void WriteValue(sd_bus_message* message, const std::string& key, const PropertyValue& value,
                int depth) {
  switch (value.Type()) {
    case PropertyType::String: {
      const char* text = WireString(*value.TryString(), key);
      CheckWrite(sd_bus_message_open_container(message, 'v', "s"), key);
      CheckWrite(sd_bus_message_append_basic(message, 's', text), key);
      CheckWrite(sd_bus_message_close_container(message), key);
      return;
    }
    case PropertyType::Boolean: {
      const int flag = *value.TryBoolean() ? 1 : 0;
      WriteScalar(message, 'b', flag, key);
      return;
    }
    case PropertyType::Int32:
      WriteScalar(message, 'i', *value.TryInt32(), key);
      return;
    case PropertyType::UInt8:
      WriteScalar(message, 'y', *value.TryUInt8(), key);
      return;
    case PropertyType::UInt32:
      WriteScalar(message, 'u', *value.TryUInt32(), key);
      return;
    case PropertyType::UInt64:
      WriteScalar(message, 't', *value.TryUInt64(), key);
      return;
    case PropertyType::ValueSet:
      CheckWrite(sd_bus_message_open_container(message, 'v', kValueSetSignature), key);
      WriteEntries(message, *value.TryValueSet(), depth + 1);
      CheckWrite(sd_bus_message_close_container(message), key);
      return;
  }
  ThrowBadValue("The value under key '" + key + "' has no wire type");
}

void WriteEntries(sd_bus_message* message, const ValueSet& set, int depth) {
  if (depth > kMaxValueSetDepth) ThrowBadValue("The message is nested too deeply");
  CheckWrite(sd_bus_message_open_container(message, 'a', "{sv}"), "");
  for (const auto& [key, value] : set) {
    CheckWrite(sd_bus_message_open_container(message, 'e', "sv"), key);
    CheckWrite(sd_bus_message_append_basic(message, 's', WireString(key, key)), key);
    WriteValue(message, key, value, depth);
    CheckWrite(sd_bus_message_close_container(message), key);
  }
  CheckWrite(sd_bus_message_close_container(message), "");
}

void CheckRead(int result) {
  if (result >= 0) return;
  if (result == -ENXIO || result == -EBADMSG || result == -EINVAL) {
    ThrowBadValue("The message is not a string-keyed map of values (a{sv})");
  }
  throw BusError(result, "Decoding a message");
}

template <class T>
T ReadScalar(sd_bus_message* message, char type) {
  T value{};
  CheckRead(sd_bus_message_read_basic(message, type, &value));
  return value;
}

ValueSet ReadEntries(sd_bus_message* message, int depth);

PropertyValue ReadValue(sd_bus_message* message, std::string_view signature, std::string_view key,
                        int depth) {
  if (signature == "s") {
    const char* text = nullptr;
    CheckRead(sd_bus_message_read_basic(message, 's', &text));
    return PropertyValue::CreateString(text);
  }
  if (signature == "b") return PropertyValue::CreateBoolean(ReadScalar<int>(message, 'b') != 0);
  if (signature == "i") return PropertyValue::CreateInt32(ReadScalar<std::int32_t>(message, 'i'));
  if (signature == "y") return PropertyValue::CreateUInt8(ReadScalar<std::uint8_t>(message, 'y'));
  if (signature == "u") return PropertyValue::CreateUInt32(ReadScalar<std::uint32_t>(message, 'u'));
  if (signature == "t") return PropertyValue::CreateUInt64(ReadScalar<std::uint64_t>(message, 't'));
  if (signature == kValueSetSignature) {
    return PropertyValue::CreateValueSet(ReadEntries(message, depth + 1));
  }
  ThrowBadValue("Unsupported value type '" + std::string(signature) + "' under key '" +
                std::string(key) + "'");
}

ValueSet ReadEntries(sd_bus_message* message, int depth) {
  if (depth > kMaxValueSetDepth) ThrowBadValue("The message is nested too deeply");
  CheckRead(sd_bus_message_enter_container(message, 'a', "{sv}"));
  ValueSet set;
  for (;;) {
    const int entered = sd_bus_message_enter_container(message, 'e', "sv");
    CheckRead(entered);
    if (entered == 0) break;
    const char* key = nullptr;
    CheckRead(sd_bus_message_read_basic(message, 's', &key));
    char type = 0;
    const char* contents = nullptr;
    CheckRead(sd_bus_message_peek_type(message, &type, &contents));
    if (type != 'v' || contents == nullptr) CheckRead(-ENXIO);
    // The signature lives in the message; copy it before entering moves on.
    const std::string signature(contents);
    CheckRead(sd_bus_message_enter_container(message, 'v', signature.c_str()));
    PropertyValue value = ReadValue(message, signature, key, depth);
    CheckRead(sd_bus_message_exit_container(message));
    CheckRead(sd_bus_message_exit_container(message));
    set.Insert(key, std::move(value));
  }
  CheckRead(sd_bus_message_exit_container(message));
  return set;
}

}  // namespace

void WriteValueSet(sd_bus_message* message, const ValueSet& set) {
  WriteEntries(message, set, 1);
}

ValueSet ReadValueSet(sd_bus_message* message) {
  return ReadEntries(message, 1);
}

}  // namespace tessarel::link
