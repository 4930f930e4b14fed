#include "tidewell/posix/PosixConsole.h"

#include <poll.h>
#include <pthread.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/uio.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstdint>
#include <ctime>
#include <utility>

#include "tidewell/posix/Fork.h"

namespace tidewell::posix {
namespace {

/// The longest wait for a full pipe that the host made non-blocking.
constexpr auto kLongestWait = std::chrono::milliseconds(100);

/// Up to here a text is copied into its line, which the system takes faster in one piece than in three; a
/// longer one stays where it is.
constexpr std::size_t kLongestJoinedText = 4096;

/// Linux since 6.18: a write to a pipe or socket without reader fails, and sends no signal.
constexpr int kWriteNoSignal = 0x100;

/// Keeps SIGPIPE from this thread while a write runs, and takes away the one that it caused.
class PipeSignalBlock {
 public:
  PipeSignalBlock() {
    sigemptyset(&pipe_);
    sigaddset(&pipe_, SIGPIPE);
    pthread_sigmask(SIG_BLOCK, &pipe_, &before_);
    sigset_t pending;
    // One can wait only where the host blocks the signal, too; it stays then.
    wasPending_ = sigismember(&before_, SIGPIPE) == 1 && sigpending(&pending) == 0 &&
                  sigismember(&pending, SIGPIPE) == 1;
  }
  ~PipeSignalBlock() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }
  PipeSignalBlock(const PipeSignalBlock&) = delete;
  PipeSignalBlock& operator=(const PipeSignalBlock&) = delete;

  void consume() {
    const timespec none{};
    if (!wasPending_) sigtimedwait(&pipe_, nullptr, &none);
  }

 private:
  sigset_t pipe_;
  sigset_t before_;
  bool wasPending_ = false;
};

/// `writev` for systems whose kernel cannot do without the signal.
ssize_t writeBlockingSignal(int descriptor, const iovec* parts, int count) {
  struct stat record {};
  if (fstat(descriptor, &record) == 0 && !S_ISFIFO(record.st_mode) && !S_ISSOCK(record.st_mode)) {
    return writev(descriptor, parts, count);
  }
  PipeSignalBlock block;
  const ssize_t written = writev(descriptor, parts, count);
  const int error = errno;
  if (written < 0 && error == EPIPE) block.consume();
  errno = error;
  return written;
}

/// `writev` that never raises SIGPIPE.
ssize_t writeWithoutSignal(int descriptor, const iovec* parts, int count) {
#if defined(__linux__)
  constinit static std::atomic<bool> kernelLacksIt{false};
  if (!kernelLacksIt.load(std::memory_order_relaxed)) {
    const ssize_t written = pwritev2(descriptor, parts, count, -1, kWriteNoSignal);
    if (written >= 0 || (errno != EOPNOTSUPP && errno != ENOSYS && errno != EINVAL)) return written;
    kernelLacksIt.store(true, std::memory_order_relaxed);
  }
#endif
  return writeBlockingSignal(descriptor, parts, count);
}

/// Takes what is written off the parts. Whether something is left.
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

void writeAll(int descriptor, iovec* parts, int count) {
  std::chrono::steady_clock::time_point end{};
  for (;;) {
    const ssize_t written = writeWithoutSignal(descriptor, parts, count);
    if (written > 0) {
      if (!advance(parts, count, static_cast<std::size_t>(written))) return;
    } else if (written < 0 && errno == EAGAIN) {
      const auto now = std::chrono::steady_clock::now();
      if (end == std::chrono::steady_clock::time_point()) end = now + kLongestWait;
      const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(end - now).count();
      pollfd waiting{descriptor, POLLOUT, 0};
      if (left <= 0 || poll(&waiting, 1, static_cast<int>(left)) == 0) return;
    } else if (written == 0 || errno != EINTR) {
      return;  // closed, or without a reader: there is nobody to tell
    }
  }
}

/// A number with leading zeros.
void appendNumber(std::string& out, std::uint64_t number, int digits) {
  char text[20];
  for (int i = digits - 1; i >= 0; --i, number /= 10) text[i] = static_cast<char>('0' + number % 10);
  out.append(text, static_cast<std::size_t>(digits));
}

/// "2026-11-24" of days since 1970 in the Gregorian calendar: eras of 400 years, years that begin in March.
void appendDate(std::string& out, std::uint64_t days) {
  days += 719'468;
  const std::uint64_t era = days / 146'097;
  const std::uint64_t dayOfEra = days % 146'097;
  const std::uint64_t yearOfEra =
      (dayOfEra - dayOfEra / 1'460 + dayOfEra / 36'524 - dayOfEra / 146'096) / 365;
  const std::uint64_t dayOfYear = dayOfEra - (365 * yearOfEra + yearOfEra / 4 - yearOfEra / 100);
  const std::uint64_t monthFromMarch = (5 * dayOfYear + 2) / 153;
  const std::uint64_t month = monthFromMarch < 10 ? monthFromMarch + 3 : monthFromMarch - 9;
  appendNumber(out, yearOfEra + era * 400 + (month <= 2 ? 1 : 0), 4);
  out += '-';
  appendNumber(out, month, 2);
  out += '-';
  appendNumber(out, dayOfYear - (153 * monthFromMarch + 2) / 5 + 1, 2);
}

/// "2026-11-24 21:18:35.123456+0000 " now. The C library's functions would ask for the host's time zone and
/// locale. A clock before 1970 counts as 1970.
void appendTime(std::string& out) {
  timespec now{};
  clock_gettime(CLOCK_REALTIME, &now);
  const auto seconds = static_cast<std::uint64_t>(now.tv_sec > 0 ? now.tv_sec : 0);
  const std::uint64_t secondOfDay = seconds % 86'400;
  appendDate(out, seconds / 86'400);
  char separator = ' ';
  for (const std::uint64_t part : {secondOfDay / 3600, secondOfDay / 60 % 60, secondOfDay % 60}) {
    out += std::exchange(separator, ':');
    appendNumber(out, part, 2);
  }
  out += '.';
  appendNumber(out, static_cast<std::uint64_t>(now.tv_nsec) / 1000, 6);
  out += "+0000 ";
}

iovec part(std::string_view text) { return {const_cast<char*>(text.data()), text.size()}; }

}  // namespace

void writeLineToStandardError(std::string_view program, std::string_view text) {
  const int error = errno;
  const bool isShort = text.size() <= kLongestJoinedText;
  std::string line;
  line.reserve(64 + program.size() + (isShort ? text.size() : 0));
  appendTime(line);
  line.append(program).append(1, '[').append(std::to_string(currentProcess())).append("] ");
  if (isShort) {
    line.append(text).append(1, '\n');
    iovec whole = part(line);
    writeAll(STDERR_FILENO, &whole, 1);
  } else {
    iovec parts[] = {part(line), part(text), part("\n")};
    writeAll(STDERR_FILENO, parts, 3);
  }
  errno = error;
}

PosixConsole::PosixConsole(std::function<void(std::string_view)> sink)
    : sink_(std::move(sink)), program_(program_invocation_short_name) {}

void PosixConsole::write(std::string_view text) {
  if (!sink_) return writeLineToStandardError(program_, text);
  try {
    sink_(text);
  } catch (...) {
    // A log line has nobody to tell.
  }
}

}  // namespace tidewell::posix
