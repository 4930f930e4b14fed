#pragma once

#include <system_error>
#include <type_traits>

namespace tidewell::posix {

/// Why the library does not use a file of its own although the system would let it.
enum class FileFault {
  lockHeldByAnother = 1,  ///< equals `std::errc::timed_out`
  lockIsNoFile,           ///< something else lies where the lock file should: there is no lock
  isALink,
  ofAnotherUser,
  writableByOthers,
};

[[nodiscard]] std::error_code make_error_code(FileFault fault) noexcept;

}  // namespace tidewell::posix

template <>
struct std::is_error_code_enum<tidewell::posix::FileFault> : std::true_type {};
