// SPDX-License-Identifier: Apache-2.0
#include "tidewell/posix/internal/FileFault.h"

#include <string>

#include "tidewell/base/internal/NeverDestroyed.h"

namespace tidewell::posix {
namespace {

class FileFaultCategory final : public std::error_category {
 public:
  [[nodiscard]] const char* name() const noexcept override { return "tidewell.file"; }
  [[nodiscard]] std::string message(int fault) const override {
    switch (static_cast<FileFault>(fault)) {
      case FileFault::lockHeldByAnother:
        return "another process holds its lock";
      case FileFault::lockIsNoFile:
        return "its lock is no regular file";
      case FileFault::isALink:
        return "it is a symbolic link";
      case FileFault::ofAnotherUser:
        return "it, or a folder that holds it, belongs to another user";
      case FileFault::writableByOthers:
        return "other users may write it, or a folder that holds it";
    }
    return "unknown fault of a file";
  }
  [[nodiscard]] std::error_condition default_error_condition(int fault) const noexcept override {
    switch (static_cast<FileFault>(fault)) {
      case FileFault::lockHeldByAnother:
        return std::errc::timed_out;
      case FileFault::isALink:
        return std::errc::too_many_symbolic_link_levels;
      case FileFault::ofAnotherUser:
      case FileFault::writableByOthers:
        return std::errc::permission_denied;
      case FileFault::lockIsNoFile:
        break;
    }
    return {fault, *this};
  }
};

const std::error_category& category() {
  static base::NeverDestroyed<FileFaultCategory> instance;
  return *instance;
}

// Initialised while the library is loaded: the child of a fork might wait forever for a thread that was
// initialising it.
[[maybe_unused]] const std::error_category& categoryWhenLoaded = category();

}  // namespace

std::error_code make_error_code(FileFault fault) noexcept { return {static_cast<int>(fault), category()}; }

}  // namespace tidewell::posix
