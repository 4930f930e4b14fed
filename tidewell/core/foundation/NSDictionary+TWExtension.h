#pragma once

#include <optional>
#include <string_view>

#include "tidewell/base/Export.h"
#include "tidewell/base/Value.h"

namespace tidewell {

/// The object under a key; nil where there is none and where it is the null object. A nil key gives nil.
[[nodiscard]] TIDEWELL_EXPORT base::Value validObjectForKey(const base::Dictionary& dictionary,
                                                            std::optional<std::string_view> key);
/// The object at the end of a key path; nil where there is none and where it is the null object. Raises what
/// `base::valueForKeyPath` raises.
[[nodiscard]] TIDEWELL_EXPORT base::Value validObjectForKeyPath(const base::Dictionary& dictionary,
                                                                std::optional<std::string_view> keyPath);

}  // namespace tidewell
