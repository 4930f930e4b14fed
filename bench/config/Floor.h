// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <atomic>
#include <memory>
#include <optional>
#include <string_view>

#include "tidewell/base/Export.h"
#include "tidewell/base/Value.h"

/// A lower bound for a question: a call of an exported function, and one load or one probe.
namespace bench {

class TIDEWELL_EXPORT BareLoad {
 public:
  [[nodiscard]] bool answer() const;

 private:
  std::atomic<bool> answer_{true};
};

class TIDEWELL_EXPORT BareProbe {
 public:
  explicit BareProbe(const tidewell::base::Value& names);
  ~BareProbe();
  /// Has the parameters of the question: the name may be missing.
  [[nodiscard]] bool contains(const std::optional<std::string_view>& name) const;

 private:
  struct State;
  std::unique_ptr<State> state_;
};

}  // namespace bench
