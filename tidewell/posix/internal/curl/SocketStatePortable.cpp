// SPDX-License-Identifier: Apache-2.0
#include "tidewell/posix/internal/curl/SocketState.h"

namespace tidewell::posix {

std::optional<SocketTraffic> trafficOf(int) noexcept { return std::nullopt; }
int unreadAtTheOtherEnd(int) noexcept { return 0; }

}  // namespace tidewell::posix
