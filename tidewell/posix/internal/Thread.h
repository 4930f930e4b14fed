// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>

#include "tidewell/base/Export.h"

namespace tidewell::posix {

/// Starts a detached thread with a small stack, a name (at most 15 characters), and all signals blocked, so
/// that the host's handlers never run on it. Keeps this library loaded from then on, even if the plug-in that
/// loaded it is closed. `run` must not throw. Returns false if the system cannot start a thread. Any thread;
/// never raises.
[[nodiscard]] TIDEWELL_EXPORT bool startThread(const char* name, std::function<void()> run) noexcept;

}  // namespace tidewell::posix
