#pragma once

#include <initializer_list>
#include <string>
#include <string_view>

#include "tidewell/base/Export.h"
#include "tidewell/base/Value.h"

namespace tidewell::base {

/// The text of a printf-style format whose arguments are values.
///
/// `%@` prints a value's description; `%d %i %ld %li %lld %lli %lu %llu %u %x %X %o %c` its integer, `%f %.0f
/// %e %g` (with flags, width and precision) its floating-point number, `%s` its text, `%p` its address as
/// `0x…`, `%%` a per cent sign. A missing argument counts as nil: `(null)` for `%@`, 0 for numbers. Arguments
/// beyond the format are ignored. A conversion that is not known is printed as it stands. Width and precision
/// are bounded by `kMaximumFormatWidth`. The result does not depend on the process's locale. Raises where an
/// argument has no number (see `Value::integerValue`).
[[nodiscard]] TIDEWELL_EXPORT std::string stringWithFormat(std::string_view format,
                                                           std::initializer_list<Value> arguments);
[[nodiscard]] TIDEWELL_EXPORT std::string stringWithFormat(std::string_view format, const Value* arguments,
                                                           std::size_t count);
inline constexpr int kMaximumFormatWidth = 4096;

}  // namespace tidewell::base
