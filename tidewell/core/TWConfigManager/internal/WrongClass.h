// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string_view>

#include "tidewell/base/Value.h"

namespace tidewell {

/// The array in a value, for a query that sends it `selector`; an empty array for nil. Raises for any other
/// class.
[[nodiscard]] const base::Array& arrayOf(const base::Value& value, std::string_view selector);

}  // namespace tidewell
