// A value writer that takes every call and keeps nothing: for runs that care
// whether and how often a value is written, not what it says.
#pragma once

#include <cstdint>
#include <string_view>

#include "values/js_value_reader.h"

namespace tessarel::testing {

class DiscardingWriter final : public IJSValueWriter {
 public:
  void WriteNull() override {}
  void WriteBoolean(bool) override {}
  void WriteInt64(std::int64_t) override {}
  void WriteDouble(double) override {}
  void WriteString(std::string_view) override {}
  void WriteObjectBegin() override {}
  void WritePropertyName(std::string_view) override {}
  void WriteObjectEnd() override {}
  void WriteArrayBegin() override {}
  void WriteArrayEnd() override {}
};

}  // namespace tessarel::testing
