// SPDX-License-Identifier: Apache-2.0
#include "tidewell/base/formats/DateFormatter.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "tidewell/base/internal/CivilDate.h"
#include "tidewell/base/internal/DatePattern.h"
#include "tidewell/base/internal/Icu.h"
#include "tidewell/base/internal/IcuError.h"
#include "tidewell/base/internal/IcuLock.h"
#include "tidewell/base/internal/TimeZoneRecord.h"
#include "tidewell/base/internal/Unicode.h"

namespace tidewell::base {

namespace {

using detail::WallClock;

constexpr char kLocale[] = "en_US_POSIX";
/// Longer texts cannot be dates.
constexpr std::size_t kMaximumTextLength = 4096;

/// The instant in whole milliseconds, halves rounded up, clamped to the range of ICU's calendars.
double roundedMilliseconds(Date date) {
  const double milliseconds = std::floor(date.secondsSince1970 * 1000.0 + 0.5);
  return std::clamp(milliseconds, -detail::kFarthestInstant, detail::kFarthestInstant);
}

WallClock wallClockFromLocal(std::int64_t localMilliseconds) {
  constexpr std::int64_t kMillisecondsPerDay = detail::kSecondsPerDay * 1000;
  const std::int64_t day = detail::floorDivide(localMilliseconds, kMillisecondsPerDay);
  const auto rest = static_cast<int>(localMilliseconds - day * kMillisecondsPerDay);
  const detail::CivilDate civil = detail::civilFromDays(day);
  WallClock clock;
  clock.year = civil.year > 0 ? civil.year : 1 - civil.year;
  clock.month = civil.month;
  clock.day = civil.day;
  clock.hour = rest / 3'600'000;
  clock.minute = rest / 60'000 % 60;
  clock.second = rest / 1000 % 60;
  clock.millisecond = rest % 1000;
  return clock;
}

/// Seconds since 1970 on a clock that shows local time; no value for a day that the month does not have.
std::optional<std::int64_t> localSecondsFromWallClock(const WallClock& clock) {
  const bool gregorian = clock.year > 1582;
  const bool leapYear = clock.year % 4 == 0 && (!gregorian || clock.year % 100 != 0 || clock.year % 400 == 0);
  constexpr int kDays[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  if (clock.day > kDays[clock.month - 1] + (clock.month == 2 && leapYear ? 1 : 0)) return std::nullopt;
  return detail::daysFromCivil({clock.year, clock.month, clock.day}) * detail::kSecondsPerDay +
         clock.hour * 3600 + clock.minute * 60 + clock.second;
}

/// The instant of a local time in a zone: the later one if it occurs twice, no value if the zone's clocks
/// skip it.
std::optional<std::int64_t> instantFromLocal(const TimeZone& zone, std::int64_t localSeconds) {
  std::optional<std::int64_t> latest;
  // Only the offsets in effect a day before, at, and a day after that time can apply.
  for (const std::int64_t distance : {-detail::kSecondsPerDay, std::int64_t{0}, detail::kSecondsPerDay}) {
    const Date near{static_cast<double>(localSeconds + distance)};
    const std::int64_t instant = localSeconds - zone.secondsFromGMTForDate(near);
    if (zone.secondsFromGMTForDate({static_cast<double>(instant)}) != localSeconds - instant) continue;
    if (!latest || instant > *latest) latest = instant;
  }
  return latest;
}

/// Uses ICU, for patterns with names, zones, eras and the like. Without ICU every pattern is unsupported.
class IcuFormatter {
 public:
  IcuFormatter(std::string_view pattern, const std::u16string& zone) {
    if (icu_ == nullptr) return;
    const std::u16string text = utf16FromUtf8(pattern);
    const detail::IcuLock lock(detail::IcuLock::Use::dates);
    UErrorCode status = U_ZERO_ERROR;
    detail::requireMemoryForIcu();
    format_.reset(icu_->udat_open(UDAT_PATTERN, UDAT_PATTERN, kLocale, zone.data(), lengthOf(zone),
                                  text.data(), lengthOf(text), &status));
    calendar_.reset(icu_->ucal_open(zone.data(), lengthOf(zone), kLocale, UCAL_GREGORIAN, &status));
    detail::raiseIfShortOfMemory(status);
    if (U_FAILURE(status)) {
      format_.reset();
      return;
    }
    icu_->udat_setLenient(format_.get(), false);
    icu_->ucal_setAttribute(calendar_.get(), UCAL_LENIENT, 0);
  }

  [[nodiscard]] std::string format(double milliseconds) const {
    if (!format_) return {};
    const detail::IcuLock lock(detail::IcuLock::Use::dates);
    std::u16string text(128, u'\0');
    for (;;) {
      UErrorCode status = U_ZERO_ERROR;
      const std::int32_t length =
          icu_->udat_format(format_.get(), milliseconds, text.data(), lengthOf(text), nullptr, &status);
      const bool tooShort = status == U_BUFFER_OVERFLOW_ERROR;
      detail::raiseIfShortOfMemory(status);
      if (U_FAILURE(status) && !tooShort) return {};
      text.resize(static_cast<std::size_t>(length));
      if (!tooShort) return utf8FromUtf16(text);
    }
  }

  [[nodiscard]] std::optional<double> read(std::string_view utf8) const {
    if (!format_) return std::nullopt;
    const std::u16string text = utf16FromUtf8(utf8);
    const detail::IcuLock lock(detail::IcuLock::Use::dates);
    UErrorCode status = U_ZERO_ERROR;
    icu_->ucal_clear(calendar_.get());
    icu_->ucal_setDateTime(calendar_.get(), 2000, UCAL_JANUARY, 1, 0, 0, 0, &status);
    std::int32_t position = 0;
    icu_->udat_parseCalendar(format_.get(), calendar_.get(), text.data(), lengthOf(text), &position, &status);
    detail::raiseIfShortOfMemory(status);
    if (U_FAILURE(status) || position != lengthOf(text)) return std::nullopt;
    const double milliseconds = icu_->ucal_getMillis(calendar_.get(), &status);
    if (U_FAILURE(status)) return std::nullopt;
    return milliseconds;
  }

 private:
  static std::int32_t lengthOf(const std::u16string& text) { return static_cast<std::int32_t>(text.size()); }

  const detail::IcuFunctions* const icu_ = detail::icu();
  struct CloseFormat {
    void operator()(UDateFormat* format) const noexcept {
      const detail::IcuLock lock(detail::IcuLock::Use::dates);
      detail::icu()->udat_close(format);
    }
  };
  struct CloseCalendar {
    void operator()(UCalendar* calendar) const noexcept {
      const detail::IcuLock lock(detail::IcuLock::Use::dates);
      detail::icu()->ucal_close(calendar);
    }
  };
  std::unique_ptr<UDateFormat, CloseFormat> format_;
  std::unique_ptr<UCalendar, CloseCalendar> calendar_;
};

}  // namespace

struct DateFormatter::Implementation {
  std::string pattern;
  TimeZone zone;
  /// At most one has a value; neither if the pattern is too long.
  std::optional<detail::DatePattern> simple;
  std::optional<IcuFormatter> icu;
};

DateFormatter::DateFormatter(std::string_view dateFormat, TimeZone timeZone)
    : implementation_(new Implementation{std::string(dateFormat), std::move(timeZone), {}, {}}) {
  if (dateFormat.size() > kMaximumPatternLength) return;
  implementation_->simple = detail::DatePattern::parsed(dateFormat);
  if (!implementation_->simple) {
    implementation_->icu.emplace(dateFormat, implementation_->zone.record_->icuIdentifier);
  }
}
DateFormatter::~DateFormatter() = default;
DateFormatter::DateFormatter(DateFormatter&&) noexcept = default;
DateFormatter& DateFormatter::operator=(DateFormatter&&) noexcept = default;

const std::string& DateFormatter::dateFormat() const noexcept { return implementation_->pattern; }
const TimeZone& DateFormatter::timeZone() const noexcept { return implementation_->zone; }

std::string DateFormatter::stringFromDate(Date date) const {
  if (!std::isfinite(date.secondsSince1970)) return {};
  const double milliseconds = roundedMilliseconds(date);
  if (implementation_->icu) return implementation_->icu->format(milliseconds);
  if (!implementation_->simple) return {};
  const std::int64_t offset = implementation_->zone.secondsFromGMTForDate({milliseconds / 1000.0});
  return implementation_->simple->format(
      wallClockFromLocal(static_cast<std::int64_t>(milliseconds) + offset * 1000));
}

std::optional<Date> DateFormatter::dateFromString(std::string_view text) const {
  if (text.size() > kMaximumTextLength) return std::nullopt;
  if (implementation_->icu) {
    const auto milliseconds = implementation_->icu->read(detail::withoutWhiteSpace(text));
    if (!milliseconds) return std::nullopt;
    return Date{*milliseconds / 1000.0};
  }
  if (!implementation_->simple) return std::nullopt;
  const auto clock = implementation_->simple->read(text);
  if (!clock) return std::nullopt;
  const auto local = localSecondsFromWallClock(*clock);
  if (!local) return std::nullopt;
  const auto instant = instantFromLocal(implementation_->zone, *local);
  if (!instant) return std::nullopt;
  return Date{static_cast<double>(*instant * 1000 + clock->millisecond) / 1000.0};
}

DateComponents hourAndMinuteComponents(Date fromDate, Date toDate) {
  if (!std::isfinite(fromDate.secondsSince1970) || !std::isfinite(toDate.secondsSince1970)) return {};
  const auto milliseconds =
      static_cast<std::int64_t>(roundedMilliseconds(toDate) - roundedMilliseconds(fromDate));
  const std::int64_t minutes = milliseconds / 60'000;
  return {minutes / 60, minutes % 60};
}

}  // namespace tidewell::base
