// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "tidewell/base/Export.h"

namespace tidewell::base {

/// Immutable bytes. Copies share one buffer; any thread may read. Never raises.
class TIDEWELL_EXPORT Data {
 public:
  Data() noexcept = default;
  explicit Data(std::string bytes);
  Data(const void* bytes, std::size_t length);

  [[nodiscard]] std::size_t length() const noexcept { return view().size(); }
  [[nodiscard]] bool empty() const noexcept { return view().empty(); }
  [[nodiscard]] const std::uint8_t* bytes() const noexcept;
  /// A view of the bytes, valid as long as this object or a copy of it lives.
  [[nodiscard]] std::string_view view() const noexcept {
    return bytes_ ? std::string_view(*bytes_) : std::string_view();
  }
  /// `{length = 4, bytes = 0x01020304}`; above 24 bytes only the first sixteen and the last eight.
  [[nodiscard]] std::string description() const;

  friend bool operator==(const Data& a, const Data& b) noexcept { return a.view() == b.view(); }

 private:
  std::shared_ptr<const std::string> bytes_;
};

}  // namespace tidewell::base
