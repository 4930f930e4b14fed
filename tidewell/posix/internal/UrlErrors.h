// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string_view>

#include "tidewell/base/Error.h"

namespace tidewell::posix {

/// An error of `base::kUrlErrorDomain` with the platform's description of its code, followed by `detail` in
/// parentheses.
[[nodiscard]] base::Error urlError(std::int64_t code, std::string_view detail = {});

}  // namespace tidewell::posix
