// SPDX-License-Identifier: Apache-2.0
#include "tidewell/base/Date.h"

#include <cmath>
#include <cstdint>
#include <cstdio>

#include "tidewell/base/internal/CivilDate.h"
#include "tidewell/base/internal/NumberText.h"

namespace tidewell::base {
namespace {

/// Dates farther away (about 30 million years) print as a number of seconds.
constexpr double kLastPrintedSecond = 1e15;

}  // namespace

std::string Date::description() const {
  if (!(std::fabs(secondsSince1970) < kLastPrintedSecond)) {
    std::string number;
    appendReal(number, secondsSince1970);
    return number;
  }
  const auto seconds = static_cast<std::int64_t>(std::floor(secondsSince1970));
  const std::int64_t days = detail::floorDivide(seconds, detail::kSecondsPerDay);
  const std::int64_t second = seconds - days * detail::kSecondsPerDay;
  const detail::CivilDate date = detail::civilFromDays(days);
  const long long yearOfEra = date.year > 0 ? date.year : 1 - date.year;
  const int secondOfDay = static_cast<int>(second);
  char text[64];
  std::snprintf(text, sizeof text, "%04lld-%02d-%02d %02d:%02d:%02d +0000", yearOfEra, date.month, date.day,
                secondOfDay / 3600, secondOfDay / 60 % 60, secondOfDay % 60);
  return text;
}

}  // namespace tidewell::base
