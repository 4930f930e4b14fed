#include "hosts/Machine.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cstdarg>
#include <cstring>
#include <ctime>

using tidewell::guest::Machine;

extern "C" {

__attribute__((visibility("default"))) int open(const char* path, int flags, ...) {
  va_list arguments;
  va_start(arguments, flags);
  const mode_t mode = (flags & O_CREAT) != 0 ? va_arg(arguments, mode_t) : 0;
  va_end(arguments);
  if (std::strstr(path, "/org.example.life") != nullptr) ++Machine::opens;
  return static_cast<int>(syscall(SYS_openat, AT_FDCWD, path, flags, mode));
}

__attribute__((visibility("default"))) int clock_gettime(clockid_t clock, timespec* time) noexcept {
  static const auto real = reinterpret_cast<int (*)(clockid_t, timespec*)>(dlsym(RTLD_NEXT, "clock_gettime"));
  const int result = real(clock, time);
  if (result == 0 && clock == CLOCK_REALTIME) time->tv_sec += Machine::wallClockStep;
  return result;
}

}  // extern "C"
