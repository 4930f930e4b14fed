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
  /// All lines of one reply together, those of interim replies and trailers included. Real replies stay below
  /// a tenth of it; a server that never stops sending lines must not fill the host's memory.
  static constexpr std::size_t kMaximumBytes = 256u << 10;

  /// One line with its line end. A status line begins anew: an interim reply came before. NO beyond the
  /// bound.
  [[nodiscard]] bool addLine(std::string_view line);

  /// Whether the empty line after the last one has come.
  [[nodiscard]] bool isComplete() const { return complete_; }
  [[nodiscard]] const std::vector<std::pair<std::string, std::string>>& fields() const { return fields_; }
  [[nodiscard]] bool hasField(std::string_view name) const;
  /// Of all lines together.
  [[nodiscard]] std::size_t bytes() const { return bytes_; }
  void clear();

 private:
  std::vector<std::pair<std::string, std::string>> fields_;
  std::size_t bytes_ = 0;
  bool complete_ = false;
};

}  // namespace tidewell::posix
