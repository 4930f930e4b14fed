// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string_view>

#include "tidewell/core/internal/Guard.h"

namespace tidewell {

/// The log coordinates of an exception that an operation of `TWConfigManager` caught.
constexpr LogCoordinates managerAt(std::int32_t line, std::string_view selector) {
  return {"TWConfigManager", line, selector, "exception is %@"};
}

}  // namespace tidewell
