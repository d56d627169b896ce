// A value writer that builds a JSValue, and a value reader that walks one.
// The host's bridge and the tests use them to turn streams into values and
// back without any wire format in between.
//
//   JSValueTreeWriter writer;
//   WriteValue(writer, JSValue::Object({{"r", 1}}));
//   JSValue copy = writer.TakeValue();          // {"r": 1}
//
//   JSValueTreeReader reader(JSValue(JSValueArray{JSValue(1), JSValue("a")}));
//   JSValue again = ReadValue(reader);          // [1, "a"]
//
// The writer tolerates an unbalanced stream: an end with no open container is
// ignored, a value written into an object without a property name goes under
// the empty name, a later member of the same name replaces the earlier one,
// and TakeValue closes whatever is still open.
//
// The reader follows IJSValueReader: on an object, GetNextObjectProperty
// enters it and moves member by member; on an array GetNextArrayItem moves
// item by item. A member or item that is itself a container is entered by the
// next call of its kind; once it has reported its end, the next call
// continues with the enclosing container. A scalar, or a container the caller
// did not enter, is passed over by the next call on the enclosing container.
// A call that does not fit that container (an array call inside an object, or
// any call on a scalar at the top) returns false and changes nothing. After
// the top value has reported its end the reader is on null. Typed getters on
// a value of another kind give
// the empty value of their type; GetInt64 and GetDouble convert between the
// two number kinds.
//
// Thread-safety: plain objects; one thread at a time.
#pragma once

#include <string>
#include <vector>

#include "values/js_value.h"
#include "values/js_value_reader.h"

namespace tessarel {

class JSValueTreeWriter final : public IJSValueWriter {
 public:
  void WriteNull() override;
  void WriteBoolean(bool value) override;
  void WriteInt64(std::int64_t value) override;
  void WriteDouble(double value) override;
  void WriteString(std::string_view value) override;
  void WriteObjectBegin() override;
  void WritePropertyName(std::string_view name) override;
  void WriteObjectEnd() override;
  void WriteArrayBegin() override;
  void WriteArrayEnd() override;

  // The value written so far (the last complete top-level value), leaving the
  // writer empty for reuse.
  JSValue TakeValue();

 private:
  struct Frame {
    bool isObject;
    // An object's members in the order written, sorted once when it closes.
    std::vector<JSValueObject::value_type> members;
    JSValueArray array;
    std::string propertyName;
  };
  void Add(JSValue value);
  void Close(bool isObject);

  std::vector<Frame> open_;
  JSValue result_;
};

class JSValueTreeReader final : public IJSValueReader {
 public:
  explicit JSValueTreeReader(JSValue value);
  JSValueTreeReader(const JSValueTreeReader&) = delete;
  JSValueTreeReader& operator=(const JSValueTreeReader&) = delete;

  JSValueType ValueType() override;
  bool GetNextObjectProperty(std::string& propertyName) override;
  bool GetNextArrayItem() override;
  std::string GetString() override;
  bool GetBoolean() override;
  std::int64_t GetInt64() override;
  double GetDouble() override;

 private:
  struct Frame {
    const JSValue* container;
    JSValueObject::const_iterator nextMember;
    std::size_t nextItem = 0;
  };
  // The container the next call moves in, entering current_ when it is a
  // container not yet entered; nullptr at the top when current_ is a scalar.
  Frame* ContainerFor(JSValueType kind);

  JSValue root_;
  JSValue finished_;  // what the reader is on once the top value has ended
  const JSValue* current_;
  std::vector<Frame> open_;
};

}  // namespace tessarel
