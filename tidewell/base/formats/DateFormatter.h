// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "tidewell/base/Date.h"
#include "tidewell/base/Export.h"
#include "tidewell/base/TimeZone.h"

namespace tidewell::base {

/// Formats and parses dates by a pattern of Unicode TR 35 (at least the fields `y M d H m s S` and quoted
/// text) in the locale en_US_POSIX, strictly.
///
/// For one thread at a time. Never raises: an unsupported pattern formats to "" and parses to no value.
class TIDEWELL_EXPORT DateFormatter {
 public:
  /// In bytes. Longer patterns count as unsupported.
  static constexpr std::size_t kMaximumPatternLength = 1024;

  DateFormatter(std::string_view dateFormat, TimeZone timeZone);
  ~DateFormatter();
  DateFormatter(DateFormatter&&) noexcept;
  DateFormatter& operator=(DateFormatter&&) noexcept;

  [[nodiscard]] const std::string& dateFormat() const noexcept;
  [[nodiscard]] const TimeZone& timeZone() const noexcept;
  /// "" if the pattern is unsupported or the instant is not finite.
  [[nodiscard]] std::string stringFromDate(Date date) const;
  /// No value if the text does not match. White space around the text is ignored.
  [[nodiscard]] std::optional<Date> dateFromString(std::string_view text) const;

 private:
  struct Implementation;
  std::unique_ptr<Implementation> implementation_;
};

/// Hours and minutes between two instants.
struct DateComponents {
  std::int64_t hour = 0;
  std::int64_t minute = 0;
  friend bool operator==(const DateComponents&, const DateComponents&) = default;
};

/// The difference from `fromDate` to `toDate` in whole hours and minutes; neither is positive if `toDate` is
/// earlier.
[[nodiscard]] TIDEWELL_EXPORT DateComponents hourAndMinuteComponents(Date fromDate, Date toDate);

}  // namespace tidewell::base
