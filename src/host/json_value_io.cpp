#include "host/json_value_io.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <iterator>
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

// Most strings in a reply (names, paths, labels) are printable ASCII with
// nothing to escape; those are copied as they are. The rest go through the
// JSON library's escaping, which also replaces invalid UTF-8.
void AppendQuoted(std::string& text, std::string_view value) {
  const bool plain = std::all_of(value.begin(), value.end(), [](char c) {
    return c >= 0x20 && c < 0x7f && c != '"' && c != '\\';
  });
  if (plain) {
    text += '"';
    text += value;
    text += '"';
  } else {
    text += Json(std::string(value)).dump(-1, ' ', false, Json::error_handler_t::replace);
  }
}

template <typename Number>
void AppendNumber(std::string& text, Number value) {
  char digits[32];
  const auto [end, error] = std::to_chars(std::begin(digits), std::end(digits), value);
  text.append(digits, error == std::errc() ? end : digits);
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

bool JsonValueWriter::BeginValue() {
  if (open_.empty()) {
    if (rootDone_) return false;  // a second top-level value has nowhere to go
    rootDone_ = true;
    return true;
  }
  OpenContainer& top = open_.back();
  if (!top.empty) text_ += ',';
  top.empty = false;
  if (top.isObject) {
    AppendQuoted(text_, propertyName_);
    text_ += ':';
    propertyName_.clear();
  }
  return true;
}

void JsonValueWriter::Open(char bracket, bool isObject) {
  if (!BeginValue()) return;
  text_ += bracket;
  open_.push_back({isObject});
}

void JsonValueWriter::Close(bool isObject) {
  if (open_.empty() || open_.back().isObject != isObject) return;
  open_.pop_back();
  text_ += isObject ? '}' : ']';
}

void JsonValueWriter::WriteNull() {
  if (BeginValue()) text_ += "null";
}
void JsonValueWriter::WriteBoolean(bool value) {
  if (BeginValue()) text_ += value ? "true" : "false";
}
void JsonValueWriter::WriteInt64(std::int64_t value) {
  if (BeginValue()) AppendNumber(text_, value);
}
// NaN and the infinities have no JSON form; they go as null, as
// JSON.stringify writes them.
void JsonValueWriter::WriteDouble(double value) {
  if (!BeginValue()) return;
  if (std::isfinite(value)) {
    AppendNumber(text_, value);
  } else {
    text_ += "null";
  }
}
void JsonValueWriter::WriteString(std::string_view value) {
  if (BeginValue()) AppendQuoted(text_, value);
}
void JsonValueWriter::WriteObjectBegin() {
  Open('{', true);
}
void JsonValueWriter::WritePropertyName(std::string_view name) {
  propertyName_ = name;
}
void JsonValueWriter::WriteArrayBegin() {
  Open('[', false);
}
void JsonValueWriter::WriteObjectEnd() {
  Close(true);
}
void JsonValueWriter::WriteArrayEnd() {
  Close(false);
}

std::string JsonValueWriter::TakeJson() {
  while (!open_.empty()) Close(open_.back().isObject);
  std::string text = rootDone_ ? std::move(text_) : std::string("null");
  text_.clear();
  rootDone_ = false;
  propertyName_.clear();
  return text;
}

}  // namespace tessarel
