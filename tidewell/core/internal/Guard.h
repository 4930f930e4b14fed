#pragma once

#include <concepts>
#include <cstdint>
#include <functional>
#include <initializer_list>
#include <new>
#include <string>
#include <string_view>
#include <utility>

#include "tidewell/base/Exception.h"
#include "tidewell/base/Value.h"
#include "tidewell/base/internal/CancellationShield.h"
#include "tidewell/core/TWUtils/TWLogger/TWLogger.h"

namespace tidewell {

/// Where a caught exception is said to come from. The line numbers are part of the log text and stay as they
/// are, whatever happens to the source.
struct LogCoordinates {
  std::string_view file;  ///< without directory and extension
  std::int32_t line;
  std::string_view selector;  ///< in full, with its colons
  std::string_view message;   ///< with one %@ for the exception
  TWLogSeverity severity = TWLogSeverityException;
};

/// Logs the exception that is being handled. Call it inside a `catch` block only. `before` fills the %@ of
/// the message that come before the one for the exception.
void logCaughtException(const LogCoordinates& where, std::initializer_list<base::Value> before = {}) noexcept;
/// The same with the exception's call stack, for the lines that are marked for shipping.
void logCaughtExceptionWithStackTrace(const LogCoordinates& where) noexcept;

/// Runs `body`; where it raises, logs that with the coordinates and answers `fallback`.
template <class Fallback, class Body>
auto guarded(const LogCoordinates& where, Fallback fallback, Body&& body) -> Fallback {
  const base::CancellationShield shield;
  try {
    return std::forward<Body>(body)();
  } catch (...) {
    logCaughtException(where);
  }
  return fallback;
}

/// Runs `body`; where it raises, logs that with the coordinates.
template <class Body>
void guarded(const LogCoordinates& where, Body&& body) {
  const base::CancellationShield shield;
  try {
    std::forward<Body>(body)();
  } catch (...) {
    logCaughtException(where);
  }
}

/// Runs a function of the host's on the thread on which the host called. What it raises is reported and goes
/// no further.
void runForHost(const std::function<void()>& function) noexcept;

/// Logs a plain line (verbosity default, severity none) whose text `message` builds only where it will be
/// written. A line that there is no memory for is lost, and does not end the operation that it tells of.
template <std::invocable Message>
void logLine(Message&& message) {
  if (!TWLogger::writes(TWLogSeverityNone)) return;
  try {
    TWLogger::logMessage(std::forward<Message>(message)());
  } catch (const std::bad_alloc&) {
  }
}
inline void logLine(std::string_view message) {
  logLine([&] { return message; });
}

}  // namespace tidewell
