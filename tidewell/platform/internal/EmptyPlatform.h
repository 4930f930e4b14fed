// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "tidewell/platform/Platform.h"

namespace tidewell::platform {

/// The platform in use while none is installed: stores nothing and sends nothing. Created on first use and
/// never destroyed.
[[nodiscard]] Platform& emptyPlatform();

}  // namespace tidewell::platform
