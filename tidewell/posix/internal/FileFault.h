// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <system_error>
#include <type_traits>

namespace tidewell::posix {

/// Reasons for which the library refuses to use one of its own files although the system would permit it.
enum class FileFault {
  lockHeldByAnother = 1,  ///< equals `std::errc::timed_out`
  lockIsNoFile,           ///< something else has the name of the lock file, so there is no lock
  isALink,
  ofAnotherUser,
  writableByOthers,
};

[[nodiscard]] std::error_code make_error_code(FileFault fault) noexcept;

}  // namespace tidewell::posix

template <>
struct std::is_error_code_enum<tidewell::posix::FileFault> : std::true_type {};
