// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>

namespace tidewell::base {

/// Room in a type that hosts copy or create. The size of such a type cannot change within a major version, so
/// fields of later minor versions are reached through this one (docs/abi.md). Null; copy it with the rest.
using LaterFields = std::shared_ptr<const void>;

}  // namespace tidewell::base
