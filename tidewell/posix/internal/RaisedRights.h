// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <unistd.h>
#if defined(__linux__)
#include <sys/auxv.h>
#endif

namespace tidewell::posix {

#if defined(__linux__)
/// Whether the program file gave the process rights (setuid, setgid, file capabilities).
[[nodiscard]] inline bool hasRightsOfProgram() noexcept { return getauxval(AT_SECURE) != 0; }
#else
[[nodiscard]] inline bool hasRightsOfProgram() noexcept { return false; }
#endif

/// Whether the process has more privileges than the user who started it. That user controls the environment,
/// so it must not be trusted then.
[[nodiscard]] inline bool hasRaisedRights() noexcept {
  return hasRightsOfProgram() || getuid() != geteuid() || getgid() != getegid();
}

}  // namespace tidewell::posix
