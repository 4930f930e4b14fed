// SPDX-License-Identifier: Apache-2.0
#include <pthread.h>

#include "tidewell/posix/internal/ThreadName.h"

namespace tidewell::posix {

void nameThisThread(const char* name) noexcept { pthread_setname_np(pthread_self(), name); }

}  // namespace tidewell::posix
