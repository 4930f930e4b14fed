#pragma once

#include <functional>

#include "tidewell/base/Export.h"

namespace tidewell::posix {

/// Starts a detached thread with a name (15 characters at most), with all signals blocked, so that the host's
/// handlers never run on it, and with a small stack. This library stays loaded from then on, even if a
/// plug-in that brought it is closed. `run` must not throw. false if the system cannot start another thread.
/// Any thread; never raises.
[[nodiscard]] TIDEWELL_EXPORT bool startThread(const char* name, std::function<void()> run) noexcept;

}  // namespace tidewell::posix
