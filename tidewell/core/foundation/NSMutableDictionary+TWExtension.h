// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <string_view>

#include "tidewell/base/Export.h"
#include "tidewell/base/Value.h"

namespace tidewell {

/// Stores an object, or "" for nil, so that a payload contains all its keys. Without a key, only logs a line.
TIDEWELL_EXPORT void setObjectNilHandled(base::Dictionary& dictionary, const base::Value& object,
                                         std::optional<std::string_view> forKey);
/// Removes a key. Ignores a key that is missing or has no entry.
TIDEWELL_EXPORT void removeValidObjectForKey(base::Dictionary& dictionary,
                                             std::optional<std::string_view> key);

}  // namespace tidewell
