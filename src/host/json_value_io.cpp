#include "host/json_value_io.h"

#include <cmath>
#include <utility>

namespace tessarel {
namespace {

using Json = nlohmann::ordered_json;

// nlohmann's parser would accept any depth; a JSValue is read recursively, so
// the depth is bounded here before anything is built.
void CheckDepth(std::string_view text) {
  std::size_t depth = 0;
  bool inString = false;
  bool escaped = false;
  for (const char c : text) {
    if (inString) {
      if (escaped) {
        escaped = false;
      } else if (c == '\\') {
        escaped = true;
      } else if (c == '"') {
        inString = false;
      }
      continue;
    }
    if (c == '"') {
      inString = true;
    } else if (c == '[' || c == '{') {
      if (++depth > kMaxJsonDepth) throw JsonFormatError("JSON nested too deeply");
    } else if ((c == ']' || c == '}') && depth > 0) {
      --depth;
    }
  }
}

}  // namespace

Json ParseJsonText(std::string_view text) {
  CheckDepth(text);
  try {
    return Json::parse(text);
  } catch (const Json::parse_error& error) {
    throw JsonFormatError(error.what());
  }
}

JsonValueReader::JsonValueReader(std::string_view text)
    : owned_(ParseJsonText(text)), current_(&owned_) {}

JsonValueReader::JsonValueReader(const Json* value) : current_(value) {}

JSValueType JsonValueReader::ValueType() {
  switch (current_->type()) {
    case Json::value_t::object:
      return JSValueType::Object;
    case Json::value_t::array:
      return JSValueType::Array;
    case Json::value_t::string:
      return JSValueType::String;
    case Json::value_t::boolean:
      return JSValueType::Boolean;
    case Json::value_t::number_integer:
    case Json::value_t::number_unsigned:
    case Json::value_t::number_float:
      return JSValueType::Double;
    default:
      return JSValueType::Null;
  }
}

// Moves to the next member or item of the container of the given kind: into
// the current value when it is such a container not yet walked, else on in
// the innermost open one. False at the container's end.
bool JsonValueReader::Advance(Json::value_t kind) {
  if (!currentDone_ && current_->type() == kind) {
    if (current_->empty()) {
      currentDone_ = true;
      return false;
    }
    stack_.push_back({current_, current_->cbegin()});
  } else {
    if (stack_.empty() || stack_.back().container->type() != kind) return false;
    Frame& top = stack_.back();
    if (++top.position == top.container->cend()) {
      current_ = top.container;
      stack_.pop_back();
      currentDone_ = true;
      return false;
    }
  }
  current_ = &stack_.back().position.value();
  currentDone_ = false;
  return true;
}

bool JsonValueReader::GetNextObjectProperty(std::string& propertyName) {
  if (!Advance(Json::value_t::object)) return false;
  propertyName = stack_.back().position.key();
  return true;
}

bool JsonValueReader::GetNextArrayItem() {
  return Advance(Json::value_t::array);
}

std::string JsonValueReader::GetString() {
  if (const auto* text = current_->get_ptr<const Json::string_t*>()) return *text;
  return {};
}

bool JsonValueReader::GetBoolean() {
  if (const auto* flag = current_->get_ptr<const Json::boolean_t*>()) return *flag;
  return false;
}

std::int64_t JsonValueReader::GetInt64() {
  const double value = GetDouble();
  // Exclusive upper bound: 2^63 itself has no int64 counterpart.
  if (std::isnan(value) || value < -9223372036854775808.0 || value >= 9223372036854775808.0) {
    return 0;
  }
  return static_cast<std::int64_t>(value);
}

double JsonValueReader::GetDouble() {
  return current_->is_number() ? current_->get<double>() : 0.0;
}

Json* JsonValueWriter::Put(Json value) {
  if (open_.empty()) {
    if (hasRoot_) return nullptr;  // a second top-level value has nowhere to go
    root_ = std::move(value);
    hasRoot_ = true;
    return &root_;
  }
  Json* top = open_.back();
  if (top->is_array()) {
    top->push_back(std::move(value));
    return &top->back();
  }
  Json* slot = &(*top)[propertyName_];
  *slot = std::move(value);
  propertyName_.clear();
  return slot;
}

// Only the innermost open container ever grows, so the pointers to the
// containers below it on the stack stay valid.
void JsonValueWriter::Open(Json container) {
  if (Json* slot = Put(std::move(container))) open_.push_back(slot);
}

void JsonValueWriter::WriteNull() {
  Put(nullptr);
}
void JsonValueWriter::WriteBoolean(bool value) {
  Put(value);
}
void JsonValueWriter::WriteInt64(std::int64_t value) {
  Put(value);
}
void JsonValueWriter::WriteDouble(double value) {
  Put(value);
}
void JsonValueWriter::WriteString(std::string_view value) {
  Put(std::string(value));
}
void JsonValueWriter::WriteObjectBegin() {
  Open(Json::object());
}
void JsonValueWriter::WritePropertyName(std::string_view name) {
  propertyName_ = name;
}
void JsonValueWriter::WriteArrayBegin() {
  Open(Json::array());
}

void JsonValueWriter::WriteObjectEnd() {
  if (!open_.empty() && open_.back()->is_object()) open_.pop_back();
}

void JsonValueWriter::WriteArrayEnd() {
  if (!open_.empty() && open_.back()->is_array()) open_.pop_back();
}

std::string JsonValueWriter::TakeJson() {
  std::string text = root_.dump(-1, ' ', false, Json::error_handler_t::replace);
  root_ = nullptr;
  hasRoot_ = false;
  open_.clear();
  propertyName_.clear();
  return text;
}

}  // namespace tessarel
