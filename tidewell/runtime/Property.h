#pragma once

#include <string>

#include "tidewell/base/Value.h"
#include "tidewell/runtime/Object.h"

namespace tidewell::runtime {

/// A property that a class declares: its name, and how it is read and written by key-value coding. The
/// functions raise where the value does not fit, and pass on what the accessor raises.
struct Property {
  std::string name;
  std::string encoding;  ///< of the property's type: "q", "@"
  base::Value (*get)(Object& object) = nullptr;
  void (*set)(Object& object, const base::Value& value) = nullptr;  ///< null: read only
  bool announcesItself = false;  ///< the setter tells observers (by `changing`)
};

}  // namespace tidewell::runtime
