// SPDX-License-Identifier: Apache-2.0
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

/// Levels for `debug`. Other numbers change nothing.
enum TWLogLevel : std::int64_t {
  TWLogLevelOff = 0,
  TWLogLevelDebug = 1,                ///< every line
  TWLogLevelExceptionsAndErrors = 2,  ///< lines of severity EXCEPTION and ERROR, with their label
};

/// The logging facility: decides whether a line is written, formats it with one of two templates, and passes
/// it to the console.
///
/// Static functions only; any thread. No exception leaves `debug` and the functions that format, write or
/// ship a line. Switches and templates are process-wide; a line logged while they change may use the old or
/// the new ones. Logging is off until `debug` is called. A log level chosen by the platform's policy takes
/// precedence over all switches of the host.
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

  /// Formats and writes a line if the switches permit.
  static void logWithVerbosity(std::int64_t verbosity, std::int32_t severity, const base::Array& formatArgs);
  /// The same, and ships the line to the log service if the configuration enables that, regardless of the
  /// switches. Never waits.
  static void logWithVerbosity(std::int64_t verbosity, std::int32_t severity, const base::Array& formatArgs,
                               const base::Value& stackTrace);
  /// Writes a line of verbosity default and severity none, like all plain lines of the library. Equivalent to
  /// `logWithVerbosity` with the message as the only argument, but faster.
  static void logMessage(std::string_view message);
  /// The formatted line, regardless of the switches, without writing it; no value for a verbosity without a
  /// template, unless filtering is on.
  [[nodiscard]] static std::optional<std::string> getLogforVerbosity(std::int64_t verbosity,
                                                                     std::int32_t severity,
                                                                     const base::Array& formatArgs);
  /// The text of a format with as many arguments as it has conversions; no value without a format.
  [[nodiscard]] static std::optional<std::string> createLog(std::optional<std::string_view> format,
                                                            const base::Array& arguments = {});
  /// Writes the text of a format if logging is enabled.
  static void log(std::optional<std::string_view> format, const base::Array& arguments = {});

  /// Sends a line to the log service and returns immediately. A line that is not delivered, or would exceed
  /// the limits below, is lost, and "Logentries failed to sync" is logged: a stalled service must not exhaust
  /// the host's memory. Lines may arrive in any order.
  static void sendLogToLogEntries(const base::Value& message, const base::Value& andTraceBack,
                                  const base::Value& andLevel);
  /// The most lines in flight to the log service.
  static constexpr std::size_t kMaximumShippedLines = 256;
  /// The most bytes of messages and stack traces in flight. (As JSON they may take six times as much, if
  /// every byte is a control character.)
  static constexpr std::size_t kMaximumShippedBytes = 4u << 20;

  /// Whether a line of this severity would be written now: one load and a branch. Callers check it before
  /// they build arguments.
  [[nodiscard]] static bool writes(std::int32_t severity) noexcept {
    return static_cast<std::uint32_t>(severity) >= threshold_.load(std::memory_order_relaxed);
  }

 private:
  friend struct LoggerSwitches;
  /// The lowest severity that is written, kept in sync with the switches; beyond 32 bits if none is.
  static std::atomic<std::uint64_t> threshold_;
};

}  // namespace tidewell
