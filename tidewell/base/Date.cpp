#include "tidewell/base/Date.h"

#include <fmt/format.h>

#include <cmath>
#include <cstdint>

namespace tidewell::base {
namespace {

constexpr std::int64_t kSecondsPerDay = 86400;
/// 15 October 1582, the first day of the Gregorian calendar, in days since 1970. Dates before it are Julian.
constexpr std::int64_t kFirstGregorianDay = -141427;
/// Beyond it (about 30 million years) a date is no date any more, and is printed as its number.
constexpr double kLastPrintedSecond = 1e15;

struct Civil {
  std::int64_t year;  // 0 is 1 BC
  int month;
  int day;
};

/// Years are counted from March, so that the leap day is the last of its year.
Civil civilFromDayOfYear(std::int64_t year, int dayOfYear) {
  const int shifted = (5 * dayOfYear + 2) / 153;
  const int month = shifted < 10 ? shifted + 3 : shifted - 9;
  return {year + (month <= 2), month, dayOfYear - (153 * shifted + 2) / 5 + 1};
}

std::int64_t floorDivide(std::int64_t a, std::int64_t b) { return a / b - (a % b < 0); }

Civil gregorianFromDays(std::int64_t days) {
  constexpr std::int64_t kEra = 146097;  // 400 years
  days += 719468;                        // from 1 March 0000
  const std::int64_t era = floorDivide(days, kEra);
  const std::int64_t day = days - era * kEra;
  const std::int64_t year = (day - day / 1460 + day / 36524 - day / 146096) / 365;
  return civilFromDayOfYear(year + era * 400, static_cast<int>(day - (365 * year + year / 4 - year / 100)));
}

Civil julianFromDays(std::int64_t days) {
  constexpr std::int64_t kCycle = 1461;  // 4 years
  days += 719470;                        // from 1 March 0000
  const std::int64_t cycle = floorDivide(days, kCycle);
  const std::int64_t day = days - cycle * kCycle;
  const std::int64_t year = (day - day / 1460) / 365;
  return civilFromDayOfYear(year + cycle * 4, static_cast<int>(day - 365 * year));
}

}  // namespace

std::string Date::description() const {
  if (!(std::fabs(secondsSince1970) < kLastPrintedSecond)) return fmt::format("{:.16g}", secondsSince1970);
  const auto seconds = static_cast<std::int64_t>(std::floor(secondsSince1970));
  const std::int64_t days = floorDivide(seconds, kSecondsPerDay);
  const std::int64_t second = seconds - days * kSecondsPerDay;
  const Civil date = days >= kFirstGregorianDay ? gregorianFromDays(days) : julianFromDays(days);
  const std::int64_t yearOfEra = date.year > 0 ? date.year : 1 - date.year;
  return fmt::format("{:04}-{:02}-{:02} {:02}:{:02}:{:02} +0000", yearOfEra, date.month, date.day,
                     second / 3600, second / 60 % 60, second % 60);
}

}  // namespace tidewell::base
