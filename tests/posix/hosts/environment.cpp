// Prints what the library takes from its environment: a program that a test gives raised rights.
#include "tidewell/posix/internal/Environment.h"

#include <unistd.h>

#include <cstdio>
#include <cstdlib>

#include "tidewell/posix/internal/RaisedRights.h"

int main() {
  using namespace tidewell::posix;
  const Environment read = Environment::read();
  std::printf("%s\n", hasRaisedRights() ? "raised" : "ordinary");
  for (const std::string& each : {read.home, read.dataHome, read.timeZone.value_or(""), read.certificateFile,
                                  read.certificateDirectory, read.httpProxy, read.httpsProxy, read.noProxy}) {
    std::printf("%s ", each.c_str());
  }
  for (const char* name : {"SSLKEYLOGFILE", "ICU_DATA", "ICU_TIMEZONE_FILES_DIR"}) {
    const char* const value = std::getenv(name);
    std::printf("%s ", value ? value : "");
  }
  std::fflush(stdout);
  _exit(0);  // a leak checker cannot look at a process with raised rights
}
