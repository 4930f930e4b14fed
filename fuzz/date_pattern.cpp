// SPDX-License-Identifier: Apache-2.0
#include <cmath>
#include <cstring>

#include "Input.h"
#include "tidewell/base/formats/DateFormatter.h"

using namespace tidewell::base;

// Input: eight bytes of a date, a line with the pattern, and a text to parse with it.
void fuzz::check(std::string_view input) {
  double seconds = 0;
  if (input.size() < sizeof seconds) return;
  std::memcpy(&seconds, input.data(), sizeof seconds);
  const auto [pattern, text] = fuzz::split(input.substr(sizeof seconds), "\n");
  static const TimeZone zones[] = {TimeZone::UTC(), TimeZone::timeZoneWithName("America/New_York").value(),
                                   TimeZone::timeZoneForSecondsFromGMT(20700)};
  for (const TimeZone& zone : zones) {
    const DateFormatter dates(pattern, zone);
    (void)dates.stringFromDate({seconds});
    (void)dates.dateFromString(text);
  }
  const DateFormatter exact("yyyy-MM-dd'T'HH:mm:ss.SSS'Z'", TimeZone::UTC());
  const auto reread = exact.dateFromString(exact.stringFromDate({seconds}));
  const bool ordinary = seconds > -6e10 && seconds < 4e12;
  fuzz::require(!ordinary || (reread && std::fabs(reread->secondsSince1970 - seconds) <= 0.001));
  (void)hourAndMinuteComponents({seconds}, {static_cast<double>(input.size())});
  (void)TimeZone::timeZoneWithName(pattern);
}
