// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <initializer_list>
#include <string>
#include <string_view>

#include "tidewell/base/Export.h"
#include "tidewell/base/Value.h"

namespace tidewell::base {

/// Formats values by a printf-style format. The result does not depend on the process's locale.
///
/// `%@` prints a value's description; `%d %i %ld %li %lld %lli %lu %llu %u %x %X %o %c` its integer; `%f %.0f
/// %e %g` (with flags, width and precision) its floating-point number; `%s` its text; `%p` its address as
/// `0x…`; `%%` a per cent sign. A missing argument counts as nil: `(null)` for `%@`, 0 for numbers. Surplus
/// arguments are ignored. An unknown conversion is printed as is. Width and precision are limited to
/// `kMaximumFormatWidth`. Raises if a numeric conversion meets a value without a number (see
/// `Value::integerValue`).
[[nodiscard]] TIDEWELL_EXPORT std::string stringWithFormat(std::string_view format,
                                                           std::initializer_list<Value> arguments);
[[nodiscard]] TIDEWELL_EXPORT std::string stringWithFormat(std::string_view format, const Value* arguments,
                                                           std::size_t count);
inline constexpr int kMaximumFormatWidth = 4096;

}  // namespace tidewell::base
