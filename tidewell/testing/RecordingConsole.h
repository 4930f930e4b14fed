// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "tidewell/base/Export.h"
#include "tidewell/platform/Console.h"

namespace tidewell::testing {

/// A console that records its lines. Any thread.
class TIDEWELL_EXPORT RecordingConsole final : public platform::Console {
 public:
  RecordingConsole();
  ~RecordingConsole() override;
  void write(std::string_view text) override;
  [[nodiscard]] std::vector<std::string> lines() const;
  /// Returns the lines and clears the console.
  std::vector<std::string> takeLines();

 private:
  struct State;
  std::unique_ptr<State> state_;
};

}  // namespace tidewell::testing
