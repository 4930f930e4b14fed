// SPDX-License-Identifier: Apache-2.0
#include "tidewell/base/Date.h"

#include <fmt/format.h>

#include <cmath>
#include <cstdint>

#include "tidewell/base/internal/CivilDate.h"

namespace tidewell::base {
namespace {

/// Dates farther away (about 30 million years) print as a number of seconds.
constexpr double kLastPrintedSecond = 1e15;

}  // namespace

std::string Date::description() const {
  if (!(std::fabs(secondsSince1970) < kLastPrintedSecond)) return fmt::format("{:.16g}", secondsSince1970);
  const auto seconds = static_cast<std::int64_t>(std::floor(secondsSince1970));
  const std::int64_t days = detail::floorDivide(seconds, detail::kSecondsPerDay);
  const std::int64_t second = seconds - days * detail::kSecondsPerDay;
  const detail::CivilDate date = detail::civilFromDays(days);
  const std::int64_t yearOfEra = date.year > 0 ? date.year : 1 - date.year;
  return fmt::format("{:04}-{:02}-{:02} {:02}:{:02}:{:02} +0000", yearOfEra, date.month, date.day,
                     second / 3600, second / 60 % 60, second % 60);
}

}  // namespace tidewell::base
