// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "tidewell/base/Export.h"

namespace tidewell::base {

/// The cost of a regular expression, estimated by one linear scan of its text.
///
/// The scan does not parse: it counts expensive constructs wherever they appear, even in quotations and
/// comments, so it overestimates. The figures were measured with ICU 72, one construct at a time, and rounded
/// up (`make cost` measures the most expensive ones again).
struct PatternCost {
  /// Processor time to compile, on present-day hardware.
  std::uint64_t nanoseconds = 0;
  /// Memory held by the compiled expression.
  std::size_t bytes = 0;

  /// Atoms that match the empty text, so that any number may occur between two saved positions.
  std::uint32_t emptyAtoms = 0;
  /// Word boundaries, which may walk back over combining marks.
  std::uint32_t boundaries = 0;
  std::uint32_t repeats = 0;       ///< of an atom with more than one possible length
  std::uint32_t options = 0;       ///< optional atoms
  std::uint32_t alternatives = 1;  ///< in the whole pattern
  /// A repeated group contains repeats, or may do so: the cost may grow exponentially with the text.
  bool isNested = false;
  bool hasReferences = false;
  /// Finds boundaries of characters or words with a break iterator.
  bool breaksText = false;

  [[nodiscard]] TIDEWELL_EXPORT static PatternCost of(std::string_view pattern);
};

}  // namespace tidewell::base
