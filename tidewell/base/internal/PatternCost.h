#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "tidewell/base/Export.h"

namespace tidewell::base {

/// What a regular expression costs, estimated from its text by one scan that is linear in it.
///
/// The scan does not parse: it counts what is dear wherever it appears, inside quotations and comments too,
/// so that it errs on the side of too much. The figures were measured with ICU 72, one construct after the
/// other (`make cost` measures the dearest ones again), and rounded up.
struct PatternCost {
  /// Processor time to compile, on a present-day machine.
  std::uint64_t nanoseconds = 0;
  /// Memory that the compiled expression keeps.
  std::size_t bytes = 0;

  /// Atoms that take no text and so may be met any number of times between two places that ICU keeps.
  std::uint32_t emptyAtoms = 0;
  /// Word boundaries, which may walk back over combining marks.
  std::uint32_t boundaries = 0;
  std::uint32_t repeats = 0;       ///< of an atom, with more than one possible length
  std::uint32_t options = 0;       ///< atoms that may be left out
  std::uint32_t alternatives = 1;  ///< all in all
  /// Something with repeats in it is repeated, or may be: the cost may grow exponentially with the text.
  bool isNested = false;
  bool hasReferences = false;
  /// Looks for the boundaries of characters or words with a break iterator.
  bool breaksText = false;

  [[nodiscard]] TIDEWELL_EXPORT static PatternCost of(std::string_view pattern);
};

}  // namespace tidewell::base
