// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

namespace tidewell::base::detail {

/// A calendar day. Years are astronomical: 0 is 1 BC.
struct CivilDate {
  std::int64_t year = 1970;
  int month = 1;
  int day = 1;
};

inline constexpr std::int64_t kSecondsPerDay = 86400;

/// 1582-10-15, the first day of the Gregorian calendar, in days since 1970-01-01.
inline constexpr std::int64_t kFirstGregorianDay = -141427;

constexpr std::int64_t floorDivide(std::int64_t a, std::int64_t b) {
  return a / b - (a % b != 0 && (a < 0) != (b < 0) ? 1 : 0);
}

/// Days since 1970-01-01 of a day in the proleptic Gregorian calendar. Computed with years that start in
/// March, so that the leap day comes last.
constexpr std::int64_t daysFromGregorian(CivilDate date) {
  const std::int64_t year = date.year - (date.month <= 2 ? 1 : 0);
  const std::int64_t dayOfYear = (153 * (date.month + (date.month > 2 ? -3 : 9)) + 2) / 5 + date.day - 1;
  return 365 * year + floorDivide(year, 4) - floorDivide(year, 100) + floorDivide(year, 400) + dayOfYear -
         719468;
}

/// The same for the Julian calendar.
constexpr std::int64_t daysFromJulian(CivilDate date) {
  const std::int64_t year = date.year - (date.month <= 2 ? 1 : 0);
  const std::int64_t dayOfYear = (153 * (date.month + (date.month > 2 ? -3 : 9)) + 2) / 5 + date.day - 1;
  return 365 * year + floorDivide(year, 4) + dayOfYear - 719470;
}

/// The civil date of a day counted from 1 March of `year`.
constexpr CivilDate civilFromDayOfMarchYear(std::int64_t year, std::int64_t dayOfYear) {
  const std::int64_t month = (5 * dayOfYear + 2) / 153;
  return {year + (month >= 10 ? 1 : 0), static_cast<int>(month < 10 ? month + 3 : month - 9),
          static_cast<int>(dayOfYear - (153 * month + 2) / 5 + 1)};
}

constexpr CivilDate gregorianFromDays(std::int64_t days) {
  days += 719468;
  const std::int64_t era = floorDivide(days, 146097);
  const std::int64_t dayOfEra = days - era * 146097;
  const std::int64_t yearOfEra = (dayOfEra - dayOfEra / 1460 + dayOfEra / 36524 - dayOfEra / 146096) / 365;
  return civilFromDayOfMarchYear(yearOfEra + era * 400,
                                 dayOfEra - (365 * yearOfEra + yearOfEra / 4 - yearOfEra / 100));
}

constexpr CivilDate julianFromDays(std::int64_t days) {
  days += 719470;
  const std::int64_t era = floorDivide(days, 1461);
  const std::int64_t dayOfEra = days - era * 1461;
  const std::int64_t yearOfEra = (dayOfEra - dayOfEra / 1460) / 365;
  return civilFromDayOfMarchYear(yearOfEra + era * 4, dayOfEra - 365 * yearOfEra);
}

/// The civil calendar: Julian before the reform of 1582, Gregorian after it.
constexpr CivilDate civilFromDays(std::int64_t days) {
  return days < kFirstGregorianDay ? julianFromDays(days) : gregorianFromDays(days);
}
constexpr std::int64_t daysFromCivil(CivilDate date) {
  const std::int64_t days = daysFromGregorian(date);
  return days < kFirstGregorianDay ? daysFromJulian(date) : days;
}

static_assert(daysFromGregorian({1970, 1, 1}) == 0 &&
              daysFromGregorian({1582, 10, 15}) == kFirstGregorianDay);
static_assert(daysFromJulian({1582, 10, 5}) == kFirstGregorianDay);
static_assert(civilFromDays(kFirstGregorianDay - 1).day == 4);

}  // namespace tidewell::base::detail
