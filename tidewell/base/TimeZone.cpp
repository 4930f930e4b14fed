// SPDX-License-Identifier: Apache-2.0
#include "tidewell/base/TimeZone.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <iterator>
#include <limits>
#include <utility>

#include "tidewell/base/internal/Icu.h"
#include "tidewell/base/internal/IcuError.h"
#include "tidewell/base/internal/IcuLock.h"
#include "tidewell/base/internal/MadeWhenLoaded.h"
#include "tidewell/base/internal/NeverDestroyed.h"
#include "tidewell/base/internal/TimeZoneRecord.h"

namespace tidewell::base {

namespace {

/// The longest name in the database has 32 characters.
constexpr std::size_t kMaximumNameLength = 64;
/// No place on Earth is farther from GMT, and the platform refuses more.
constexpr std::int32_t kMaximumOffset = 18 * 3600;
/// Names that most machines have for their zone, which need no database.
constexpr std::string_view kNamesOfUtc[] = {"UTC", "Etc/UTC", "GMT",  "Etc/GMT",
                                            "UCT", "Etc/UCT", "Zulu", "Etc/Zulu"};

constexpr TimeZone::KnownOffset always(std::int32_t secondsFromGMT) {
  constexpr double kInfinity = std::numeric_limits<double>::infinity();
  return {-kInfinity, kInfinity, secondsFromGMT};
}

}  // namespace

namespace detail {

RecursiveStateMutex& IcuLock::mutexFor(Use use) {
  static NeverDestroyed<RecursiveStateMutex> dates(StateMutex::kOtherLibrary);
  static NeverDestroyed<RecursiveStateMutex> expressions(StateMutex::kOtherLibrary);
  return use == Use::dates ? *dates : *expressions;
}

}  // namespace detail

namespace {

using detail::IcuLock;

static_assert(detail::kIcuMemoryError == U_MEMORY_ALLOCATION_ERROR);

const MadeWhenLoaded icuMutexesMade([] { IcuLock lock(IcuLock::Use::dates); });

}  // namespace

void TimeZone::Record::CloseCalendar::operator()(void** open) const noexcept {
  const IcuLock lock(IcuLock::Use::dates);
  detail::icu()->ucal_close(open);
}

TimeZone::Record::Record(std::string zoneName, KnownOffset offset)
    : name(std::move(zoneName)), icuIdentifier(name.begin(), name.end()), known(offset) {}

void** TimeZone::Record::openCalendar(const detail::IcuFunctions& icu) const {
  if (calendar_) return calendar_.get();
  UErrorCode status = U_ZERO_ERROR;
  detail::requireMemoryForIcu();
  calendar_.reset(icu.ucal_open(icuIdentifier.data(), static_cast<std::int32_t>(icuIdentifier.size()),
                                "en_US_POSIX", UCAL_GREGORIAN, &status));
  detail::raiseIfShortOfMemory(status);
  return calendar_.get();
}

std::int32_t TimeZone::Record::offsetAt(double millisecondsSince1970) const {
  if (!std::isfinite(millisecondsSince1970)) millisecondsSince1970 = 0;
  const double seconds = millisecondsSince1970 / 1000.0;
  if (seconds >= known.from && seconds < known.until) return known.secondsFromGMT;
  const detail::IcuFunctions* const icu = detail::icu();
  if (icu == nullptr) return known.secondsFromGMT;
  const IcuLock lock(IcuLock::Use::dates);
  void** const calendar = openCalendar(*icu);
  if (calendar == nullptr) return known.secondsFromGMT;
  UErrorCode status = U_ZERO_ERROR;
  icu->ucal_setMillis(calendar,
                      std::clamp(millisecondsSince1970, -detail::kFarthestInstant, detail::kFarthestInstant),
                      &status);
  const std::int32_t offset =
      icu->ucal_get(calendar, UCAL_ZONE_OFFSET, &status) + icu->ucal_get(calendar, UCAL_DST_OFFSET, &status);
  return U_FAILURE(status) ? 0 : offset / 1000;
}

TimeZone::TimeZone(std::shared_ptr<const Record> record) : record_(std::move(record)) {}

TimeZone TimeZone::UTC() {
  static constinit std::atomic<const TimeZone*> zone{nullptr};
  return madeOnce(zone, [] {
    return std::unique_ptr<const TimeZone>(new TimeZone(std::make_shared<const Record>("UTC", always(0))));
  });
}

std::optional<TimeZone> TimeZone::timeZoneWithName(std::string_view name) {
  if (name.empty() || name.size() > kMaximumNameLength || name == "Etc/Unknown") return std::nullopt;
  if (!std::all_of(name.begin(), name.end(), [](char c) { return c > ' ' && c < 0x7f; })) return std::nullopt;
  if (std::find(std::begin(kNamesOfUtc), std::end(kNamesOfUtc), name) != std::end(kNamesOfUtc))
    return TimeZone(std::make_shared<const Record>(std::string(name), always(0)));
  const detail::IcuFunctions* const icu = detail::icu();
  if (icu == nullptr) return std::nullopt;
  const std::u16string identifier(name.begin(), name.end());
  char16_t canonical[kMaximumNameLength * 2];
  UBool isSystemZone = false;
  const IcuLock lock(IcuLock::Use::dates);
  UErrorCode status = U_ZERO_ERROR;
  icu->ucal_getCanonicalTimeZoneID(identifier.data(), static_cast<std::int32_t>(identifier.size()), canonical,
                                   static_cast<std::int32_t>(std::size(canonical)), &isSystemZone, &status);
  detail::raiseIfShortOfMemory(status);
  if (U_FAILURE(status)) return std::nullopt;
  auto record = std::make_shared<const Record>(std::string(name), KnownOffset());
  if (record->openCalendar(*icu) == nullptr) return std::nullopt;
  return TimeZone(std::move(record));
}

TimeZone TimeZone::timeZoneWithName(std::string_view name, KnownOffset known) {
  return TimeZone(std::make_shared<const Record>(std::string(name), known));
}

TimeZone TimeZone::timeZoneForSecondsFromGMT(std::int32_t seconds) {
  seconds = std::clamp(seconds, -kMaximumOffset, kMaximumOffset);
  if (seconds == 0) return TimeZone(std::make_shared<const Record>("GMT", always(0)));
  const int distance = std::abs(seconds);
  char name[32];
  std::snprintf(name, sizeof name, distance % 60 == 0 ? "GMT%c%02d%02d" : "GMT%c%02d%02d%02d",
                seconds < 0 ? '-' : '+', distance / 3600, distance / 60 % 60, distance % 60);
  return TimeZone(std::make_shared<const Record>(name, always(seconds)));
}

const std::string& TimeZone::name() const noexcept { return record_->name; }

std::int32_t TimeZone::secondsFromGMTForDate(Date date) const {
  return record_->offsetAt(date.secondsSince1970 * 1000.0);
}

}  // namespace tidewell::base
