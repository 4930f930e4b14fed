// SPDX-License-Identifier: Apache-2.0
#include "tidewell/core/foundation/TWDateUtils.h"

#include <cmath>

#include "tidewell/base/formats/TextFormat.h"
#include "tidewell/platform/Platform.h"

namespace tidewell {
namespace {

base::Date now() { return platform::Platform::current().clock().now(); }

enum class Order { ascending, same, descending, none };

/// A message to a nil date gives 0, which means "same".
Order compare(std::optional<base::Date> date1, std::optional<base::Date> date2) {
  if (!date1) return Order::same;
  if (!date2) return Order::none;
  if (*date1 < *date2) return Order::ascending;
  return *date1 > *date2 ? Order::descending : Order::same;
}

}  // namespace

base::DateFormatter TWDateUtils::dateFormatterWithFormat(std::string_view format, bool forGMTTimeZone) {
  return base::DateFormatter(format, forGMTTimeZone ? base::TimeZone::UTC()
                                                    : platform::Platform::current().clock().systemTimeZone());
}

std::optional<std::string> TWDateUtils::getStringForDate(std::optional<base::Date> date,
                                                         std::optional<std::string_view> withFormat,
                                                         bool andForGMTTimeZone) {
  if (!date || !withFormat) return std::nullopt;
  return dateFormatterWithFormat(*withFormat, andForGMTTimeZone).stringFromDate(*date);
}

std::optional<base::Date> TWDateUtils::getDateForString(std::optional<std::string_view> string,
                                                        std::optional<std::string_view> withFormat,
                                                        bool andForGMTTimeZone) {
  if (!string || !withFormat) return std::nullopt;
  return dateFormatterWithFormat(*withFormat, andForGMTTimeZone).dateFromString(*string);
}

std::string TWDateUtils::getGMTtime() {
  return base::stringWithFormat("%lli", {std::floor(now().secondsSince1970)});
}

std::string TWDateUtils::getLocalTime() {
  return dateFormatterWithFormat("dd:MM:yyyy:HH:mm:ss", false).stringFromDate(now());
}

base::DateComponents TWDateUtils::getTimeDifferenceBetweenDate(base::Date firstDate, base::Date secondDate) {
  return base::hourAndMinuteComponents(secondDate, firstDate);
}

bool TWDateUtils::isDateTimeGreaterThanNow(double secondsSince1970) {
  return now().secondsSince1970 < secondsSince1970;
}

bool TWDateUtils::isDate1SameAsDate2(std::optional<base::Date> date1, std::optional<base::Date> date2) {
  return compare(date1, date2) == Order::same;
}

bool TWDateUtils::isDate1LaterToDate2(std::optional<base::Date> date1, std::optional<base::Date> date2) {
  return compare(date1, date2) == Order::descending;
}

bool TWDateUtils::isDate1EarlierToDate2(std::optional<base::Date> date1, std::optional<base::Date> date2) {
  return compare(date1, date2) == Order::ascending;
}

}  // namespace tidewell
