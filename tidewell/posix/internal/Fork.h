// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <sys/types.h>

#include "tidewell/base/internal/Fork.h"

namespace tidewell::posix {

using base::ForkParticipant;
using base::StateMutex;
using base::WorkMutex;

/// Registers the fork handlers, once per process.
void prepareForForks();

/// `getpid()` without a system call.
[[nodiscard]] pid_t currentProcess() noexcept;

}  // namespace tidewell::posix
