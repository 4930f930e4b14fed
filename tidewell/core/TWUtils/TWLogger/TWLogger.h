#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "tidewell/base/Export.h"
#include "tidewell/base/Value.h"

namespace tidewell {

enum TWLogVerbosity : std::int32_t {
  TWLogVerbosityNone = 0,
  TWLogVerbosityDefault = 1,   ///< one argument: the message
  TWLogVerbosityDetailed = 2,  ///< four arguments: file, line number, method, message
};

enum TWLogSeverity : std::int32_t {
  TWLogSeverityNone = 0,
  TWLogSeverityDebug = 1,
  TWLogSeverityInfo = 2,
  TWLogSeverityWarning = 3,
  TWLogSeverityException = 4,
  TWLogSeverityError = 5,
};

/// Levels of `debug:`. Other numbers change nothing.
enum TWLogLevel : std::int64_t {
  TWLogLevelOff = 0,
  TWLogLevelDebug = 1,                ///< every line
  TWLogLevelExceptionsAndErrors = 2,  ///< lines of severity EXCEPTION and ERROR, with their label
};

/// The one logging facility: decides whether a line is written, formats it with one of two templates and
/// hands it to the console.
///
/// Class operations only; any thread. No exception leaves `debug` and the operations that format, write or
/// ship a line. The switches and templates are process-wide; a line in flight while they change may see the
/// old or the new ones. Logging is off until `debug` is called.
class TIDEWELL_EXPORT TWLogger final {
 public:
  TWLogger() = delete;

  static void initialize();
  static void setupDefaultFormats();
  static void setFormat(std::optional<std::string> format, std::int64_t forVerbosity);
  [[nodiscard]] static std::optional<std::string> formatForVerbosity(std::int64_t verbosity);
  static void setMinimumSeverity(std::int32_t severity);
  [[nodiscard]] static std::int32_t minimumSeverity();
  [[nodiscard]] static std::string labelForSeverity(std::int64_t severity);
  [[nodiscard]] static bool usingSeverityFiltering();
  [[nodiscard]] static bool meetsMinimumSeverity(std::int32_t severity);
  [[nodiscard]] static bool shouldLogInDebug();
  static void setShouldLogInDebug(bool flag);
  [[nodiscard]] static bool shouldLogInVerboseMessage();
  static void setShouldLogInVerboseMessage(bool flag);
  [[nodiscard]] static bool loggingEnabled();
  static void debug(std::int64_t level);

  /// Formats and writes one line where the switches let it through.
  static void logWithVerbosity(std::int64_t verbosity, std::int32_t severity, const base::Array& formatArgs);
  /// The same, and ships the line to the log service where the configuration enables that, whatever the
  /// switches say. Never waits.
  static void logWithVerbosity(std::int64_t verbosity, std::int32_t severity, const base::Array& formatArgs,
                               const base::Value& stackTrace);
  /// Writes one line of verbosity default and severity none: what the library's plain lines are. The same as
  /// `logWithVerbosity` with the message for its only argument, and quicker.
  static void logMessage(std::string_view message);
  /// The line without writing it, whatever the switches say; nil for a verbosity without a template, unless
  /// filtering is in force.
  [[nodiscard]] static std::optional<std::string> getLogforVerbosity(std::int64_t verbosity,
                                                                     std::int32_t severity,
                                                                     const base::Array& formatArgs);
  /// The text of a format, which takes as many arguments as it has places; nil for a nil format.
  [[nodiscard]] static std::optional<std::string> createLog(std::optional<std::string_view> format,
                                                            const base::Array& arguments = {});
  /// Writes the text of a format where logging is enabled.
  static void log(std::optional<std::string_view> format, const base::Array& arguments = {});

  /// Sends one line to the log service and returns at once. A line that does not arrive is lost, and
  /// "Logentries failed to sync" is logged for it. So is one that finds the bounds below reached: a silent
  /// service must not fill the host's memory. Lines in flight arrive in any order.
  static void sendLogToLogEntries(const base::Value& message, const base::Value& andTraceBack,
                                  const base::Value& andLevel);
  /// Lines in flight to the log service.
  static constexpr std::size_t kMaximumShippedLines = 256;
  /// Bytes of message and trace-back in flight. (Their JSON may take six times that, where every byte is a
  /// control character.)
  static constexpr std::size_t kMaximumShippedBytes = 4u << 20;

  /// Whether a line of this severity would be written now: one load and a branch. The library's own lines ask
  /// before they build an argument.
  [[nodiscard]] static bool writes(std::int32_t severity) noexcept {
    return static_cast<std::uint32_t>(severity) >= threshold_.load(std::memory_order_relaxed);
  }

 private:
  friend struct LoggerSwitches;
  /// The lowest severity that is written, in step with the switches; beyond 32 bits while nothing is.
  static std::atomic<std::uint64_t> threshold_;
};

}  // namespace tidewell
