// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <string_view>

#include "tidewell/base/Export.h"
#include "tidewell/base/Value.h"

namespace tidewell {

/// The object for a key; nil if there is none or it is the null object, and without a key.
[[nodiscard]] TIDEWELL_EXPORT base::Value validObjectForKey(const base::Dictionary& dictionary,
                                                            std::optional<std::string_view> key);
/// The object at the end of a key path; nil in the same cases. Raises as
/// `base::valueForKeyPath` does.
[[nodiscard]] TIDEWELL_EXPORT base::Value validObjectForKeyPath(const base::Dictionary& dictionary,
                                                                std::optional<std::string_view> keyPath);

}  // namespace tidewell
