// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string_view>

#include "tidewell/base/Value.h"
#include "tidewell/base/internal/PropertyListBounds.h"

namespace tidewell::base::detail {

/// Reads a property list in either format; nil if it is malformed or beyond the bounds.
[[nodiscard]] Value readPropertyList(std::string_view bytes, ArchiveReferences references,
                                     std::uint64_t maximumObjects = kMaximumObjects);

}  // namespace tidewell::base::detail
