// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <string_view>

#include "tidewell/base/Export.h"
#include "tidewell/base/Value.h"

namespace tidewell {

/// The object for a key; nil if there is none or it is the null object. A nil key gives nil.
[[nodiscard]] TIDEWELL_EXPORT base::Value validObjectForKey(const base::Dictionary& dictionary,
                                                            std::optional<std::string_view> key);
/// The object at the end of a key path; nil if there is none or it is the null object. Raises as
/// `base::valueForKeyPath` does.
[[nodiscard]] TIDEWELL_EXPORT base::Value validObjectForKeyPath(const base::Dictionary& dictionary,
                                                                std::optional<std::string_view> keyPath);

}  // namespace tidewell
