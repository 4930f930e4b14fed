#pragma once

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <string_view>

#include "InChild.h"
#include "tidewell/core/TWNetwork/TWNetworkConstants.h"
#include "tidewell/posix/PosixPlatform.h"

/// What the attack programs share.
namespace tidewell::attack {

/// A folder, in memory where that is possible, that is removed with this object.
struct TemporaryFolder {
  TemporaryFolder() {
    path.insert(0, std::filesystem::exists("/dev/shm") ? "/dev/shm" : "/tmp");
    if (mkdtemp(path.data()) == nullptr) std::abort();
  }
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;
  ~TemporaryFolder() {
    std::error_code ignored;  // the library's threads may still be writing
    std::filesystem::remove_all(path, ignored);
  }

  std::string path = "/tidewell-attack-XXXXXX";
};

/// An application that keeps its files in `home`, and finds its hosts on a port of this machine.
inline posix::Options optionsFor(const std::string& home, std::uint16_t port = 1, std::string caFile = "") {
  posix::Options made;
  made.bundleIdentifier = "org.example.attack";
  made.version = "1";
  made.dataHome = home;
  made.caFile = std::move(caFile);
  made.proxy = "-";
  made.consoleSink = [](std::string_view) {};
  for (const auto host : {HOST_TDW_PROD_US, HOST_TDW_PROD_SERV3, HOST_TDW_PROD_EU, HOST_LOGENTRIES})
    made.connectionOverrides.push_back({std::string(host), 443, "127.0.0.1", port});
  return made;
}

/// Evaluates its arguments.
template <class... Results>
void ignore(const Results&...) {}

/// Prints what was counted. The exit status of the program.
inline int conclude(std::size_t count, const char* what, std::size_t wrong) {
  std::printf("%zu %s, %zu wrong\n", count, what, wrong);
  std::fflush(stdout);
  return wrong == 0 ? 0 : 1;
}

}  // namespace tidewell::attack
