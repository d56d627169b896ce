// The stream interfaces through which script values enter and leave the host.
//
// A reader walks one value: ValueType() says what the current value is; for
// an object, GetNextObjectProperty moves to the next member (giving its name)
// and leaves the reader on that member's value; for an array,
// GetNextArrayItem moves to the next item. Both return false at the end of the
// container. Scalars are read with the typed getters. Strings are UTF-8.
//
// The script host implements both interfaces over its JSON messages; tests
// implement them over in-memory values.
//
// Thread-safety: a reader or writer is used by one thread at a time.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace tessarel {

enum class JSValueType : int {
  Null = 0,
  Object = 1,
  Array = 2,
  String = 3,
  Boolean = 4,
  Int64 = 5,
  Double = 6,
};

class IJSValueReader {
 public:
  virtual ~IJSValueReader() = default;
  virtual JSValueType ValueType() = 0;
  virtual bool GetNextObjectProperty(std::string& propertyName) = 0;
  virtual bool GetNextArrayItem() = 0;
  virtual std::string GetString() = 0;
  virtual bool GetBoolean() = 0;
  virtual std::int64_t GetInt64() = 0;
  virtual double GetDouble() = 0;
};

// The ten writer operations.
class IJSValueWriter {
 public:
  virtual ~IJSValueWriter() = default;
  virtual void WriteNull() = 0;
  virtual void WriteBoolean(bool value) = 0;
  virtual void WriteInt64(std::int64_t value) = 0;
  virtual void WriteDouble(double value) = 0;
  virtual void WriteString(std::string_view value) = 0;
  virtual void WriteObjectBegin() = 0;
  virtual void WritePropertyName(std::string_view name) = 0;
  virtual void WriteObjectEnd() = 0;
  virtual void WriteArrayBegin() = 0;
  virtual void WriteArrayEnd() = 0;
};

}  // namespace tessarel
