#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>

namespace tidewell::torture {

/// Decides which allocations of the process fail: the program defines `malloc` and its relatives itself, and
/// every library in the process (`operator new` included) finds those first. Any thread.
class Allocations {
 public:
  static constexpr std::size_t kMaximumFrames = 40;
  static constexpr std::size_t kMaximumNoted = 400'000;

  /// From now on allocations are counted, from 1; `number` of them fail from the `first` on. A `first` of 0
  /// fails none and notes the call stack of each in `stacks` (`kMaximumNoted` places, shared with the
  /// parent).
  static void arm(std::size_t first, std::size_t number, std::uint64_t* stacks);
  static void disarm();
  [[nodiscard]] static std::size_t count();
  /// Writes the call stack of the first allocation that failed, one "MODULE OFFSET" a line.
  static void writeFailedStack(int descriptor);
  static void writeStack(int descriptor, void* const* frames, std::size_t count);

  /// While one exists, allocations of this thread succeed and are not counted.
  class Exempt {
   public:
    Exempt();
    ~Exempt();
    Exempt(const Exempt&) = delete;
    Exempt& operator=(const Exempt&) = delete;
  };
};

}  // namespace tidewell::torture
