// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <initializer_list>
#include <string>
#include <vector>

#include "tidewell/base/Export.h"
#include "tidewell/base/Shared.h"

namespace tidewell::base {

class Value;

/// An ordered list of values. Copies share their entries until one of them is modified. Any number of threads
/// may read one; writing needs exclusive access.
class TIDEWELL_EXPORT Array {
 public:
  Array() noexcept = default;
  Array(std::initializer_list<Value> values);
  explicit Array(std::vector<Value> values);

  [[nodiscard]] std::size_t count() const noexcept;
  [[nodiscard]] bool empty() const noexcept { return count() == 0; }
  /// Raises `kRangeException` for an index beyond the end.
  [[nodiscard]] const Value& objectAtIndex(std::size_t index) const;
  /// nil is stored as nil.
  void addObject(Value value);

  [[nodiscard]] const Value* begin() const noexcept;
  [[nodiscard]] const Value* end() const noexcept;
  friend TIDEWELL_EXPORT bool operator==(const Array& a, const Array& b) noexcept;
  [[nodiscard]] std::string description() const;

 private:
  friend class Value;
  SharedPointer record_;
};

}  // namespace tidewell::base

#include "tidewell/base/Value.h"  // which needs the class above
