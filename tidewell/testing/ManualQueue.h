#pragma once

#include <cstddef>
#include <functional>
#include <memory>

#include "tidewell/base/Export.h"
#include "tidewell/platform/Queue.h"

namespace tidewell::testing {

/// A queue that runs its functions when it is told, on the thread that tells it. Functions may be added from
/// any thread, and a function that runs may tell the queue to go on.
class TIDEWELL_EXPORT ManualQueue final : public platform::Queue {
 public:
  ManualQueue();
  ~ManualQueue() override;
  void async(std::function<void()> function) override;
  /// Whether the calling thread runs one of this queue's functions now.
  [[nodiscard]] bool isCurrent() const override;
  [[nodiscard]] std::size_t pending() const;
  /// Runs the first function; false if there is none.
  bool runOne();
  /// Runs functions until none is left, including those added meanwhile, and returns how many ran. An
  /// exception is caught and reported.
  std::size_t runAll();

 private:
  struct State;
  std::unique_ptr<State> state_;
};

}  // namespace tidewell::testing
