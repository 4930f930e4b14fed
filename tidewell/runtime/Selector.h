#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "tidewell/base/Export.h"

namespace tidewell::runtime {

/// What all selectors of one name share; made once a name and never freed.
struct SelectorRecord {
  std::string name;
  std::size_t hash = 0;
};

/// The name of a method, interned: two selectors are equal exactly when their names are. A word to copy and
/// to compare; any thread.
///
/// A name that was interned stays for the life of the process, so selectors are not to be made from texts
/// that come from outside.
class TIDEWELL_EXPORT Selector {
 public:
  /// No selector: nothing responds to it.
  constexpr Selector() noexcept = default;
  constexpr explicit Selector(const SelectorRecord* record) noexcept : record_(record) {}
  /// The selector of a name, made on first use.
  [[nodiscard]] static Selector named(std::string_view name);

  /// With its colons; "" for no selector.
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
