// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <functional>
#include <memory>

#include "tidewell/base/Export.h"
#include "tidewell/platform/Queue.h"

namespace tidewell::testing {

/// A queue that runs its functions on request, on the requesting thread. Any thread may add functions, and a
/// running function may run others.
class TIDEWELL_EXPORT ManualQueue final : public platform::Queue {
 public:
  ManualQueue();
  ~ManualQueue() override;
  void async(std::function<void()> function) override;
  /// Whether the calling thread is running one of this queue's functions.
  [[nodiscard]] bool isCurrent() const override;
  [[nodiscard]] std::size_t pending() const;
  /// Runs the first function; false if there is none.
  bool runOne();
  /// Runs functions until none is left, including those added meanwhile, and returns their number. Exceptions
  /// are caught and reported.
  std::size_t runAll();

 private:
  struct State;
  std::unique_ptr<State> state_;
};

}  // namespace tidewell::testing
