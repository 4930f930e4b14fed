// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <sys/auxv.h>
#include <unistd.h>

namespace tidewell::posix {

/// Whether the process has more privileges than the user who started it (setuid, setgid, file capabilities).
/// That user controls the environment, so it must not be trusted then.
[[nodiscard]] inline bool hasRaisedRights() noexcept {
  return getauxval(AT_SECURE) != 0 || getuid() != geteuid() || getgid() != getegid();
}

}  // namespace tidewell::posix
