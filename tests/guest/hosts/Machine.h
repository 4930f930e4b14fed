#pragma once

#include <atomic>
#include <cstdint>

namespace tidewell::guest {

/// The system as this program shows it to the libraries in it: it defines some of the C library's functions
/// itself, and the libraries find those first.
struct Machine {
  /// Opening a file whose path holds `fault` fails with this error; 0 for none.
  static std::atomic<int> openError;
  static char faultyPath[256];  ///< set before `openError`
  /// How often a file below XDG_DATA_HOME was opened.
  static std::atomic<int> opens;
  /// Seconds that the wall clock is ahead.
  static std::atomic<std::int64_t> wallClockStep;
};

}  // namespace tidewell::guest
