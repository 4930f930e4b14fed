// SPDX-License-Identifier: Apache-2.0
#include "tidewell/posix/internal/ThreadName.h"

namespace tidewell::posix {

void nameThisThread(const char*) noexcept {}

}  // namespace tidewell::posix
