#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>

#include "tidewell/base/formats/DateFormatter.h"

using namespace tidewell::base;

// Eight bytes of a date, a line with the pattern, and a text to read by it.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  double seconds = 0;
  if (size < sizeof seconds) return 0;
  std::memcpy(&seconds, data, sizeof seconds);
  const std::string_view text(reinterpret_cast<const char*>(data) + sizeof seconds, size - sizeof seconds);
  const std::size_t end = std::min(text.find('\n'), text.size());
  static const TimeZone zones[] = {TimeZone::UTC(), TimeZone::timeZoneWithName("America/New_York").value(),
                                   TimeZone::timeZoneForSecondsFromGMT(20700)};
  for (const TimeZone& zone : zones) {
    const DateFormatter dates(text.substr(0, end), zone);
    (void)dates.stringFromDate({seconds});
    (void)dates.dateFromString(text.substr(std::min(end + 1, text.size())));
  }
  const DateFormatter exact("yyyy-MM-dd'T'HH:mm:ss.SSS'Z'", TimeZone::UTC());
  const auto reread = exact.dateFromString(exact.stringFromDate({seconds}));
  const bool ordinary = seconds > -6e10 && seconds < 4e12;
  if (ordinary && (!reread || std::fabs(reread->secondsSince1970 - seconds) > 0.001)) std::abort();
  (void)hourAndMinuteComponents({seconds}, {static_cast<double>(size)});
  (void)TimeZone::timeZoneWithName(text.substr(0, end));
  return 0;
}
