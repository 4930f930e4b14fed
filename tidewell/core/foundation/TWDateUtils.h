// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "tidewell/base/Date.h"
#include "tidewell/base/Export.h"
#include "tidewell/base/formats/DateFormatter.h"

namespace tidewell {

/// Date formats of the server (patterns of Unicode TR 35). The 'Z' is a literal, not a time zone.
inline constexpr std::string_view kTWDateFormatISO8601 = "yyyy-MM-dd'T'HH:mm:ss'Z'";
inline constexpr std::string_view kTWDateFormatISO8601WithoutZ = "yyyy-MM-dd'T'HH:mm:ss";
inline constexpr std::string_view kTWDateFormatISO8601MilliSec = "yyyy-MM-dd'T'HH:mm:ss.SSS'Z'";
inline constexpr std::string_view kTWDateFormatShort = "yyyy-MM-dd";

/// Formats, parses and compares dates, independently of the user's locale and calendar.
///
/// Static functions only; any thread; none raises. Without a date or format the result has no value.
class TIDEWELL_EXPORT TWDateUtils final {
 public:
  TWDateUtils() = delete;

  /// A new formatter in UTC, or in the current system time zone.
  [[nodiscard]] static base::DateFormatter dateFormatterWithFormat(std::string_view format,
                                                                   bool forGMTTimeZone);
  [[nodiscard]] static std::optional<std::string> getStringForDate(std::optional<base::Date> date,
                                                                   std::optional<std::string_view> withFormat,
                                                                   bool andForGMTTimeZone);
  [[nodiscard]] static std::optional<base::Date> getDateForString(std::optional<std::string_view> string,
                                                                  std::optional<std::string_view> withFormat,
                                                                  bool andForGMTTimeZone);
  /// Whole seconds since 1970-01-01 UTC, as text.
  [[nodiscard]] static std::string getGMTtime();
  /// Day, month, year, hours, minutes and seconds in the system's time zone, all separated by colons.
  [[nodiscard]] static std::string getLocalTime();
  /// The time from the second date to the first; positive if the first is later.
  [[nodiscard]] static base::DateComponents getTimeDifferenceBetweenDate(base::Date firstDate,
                                                                         base::Date secondDate);
  [[nodiscard]] static bool isDateTimeGreaterThanNow(double secondsSince1970);
  // Compared at the clock's full resolution. A missing first date counts as the same as any date; otherwise,
  // without a second date, all three return false.
  [[nodiscard]] static bool isDate1SameAsDate2(std::optional<base::Date> date1,
                                               std::optional<base::Date> date2);
  [[nodiscard]] static bool isDate1LaterToDate2(std::optional<base::Date> date1,
                                                std::optional<base::Date> date2);
  [[nodiscard]] static bool isDate1EarlierToDate2(std::optional<base::Date> date1,
                                                  std::optional<base::Date> date2);
};

}  // namespace tidewell
