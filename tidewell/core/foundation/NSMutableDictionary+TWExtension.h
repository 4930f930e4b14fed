#pragma once

#include <optional>
#include <string_view>

#include "tidewell/base/Export.h"
#include "tidewell/base/Value.h"

namespace tidewell {

/// Stores an object; "" for nil, so that a payload carries all its keys. A nil key stores nothing and is
/// logged.
TIDEWELL_EXPORT void setObjectNilHandled(base::Dictionary& dictionary, const base::Value& object,
                                         std::optional<std::string_view> forKey);
/// Removes what is there; nothing happens for a nil key or an absent one.
TIDEWELL_EXPORT void removeValidObjectForKey(base::Dictionary& dictionary,
                                             std::optional<std::string_view> key);

}  // namespace tidewell
