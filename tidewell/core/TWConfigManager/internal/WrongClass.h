#pragma once

#include <string_view>

#include "tidewell/base/Value.h"

namespace tidewell {

/// The array that a value is, for a question that sends it `selector`: raises for any other class. nil is the
/// empty array.
[[nodiscard]] const base::Array& arrayOf(const base::Value& value, std::string_view selector);

}  // namespace tidewell
