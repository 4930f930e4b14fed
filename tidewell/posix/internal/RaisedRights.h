#pragma once

#include <sys/auxv.h>
#include <unistd.h>

namespace tidewell::posix {

/// Whether the process may do more than the user who started it (setuid, setgid, file capabilities). Its
/// environment is then that user's to choose, and not to be trusted.
[[nodiscard]] inline bool hasRaisedRights() noexcept {
  return getauxval(AT_SECURE) != 0 || getuid() != geteuid() || getgid() != getegid();
}

}  // namespace tidewell::posix
