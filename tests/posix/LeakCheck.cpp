// SPDX-License-Identifier: Apache-2.0
#include "posix/PosixTest.h"

/// Called by LeakSanitizer before a leak check.
extern "C" int __lsan_is_turned_off();
extern "C" int __lsan_is_turned_off() { return tidewell::posix::isForkedChild ? 1 : 0; }
