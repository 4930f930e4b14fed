// SPDX-License-Identifier: Apache-2.0
#include "tidewell/posix/internal/PosixConsole.h"

#include <poll.h>
#include <signal.h>
#include <sys/uio.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <chrono>
#include <ctime>
#include <iterator>
#include <string>
#include <utility>

#include "tidewell/base/internal/CancellationShield.h"
#include "tidewell/base/internal/Unicode.h"
#include "tidewell/posix/internal/Fork.h"
#include "tidewell/posix/internal/ProgramName.h"
#include "tidewell/posix/internal/SignalBlock.h"

namespace tidewell::posix {
namespace {

/// The longest wait for a full pipe that the host made non-blocking.
constexpr auto kLongestWrite = std::chrono::milliseconds(100);

/// Up to this size the parts of a line are joined, which is faster than writing five parts. The text of a
/// longer line is not copied.
constexpr std::size_t kLongestJoinedLine = 1024;

/// `writev` without raising SIGPIPE (no reader) or SIGXFSZ (file at its size limit).
ssize_t writeWithoutSignal(int descriptor, const iovec* parts, int count) {
  SignalBlock block{SIGPIPE, SIGXFSZ};
  const ssize_t written = writev(descriptor, parts, count);
  const int error = errno;
  if (written < 0 && (error == EPIPE || error == EFBIG)) block.consume();
  errno = error;
  return written;
}

/// Removes bytes that were written from the parts. Returns whether any are left.
bool advance(iovec*& parts, int& count, std::size_t written) {
  while (count > 0 && written >= parts->iov_len) {
    written -= parts->iov_len;
    ++parts;
    --count;
  }
  if (count == 0) return false;
  parts->iov_base = static_cast<char*>(parts->iov_base) + written;
  parts->iov_len -= written;
  return true;
}

void writeParts(int descriptor, iovec* parts, int count) {
  std::chrono::steady_clock::time_point end{};
  for (;;) {
    const ssize_t written = writeWithoutSignal(descriptor, parts, count);
    if (written > 0) {
      if (!advance(parts, count, static_cast<std::size_t>(written))) return;
    } else if (written < 0 && errno == EAGAIN) {
      const auto now = std::chrono::steady_clock::now();
      if (end == std::chrono::steady_clock::time_point()) end = now + kLongestWrite;
      const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(end - now).count();
      pollfd waiting{descriptor, POLLOUT, 0};
      if (left <= 0 || poll(&waiting, 1, static_cast<int>(left)) == 0) return;
    } else if (written == 0 || errno != EINTR) {
      return;  // closed or without a reader: there is no one to report it to
    }
  }
}

/// The current time as "2026-11-24 21:18:35.123456+0000 ". The C library's functions would use the host's
/// time zone and locale.
class TimeText {
 public:
  TimeText() {
    using namespace std::chrono;
    const auto now = floor<microseconds>(system_clock::now());
    const auto day = floor<days>(now);
    const year_month_day date(day);
    const hh_mm_ss time(now - day);
    put(static_cast<int>(date.year()), 4, '-');
    put(static_cast<unsigned>(date.month()), 2, '-');
    put(static_cast<unsigned>(date.day()), 2, ' ');
    put(time.hours().count(), 2, ':');
    put(time.minutes().count(), 2, ':');
    put(time.seconds().count(), 2, '.');
    put(time.subseconds().count(), 6, '+');
    kZone.copy(end_, kZone.size());
  }
  TimeText(const TimeText&) = delete;
  TimeText& operator=(const TimeText&) = delete;
  [[nodiscard]] std::string_view text() const { return {text_, sizeof text_}; }

 private:
  static constexpr std::string_view kZone = "0000 ";

  /// Appends a number with leading zeros, followed by `after`.
  template <class Number>
  void put(Number number, int digits, char after) {
    auto left = static_cast<unsigned>(number);
    for (int i = digits - 1; i >= 0; --i, left /= 10) end_[i] = static_cast<char>('0' + left % 10);
    end_[digits] = after;
    end_ += digits + 1;
  }

  char text_[27 + kZone.size()];
  char* end_ = text_;
};

/// This process's PID as "[4711] ".
class ProcessText {
 public:
  ProcessText() {
    char* at = text_;
    *at++ = '[';
    at = std::to_chars(at, std::end(text_), currentProcess()).ptr;
    *at++ = ']';
    *at++ = ' ';
    length_ = static_cast<std::size_t>(at - text_);
  }
  [[nodiscard]] std::string_view text() const { return {text_, length_}; }

 private:
  char text_[16];
  std::size_t length_;
};

/// Whether the text may contain control characters. One branch-free pass, because most texts contain none.
bool mayHoldControls(std::string_view text) {
  bool found = false;
  for (const char each : text) {
    const auto byte = static_cast<unsigned char>(each);
    found |= (byte < 0x20) | (byte == 0x7f) | (byte == 0xc2);
  }
  return found;
}

iovec part(std::string_view text) { return {const_cast<char*>(text.data()), text.size()}; }

}  // namespace

void writeLineToStandardError(std::string_view program, std::string_view text) {
  const int error = errno;
  std::string visible;
  if (mayHoldControls(text)) text = visible = base::withVisibleControls(text, "\n\t");
  const TimeText time;
  const ProcessText number;
  const std::array pieces{time.text(), program, number.text(), text, std::string_view("\n")};
  std::size_t length = 0;
  for (const std::string_view piece : pieces) length += piece.size();

  std::array<iovec, pieces.size()> parts;
  int count = 0;
  char joined[kLongestJoinedLine];
  if (length <= sizeof joined) {
    char* end = joined;
    for (const std::string_view piece : pieces) end = std::copy(piece.begin(), piece.end(), end);
    parts[0] = part({joined, length});
    count = 1;
  } else {
    for (const std::string_view piece : pieces) parts[static_cast<std::size_t>(count++)] = part(piece);
  }
  writeParts(STDERR_FILENO, parts.data(), count);
  errno = error;
}

PosixConsole::PosixConsole(std::function<void(std::string_view)> sink)
    : sink_(std::move(sink)), program_(programName()) {}

void PosixConsole::write(std::string_view text) {
  const base::CancellationShield shield;
  try {
    if (sink_) {
      sink_(text);
    } else {
      writeLineToStandardError(program_, text);
    }
  } catch (...) {
    // A log line's own failure cannot be reported.
  }
}

}  // namespace tidewell::posix
