// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace tidewell::posix {

/// Collects the header lines of a reply as they arrive.
class ResponseHead {
 public:
  /// The limit for all lines of a reply, including interim replies and trailers. Real replies stay below a
  /// tenth of it; it keeps a server that never stops sending lines from exhausting memory.
  static constexpr std::size_t kMaximumBytes = 256u << 10;

  /// Adds a line including its line ending. A status line starts over, because what came before was an
  /// interim reply. Returns false beyond the limit.
  [[nodiscard]] bool addLine(std::string_view line);

  /// Whether the empty line at the end has arrived.
  [[nodiscard]] bool isComplete() const { return complete_; }
  [[nodiscard]] const std::vector<std::pair<std::string, std::string>>& fields() const { return fields_; }
  [[nodiscard]] bool hasField(std::string_view name) const;
  /// The size of all lines together.
  [[nodiscard]] std::size_t bytes() const { return bytes_; }
  void clear();

 private:
  std::vector<std::pair<std::string, std::string>> fields_;
  std::size_t bytes_ = 0;
  bool complete_ = false;
};

}  // namespace tidewell::posix
