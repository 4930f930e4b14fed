// SPDX-License-Identifier: Apache-2.0
#include "tidewell/posix/internal/PosixClock.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <climits>
#include <cstdint>
#include <ctime>
#include <limits>
#include <utility>

#include "tidewell/base/internal/Ascii.h"
#include "tidewell/base/internal/Mutex.h"
#include "tidewell/posix/internal/AtomicFile.h"

namespace tidewell::posix {
namespace {

constexpr std::size_t kMaximumZoneFileBytes = 1u << 20;

/// No place on Earth is farther from GMT.
constexpr std::int64_t kMaximumOffset = 18 * 3600;

using base::detail::isAsciiDigit;
using base::detail::isAsciiLetter;

/// Removes up to three digits from the front of a text; no value if there are none.
std::optional<int> takeNumber(std::string_view& text) {
  int number = 0;
  std::size_t count = 0;
  for (; count < text.size() && count < 3 && isAsciiDigit(text[count]); ++count) {
    number = number * 10 + (text[count] - '0');
  }
  if (count == 0) return std::nullopt;
  text.remove_prefix(count);
  return number;
}

/// The offset in seconds east of GMT of a POSIX rule's standard time (POSIX.1-2017, XBD 8.3, "TZ"): a name,
/// followed by an offset that counts westward.
std::optional<std::int32_t> standardOffsetOfRule(std::string_view rule) {
  std::size_t nameLength = 0;
  if (rule.starts_with('<')) {
    nameLength = rule.find('>');
    if (nameLength == std::string_view::npos) return std::nullopt;
    ++nameLength;
  } else {
    while (nameLength < rule.size() && isAsciiLetter(rule[nameLength])) ++nameLength;
  }
  if (nameLength < 3) return std::nullopt;
  rule.remove_prefix(nameLength);
  const bool isEast = rule.starts_with('-');
  if (isEast || rule.starts_with('+')) rule.remove_prefix(1);
  const auto hours = takeNumber(rule);
  if (!hours || *hours > 24) return std::nullopt;
  std::int32_t seconds = *hours * 3600;
  for (const int unit : {60, 1}) {
    if (!rule.starts_with(':')) break;
    rule.remove_prefix(1);
    const auto number = takeNumber(rule);
    if (!number || *number > 59) return std::nullopt;
    seconds += *number * unit;
  }
  return isEast ? seconds : -seconds;
}

/// The "Area/City" part of a path into the time-zone database.
std::string_view nameInDatabase(std::string_view text) {
  constexpr std::string_view kFolder = "zoneinfo/";
  const auto place = text.rfind(kFolder);
  if (place == std::string_view::npos) return text;
  text.remove_prefix(place + kFolder.size());
  for (const std::string_view variant : {"posix/", "right/"}) {
    if (text.starts_with(variant)) text.remove_prefix(variant.size());
  }
  return text;
}

std::string targetOfLink(const std::string& path) {
  char target[PATH_MAX];
  const ssize_t length = readlink(path.c_str(), target, sizeof target);
  return length > 0 ? std::string(target, static_cast<std::size_t>(length)) : std::string();
}

/// The rule in the footer of a time-zone file (RFC 8536, section 3.3).
std::string ruleOfZoneFile(const std::string& path) {
  std::string contents = readFile(path, FileOwner::any, kMaximumZoneFileBytes).contents;
  if (!contents.starts_with("TZif") || !contents.ends_with('\n')) return {};
  contents.pop_back();
  return contents.substr(contents.rfind('\n') + 1);
}

/// A text for `timeZoneForText` that identifies the system's zone.
std::string systemZoneText(const std::string& root) {
  std::string link = targetOfLink(root + "/etc/localtime");
  if (!link.empty()) return link;
  // A copy of the zone file does not contain its name.
  std::string name = readFile(root + "/etc/timezone", FileOwner::any, kMaximumZoneFileBytes).contents;
  name.resize(std::min(name.find_first_of(" \t\r\n"), name.size()));
  return name.empty() ? ruleOfZoneFile(root + "/etc/localtime") : name;
}

/// Reads big-endian numbers one after the other; zeros beyond the end.
class NumberReader {
 public:
  NumberReader(std::string_view bytes, std::size_t at) : bytes_(bytes), at_(at) {}
  std::int64_t next(std::size_t size) {
    std::uint64_t number = at_ < bytes_.size() && (bytes_[at_] & 0x80) != 0 ? ~std::uint64_t{0} : 0;
    for (; size > 0; --size, ++at_)
      number = number << 8 | (at_ < bytes_.size() ? static_cast<unsigned char>(bytes_[at_]) : 0u);
    return static_cast<std::int64_t>(number);
  }

 private:
  const std::string_view bytes_;
  std::size_t at_;
};

/// The number of bytes in each part of a block of a time-zone file (RFC 8536, section 3), from its header.
struct ZoneBlock {
  ZoneBlock(std::string_view file, std::size_t header, std::size_t timeSize) : size(timeSize) {
    NumberReader reader(file, header + 20);
    for (std::size_t& each : counts)
      each = static_cast<std::size_t>(std::clamp<std::int64_t>(reader.next(4), 0, kMaximumZoneFileBytes));
    const auto [utcs, standards, leaps, times, types, characters] = counts;
    begin = header + 44;
    end = begin + times * (size + 1) + types * 6 + characters + leaps * (size + 4) + standards + utcs;
  }
  std::array<std::size_t, 6> counts{};
  std::size_t size, begin, end;
};

/// The offset that a time-zone file gives for an instant. No value for a malformed file, or beyond its last
/// transition if clocks go on changing by a rule.
std::optional<base::TimeZone::KnownOffset> offsetInZoneFile(std::string_view file, double now) {
  constexpr double kInfinity = std::numeric_limits<double>::infinity();
  if (!file.starts_with("TZif") || file.size() < 44 || file[4] < '2' || !file.ends_with('\n'))
    return std::nullopt;
  const ZoneBlock old(file, 0, 4);  // for readers of 32-bit times
  if (old.end >= file.size() || !file.substr(old.end).starts_with("TZif")) return std::nullopt;
  const ZoneBlock block(file, old.end, 8);
  const std::size_t times = block.counts[3], types = block.counts[4];
  if (block.end >= file.size() || types == 0) return std::nullopt;
  NumberReader reader(file, block.begin);
  std::size_t passed = 0;
  double from = -kInfinity, until = kInfinity;
  for (; passed < times; ++passed) {
    const auto transition = static_cast<double>(reader.next(8));
    if (transition > now) {
      until = transition;
      break;
    }
    from = transition;
  }
  if (passed == times && file.substr(block.end).find(',') != file.npos) return std::nullopt;
  const std::size_t type =
      passed == 0 ? 0 : static_cast<unsigned char>(file[block.begin + times * 8 + passed - 1]);
  if (type >= types) return std::nullopt;
  const std::int64_t offset = NumberReader(file, block.begin + times * 9 + type * 6).next(4);
  if (offset < -kMaximumOffset || offset > kMaximumOffset) return std::nullopt;
  return base::TimeZone::KnownOffset{from, until, static_cast<std::int32_t>(offset)};
}

/// A zone of the system's database, which spares the process the loading of ICU's.
std::optional<base::TimeZone> systemZone(const std::string& root, std::string_view name, double now) {
  if (name.empty() || name.starts_with('/') || name.find("..") != name.npos) return std::nullopt;
  const std::string path = root + "/usr/share/zoneinfo/" + std::string(name);
  const auto known = offsetInZoneFile(readFile(path, FileOwner::any, kMaximumZoneFileBytes).contents, now);
  return known ? std::optional(base::TimeZone::timeZoneWithName(name, *known)) : std::nullopt;
}

}  // namespace

base::TimeZone timeZoneForText(std::string_view text, const std::string& root, double now) {
  if (text.starts_with(':')) text.remove_prefix(1);
  const std::string_view name = nameInDatabase(text);
  if (const auto known = systemZone(root, name, now)) return *known;
  if (const auto named = base::TimeZone::timeZoneWithName(name)) return *named;
  if (const auto offset = standardOffsetOfRule(text)) {
    return base::TimeZone::timeZoneForSecondsFromGMT(*offset);
  }
  return base::TimeZone::UTC();
}

PosixClock::PosixClock(std::optional<std::string> variable, std::string systemRoot)
    : variable_(std::move(variable)), systemRoot_(std::move(systemRoot)) {}

base::Date PosixClock::now() const {
  timespec time{};
  clock_gettime(CLOCK_REALTIME, &time);
  return {static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) / 1e9};
}

base::TimeZone PosixClock::systemTimeZone() const {
  std::string source = variable_ ? *variable_ : systemZoneText(systemRoot_);
  {
    const base::MutexLock lock(mutex_);
    if (zone_ && source == source_) return *zone_;
  }
  base::TimeZone zone = timeZoneForText(source, systemRoot_, now().secondsSince1970);
  const base::MutexLock lock(mutex_);
  source_ = std::move(source);
  zone_ = zone;
  return zone;
}

}  // namespace tidewell::posix
