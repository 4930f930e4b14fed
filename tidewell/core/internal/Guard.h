// SPDX-License-Identifier: Apache-2.0
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

/// The origin of a caught exception, as logged. The line numbers are part of the log text and never change,
/// whatever happens to the source.
struct LogCoordinates {
  std::string_view file;  ///< without directory and extension
  std::int32_t line;
  std::string_view selector;  ///< in full, including colons
  std::string_view message;   ///< with one %@ for the exception
  TWLogSeverity severity = TWLogSeverityException;
};

/// Logs the exception being handled. Call only inside a `catch` block. `before` fills those %@ of the message
/// that precede the one for the exception.
void logCaughtException(const LogCoordinates& where, std::initializer_list<base::Value> before = {}) noexcept;
/// The same with the exception's call stack, for lines that are shipped.
void logCaughtExceptionWithStackTrace(const LogCoordinates& where) noexcept;

/// Runs `body`; if it raises, logs the exception and returns `fallback`.
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

/// Runs `body`; if it raises, logs the exception.
template <class Body>
void guarded(const LogCoordinates& where, Body&& body) {
  const base::CancellationShield shield;
  try {
    std::forward<Body>(body)();
  } catch (...) {
    logCaughtException(where);
  }
}

/// Calls a function of the host on the thread on which the host called. Reports exceptions and does not
/// propagate them.
void runForHost(const std::function<void()>& function) noexcept;

/// Logs a plain line (verbosity default, severity none). `message` creates the text and is called only if the
/// line will be written. If memory runs out, the line is lost, but the surrounding operation continues.
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
