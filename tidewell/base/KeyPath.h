// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <string_view>

#include "tidewell/base/Export.h"
#include "tidewell/base/Value.h"

namespace tidewell::base {

/// `valueForKeyPath:`: resolves the segments between full stops one after the other. nil at any segment gives
/// nil. An array gives an array of its entries' results, with null in place of nil. A segment that begins
/// with "@" is a collection operator (`@count`, `@sum.x`, `@avg.x`, `@min.x`, `@max.x`). Null, strings and
/// numbers raise `kUnknownKeyException` for keys they do not have. Raises for more than
/// `kMaximumKeyPathSegments` segments.
[[nodiscard]] TIDEWELL_EXPORT Value valueForKeyPath(const Value& object, std::string_view keyPath);
inline constexpr std::size_t kMaximumKeyPathSegments = 512;

}  // namespace tidewell::base
