// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

#include "tidewell/platform/Platform.h"

namespace tidewell {

/// The parts of core that act when a platform is installed, in the order in which they do.
enum class InstallationPart : std::uint8_t { logger, configuration };

/// Sets the function that a part has called with each platform that becomes the current one, on the
/// installing thread and with no lock held. Any thread.
void setInstallationHandler(InstallationPart part, platform::InstallationHandler handler) noexcept;

}  // namespace tidewell
