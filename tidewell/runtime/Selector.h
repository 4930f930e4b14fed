// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "tidewell/base/Export.h"

namespace tidewell::runtime {

/// Shared by all selectors with the same name; created once per name and never freed.
struct SelectorRecord {
  std::string name;
  std::size_t hash = 0;
};

/// An interned method name: two selectors are equal if and only if their names are. Copied and compared as
/// one pointer; any thread.
///
/// Interned names are never freed, so do not create selectors from untrusted text.
class TIDEWELL_EXPORT Selector {
 public:
  /// The empty selector, to which no object responds.
  constexpr Selector() noexcept = default;
  constexpr explicit Selector(const SelectorRecord* record) noexcept : record_(record) {}
  /// The selector with that name, interned on first use.
  [[nodiscard]] static Selector named(std::string_view name);

  /// Includes the colons; "" for the empty selector.
  [[nodiscard]] std::string_view name() const noexcept {
    return record_ ? record_->name : std::string_view();
  }
  [[nodiscard]] std::size_t hash() const noexcept { return record_ ? record_->hash : 0; }
  [[nodiscard]] const SelectorRecord* record() const noexcept { return record_; }
  explicit operator bool() const noexcept { return record_ != nullptr; }
  friend bool operator==(Selector a, Selector b) noexcept { return a.record_ == b.record_; }

 private:
  const SelectorRecord* record_ = nullptr;
};

}  // namespace tidewell::runtime
