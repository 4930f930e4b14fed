// SPDX-License-Identifier: Apache-2.0
#include "tidewell/base/internal/ProcessFence.h"

namespace tidewell::base {

bool registerProcessFence() noexcept { return false; }
bool processFence() noexcept { return false; }

}  // namespace tidewell::base
