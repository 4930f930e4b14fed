// SPDX-License-Identifier: Apache-2.0
#include <linux/membarrier.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "tidewell/base/internal/ProcessFence.h"

namespace tidewell::base {
namespace {

bool membarrier(int command) noexcept { return syscall(SYS_membarrier, command, 0, 0) == 0; }

}  // namespace

bool registerProcessFence() noexcept { return membarrier(MEMBARRIER_CMD_REGISTER_PRIVATE_EXPEDITED); }
bool processFence() noexcept { return membarrier(MEMBARRIER_CMD_PRIVATE_EXPEDITED); }

}  // namespace tidewell::base
