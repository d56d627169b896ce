// A script value as the compact JSON text the page would receive, members in
// the order they were written: what tests compare values by.
#pragma once

#include <string>

#include "host/json_value_io.h"
#include "values/js_value.h"

namespace tessarel::testing {

inline std::string ToJson(const JSValue& value) {
  JsonValueWriter writer;
  WriteValue(writer, value);
  return writer.TakeJson();
}

}  // namespace tessarel::testing
