#pragma once

#include <functional>

namespace tidewell::posix {

/// Starts a thread that nobody joins: named (15 characters at most), with all signals blocked, so that the
/// host's handlers never run on it, and with a small stack. The library that this code lies in stays loaded
/// from then on, even where a plug-in that brought it is closed. `run` must not throw. NO where the system
/// has no thread to give. Any thread; never raises.
[[nodiscard]] bool startThread(const char* name, std::function<void()> run) noexcept;

/// Keeps the library or plug-in that some code lies in loaded for the rest of the process.
bool keepLoaded(const void* code) noexcept;

}  // namespace tidewell::posix
