// SPDX-License-Identifier: Apache-2.0
// `tidewell erase`.

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <string>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

#include "ApplicationFiles.h"
#include "Commands.h"
#include "Output.h"

namespace tidewell::tool {
namespace {

namespace fs = std::filesystem;

struct EraseVariables {
  ApplicationChoice application;
  bool identity = false;
  bool yes = false;
  bool json = false;
};

/// Holds the lock file that guards a path, as writers of the application do.
class HeldLock {
 public:
  explicit HeldLock(const std::string& path) {
    file_ = open((path + ".lock").c_str(), O_RDWR | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC);
    if (file_ < 0) return;  // no process has written the path yet
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(1);
    while (flock(file_, LOCK_EX | LOCK_NB) != 0) {
      if (std::chrono::steady_clock::now() >= end) {
        close(file_);
        throw Failure(visible(path) + " is in use by a process of the application; stop it first");
      }
      std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
  }
  ~HeldLock() {
    if (file_ >= 0) close(file_);
  }
  HeldLock(HeldLock&& other) noexcept : file_(std::exchange(other.file_, -1)) {}
  HeldLock(const HeldLock&) = delete;
  HeldLock& operator=(const HeldLock&) = delete;
  HeldLock& operator=(HeldLock&&) = delete;

 private:
  int file_ = -1;
};

bool isConfirmed(const std::vector<std::string>& paths) {
  if (isatty(STDIN_FILENO) != 1) throw Failure("nothing was erased: confirm with --yes");
  printLine("This erases:");
  for (const std::string& path : paths) printLine("  " + visible(path));
  std::fputs("Continue? [y/N] ", stdout);
  std::fflush(stdout);
  const int answer = std::getchar();
  return answer == 'y' || answer == 'Y';
}

int erase(const EraseVariables& variables) {
  const ApplicationFiles files(variables.application);
  std::vector<std::string> paths;
  if (variables.identity) {
    paths = {files.folder(), files.keychain()};
  } else {
    paths = {files.sdkFolder()};
  }
  struct stat record {};
  if (lstat(files.folder().c_str(), &record) != 0 || !S_ISDIR(record.st_mode) || record.st_uid != geteuid()) {
    throw Failure(visible(files.folder()) + " is not a folder of yours");
  }
  if (!variables.yes && !isConfirmed(paths)) {
    printLine("Nothing was erased.");
    return kFound;
  }
  std::vector<HeldLock> locks;
  for (const std::string& path : {files.archive(), files.userDefaults(), files.keychain()})
    locks.emplace_back(path);
  std::vector<base::Value> erased;
  for (const std::string& path : paths) {
    std::error_code error;
    const auto count = fs::remove_all(path, error);
    if (error) throw Failure(visible(path) + ": " + error.message());
    if (count == 0) continue;
    erased.emplace_back(path);
    if (!variables.json) printLine("erased " + visible(path));
  }
  if (variables.json) {
    printJson(base::Dictionary{{"application", files.name()}, {"erased", base::Array(std::move(erased))}});
  } else if (variables.identity) {
    printWrapped(
        "",
        "Items that a desktop application keeps in the session's keyring are erased with: secret-tool "
        "clear application " +
            visible(files.name()));
  }
  return kSuccess;
}

}  // namespace

void addErase(tools::Command program) {
  addCommand<EraseVariables>(
      program, "erase",
      "Erases the downloaded configuration with the opt-outs and the region; with "
      "--identity everything that the SDK keeps for an application. Stop the application first.",
      &erase, [](tools::Command to, EraseVariables& variables) {
        addChoice(to, variables.application);
        to.flag("--identity", variables.identity,
                "also the App ID, identifiers, push token and the whole container");
        to.flag("--yes", variables.yes, "do not ask");
        to.flag("--json", variables.json, "print one JSON object");
      });
}

}  // namespace tidewell::tool
