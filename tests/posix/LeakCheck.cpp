#include "posix/PosixTest.h"

/// LeakSanitizer asks this before it looks for leaks.
extern "C" int __lsan_is_turned_off();
extern "C" int __lsan_is_turned_off() { return tidewell::posix::isForkedChild ? 1 : 0; }
