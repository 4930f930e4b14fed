#pragma once

namespace tidewell::posix {

/// Gives the calling thread a name of at most 15 characters, which debuggers show.
void nameThisThread(const char* name) noexcept;

}  // namespace tidewell::posix
