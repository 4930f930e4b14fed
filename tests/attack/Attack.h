// SPDX-License-Identifier: Apache-2.0
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

/// Shared by the attack programs.
namespace tidewell::attack {

/// A temporary folder, in memory if possible. The destructor removes it.
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

/// The options of an application with its files in `home` and its servers on a local port.
inline posix::Options optionsFor(const std::string& home, std::uint16_t port = 1, std::string caFile = "") {
  posix::Options made;
  made.setBundleIdentifier("org.example.attack");
  made.setVersion("1");
  made.setDataHome(home);
  made.setCaFile(std::move(caFile));
  made.setProxy("-");
  made.setConsoleSink([](std::string_view) {});
  for (const auto host : {HOST_TDW_PROD_US, HOST_TDW_PROD_SERV3, HOST_TDW_PROD_EU, HOST_LOGENTRIES})
    made.addConnectionOverride(std::string(host), 443, "127.0.0.1", port);
  return made;
}

/// Discards results that are marked `nodiscard`.
template <class... Results>
void ignore(const Results&...) {}

/// Prints the summary. Returns the exit status of the program.
inline int conclude(std::size_t count, const char* what, std::size_t wrong) {
  std::printf("%zu %s, %zu failed\n", count, what, wrong);
  std::fflush(stdout);
  return wrong == 0 ? 0 : 1;
}

}  // namespace tidewell::attack
