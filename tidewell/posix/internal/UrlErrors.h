#pragma once

#include <cstdint>
#include <string_view>

#include "tidewell/base/Error.h"

namespace tidewell::posix {

/// An error of `base::kUrlErrorDomain` with the platform's sentence for its code. What is known beyond that
/// follows in parentheses.
[[nodiscard]] base::Error urlError(std::int64_t code, std::string_view detail = {});

}  // namespace tidewell::posix
