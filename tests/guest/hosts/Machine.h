#pragma once

#include <atomic>
#include <cstdint>

namespace tidewell::guest {

/// The system as this program shows it to the libraries in it: it defines some of the C library's functions
/// itself, and the libraries find those first.
struct Machine {
  /// How often a file of the application was opened.
  inline static std::atomic<int> opens{0};
  /// Seconds that the wall clock is ahead.
  inline static std::atomic<std::int64_t> wallClockStep{0};
};

}  // namespace tidewell::guest
