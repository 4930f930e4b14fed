// SPDX-License-Identifier: Apache-2.0
// environment ROOT CA-FILE PROXY: prints what the library reads from its environment, "-" for empty values.
// A test also runs it set-group-ID.
#include "tidewell/posix/internal/Environment.h"

#include <unistd.h>

#include <cstdio>
#include <cstdlib>

#include "tidewell/posix/internal/RaisedRights.h"

int main(int, char** arguments) {
  using namespace tidewell::posix;
  const Environment read = Environment::read();
  Options options;
  options.setSystemRoot(arguments[1]);
  if (arguments[2][0] != '-') options.setCaFile(arguments[2]);
  options.setProxy(arguments[3]);
  const TransportSettings used = transportSettings(options.state(), read);
  std::printf("%s\n", hasRaisedRights() ? "raised" : "ordinary");
  const auto print = [](const std::string& text) { std::printf("%s ", text.empty() ? "-" : text.c_str()); };
  for (const std::string& each :
       {used.caFile, used.caDirectory, used.httpProxy, used.httpsProxy, used.noProxy, std::string("\n"),
        read.home, read.dataHome, read.timeZone.value_or("")}) {
    print(each);
  }
  for (const char* name : {"SSLKEYLOGFILE", "ICU_DATA", "ICU_TIMEZONE_FILES_DIR"}) {
    print(std::getenv(name) ? std::getenv(name) : "");
  }
  std::fflush(stdout);
  _exit(0);  // a leak checker cannot inspect a privileged process
}
