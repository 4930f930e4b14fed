// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "tidewell/base/Value.h"
#include "tidewell/runtime/Object.h"

namespace tidewell::runtime {

/// A declared property: its name, and its accessors for key-value coding. `set` raises for a value of the
/// wrong kind; both propagate exceptions of the accessor.
struct Property {
  std::string name;
  std::string encoding;  ///< of the property's type: "q", "@"
  base::Value (*get)(Object& object) = nullptr;
  void (*set)(Object& object, const base::Value& value) = nullptr;  ///< null if read-only
  bool announcesItself = false;  ///< the setter notifies observers itself (with `changing`)
};

}  // namespace tidewell::runtime
