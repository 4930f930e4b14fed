// SPDX-License-Identifier: Apache-2.0
#include "tidewell/core/TWConfigManager/internal/WrongClass.h"

#include "tidewell/base/internal/UnrecognizedSelector.h"

namespace tidewell {

const base::Array& arrayOf(const base::Value& value, std::string_view selector) {
  static const base::Array none;
  if (value.isNil()) return none;
  if (const base::Array* const array = value.array()) return *array;
  base::raiseUnrecognizedSelector(value, selector);
}

}  // namespace tidewell
