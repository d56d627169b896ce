#include "values/js_value_tree.h"

#include <utility>

namespace tessarel {

void JSValueTreeWriter::WriteNull() {
  Add(JSValue());
}
void JSValueTreeWriter::WriteBoolean(bool value) {
  Add(JSValue(value));
}
void JSValueTreeWriter::WriteInt64(std::int64_t value) {
  Add(JSValue(value));
}
void JSValueTreeWriter::WriteDouble(double value) {
  Add(JSValue(value));
}
void JSValueTreeWriter::WriteString(std::string_view value) {
  Add(JSValue(value));
}

void JSValueTreeWriter::WriteObjectBegin() {
  open_.push_back(Frame{true, {}, {}, {}});
}

void JSValueTreeWriter::WritePropertyName(std::string_view name) {
  if (!open_.empty() && open_.back().isObject) open_.back().propertyName.assign(name);
}

void JSValueTreeWriter::WriteObjectEnd() {
  Close(true);
}
void JSValueTreeWriter::WriteArrayBegin() {
  open_.push_back(Frame{false, {}, {}, {}});
}
void JSValueTreeWriter::WriteArrayEnd() {
  Close(false);
}

JSValue JSValueTreeWriter::TakeValue() {
  while (!open_.empty()) Close(open_.back().isObject);
  return std::exchange(result_, JSValue());
}

void JSValueTreeWriter::Add(JSValue value) {
  if (open_.empty()) {
    result_ = std::move(value);
    return;
  }
  Frame& frame = open_.back();
  if (frame.isObject) {
    frame.members.emplace_back(std::move(frame.propertyName), std::move(value));
    frame.propertyName.clear();
  } else {
    frame.array.push_back(std::move(value));
  }
}

void JSValueTreeWriter::Close(bool isObject) {
  if (open_.empty() || open_.back().isObject != isObject) return;
  Frame frame = std::move(open_.back());
  open_.pop_back();
  if (isObject) {
    // A later member of a repeated name replaces the earlier one.
    Add(JSValue(
        JSValueObject::FromMembers(std::move(frame.members), SortedMapDuplicates::KeepLast)));
  } else {
    Add(JSValue(std::move(frame.array)));
  }
}

JSValueTreeReader::JSValueTreeReader(JSValue value) : root_(std::move(value)), current_(&root_) {}

JSValueType JSValueTreeReader::ValueType() {
  return current_->Type();
}

JSValueTreeReader::Frame* JSValueTreeReader::ContainerFor(JSValueType kind) {
  const bool entered = !open_.empty() && open_.back().container == current_;
  if (!entered && current_->Type() == kind) {
    Frame frame{current_, {}, 0};
    if (kind == JSValueType::Object) frame.nextMember = current_->TryGetObject()->begin();
    open_.push_back(frame);
    return &open_.back();
  }
  if (open_.empty() || open_.back().container->Type() != kind) return nullptr;
  return &open_.back();
}

bool JSValueTreeReader::GetNextObjectProperty(std::string& propertyName) {
  Frame* frame = ContainerFor(JSValueType::Object);
  if (!frame) return false;
  if (frame->nextMember == frame->container->TryGetObject()->end()) {
    open_.pop_back();
    current_ = open_.empty() ? &finished_ : open_.back().container;
    return false;
  }
  propertyName = frame->nextMember->first;
  current_ = &frame->nextMember->second;
  ++frame->nextMember;
  return true;
}

bool JSValueTreeReader::GetNextArrayItem() {
  Frame* frame = ContainerFor(JSValueType::Array);
  if (!frame) return false;
  const JSValueArray& array = *frame->container->TryGetArray();
  if (frame->nextItem == array.size()) {
    open_.pop_back();
    current_ = open_.empty() ? &finished_ : open_.back().container;
    return false;
  }
  current_ = &array[frame->nextItem++];
  return true;
}

std::string JSValueTreeReader::GetString() {
  const std::string* value = current_->TryGetString();
  return value ? *value : std::string();
}

bool JSValueTreeReader::GetBoolean() {
  const bool* value = current_->TryGetBoolean();
  return value ? *value : false;
}

std::int64_t JSValueTreeReader::GetInt64() {
  if (const std::int64_t* value = current_->TryGetInt64()) return *value;
  if (current_->TryGetDouble()) return current_->AsInt64();
  return 0;
}

double JSValueTreeReader::GetDouble() {
  if (const double* value = current_->TryGetDouble()) return *value;
  if (const std::int64_t* value = current_->TryGetInt64()) return static_cast<double>(*value);
  return 0.0;
}

}  // namespace tessarel
