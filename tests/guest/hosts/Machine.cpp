#include "hosts/Machine.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <cstdlib>
#include <cstring>
#include <ctime>

using tidewell::guest::Machine;

/// A copy made before `main`, which may change the environment. Never destroyed: files are opened until the
/// end.
static const char* const dataHome = [] {
  const char* const home = getenv("XDG_DATA_HOME");
  return home != nullptr && *home != '\0' ? strdup(home) : nullptr;
}();

extern "C" {

__attribute__((visibility("default"))) int open(const char* path, int flags, ...) {
  va_list arguments;
  va_start(arguments, flags);
  const mode_t mode = (flags & O_CREAT) != 0 ? va_arg(arguments, mode_t) : 0;
  va_end(arguments);
  if (dataHome != nullptr && std::strncmp(path, dataHome, std::strlen(dataHome)) == 0) ++Machine::opens;
  if (Machine::openError != 0 && std::strstr(path, Machine::faultyPath) != nullptr) {
    errno = Machine::openError;
    return -1;
  }
  return static_cast<int>(syscall(SYS_openat, AT_FDCWD, path, flags, mode));
}

__attribute__((visibility("default"))) int clock_gettime(clockid_t clock, timespec* time) noexcept {
  static const auto real = reinterpret_cast<int (*)(clockid_t, timespec*)>(dlsym(RTLD_NEXT, "clock_gettime"));
  const int result = real(clock, time);
  if (result == 0 && clock == CLOCK_REALTIME) time->tv_sec += Machine::wallClockStep;
  return result;
}

}  // extern "C"
