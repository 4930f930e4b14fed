#pragma once

#include "tidewell/platform/Platform.h"

namespace tidewell::platform {

/// The platform that answers while none is installed: it knows nothing, keeps nothing and sends nothing.
/// Made on first use and never destroyed.
[[nodiscard]] Platform& unknownMachine();

}  // namespace tidewell::platform
