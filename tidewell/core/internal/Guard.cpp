// SPDX-License-Identifier: Apache-2.0
#include "tidewell/core/internal/Guard.h"

#include <vector>

#include "tidewell/base/formats/TextFormat.h"
#include "tidewell/platform/Platform.h"

namespace tidewell {
namespace {

base::Array formatArguments(const LogCoordinates& where, std::initializer_list<base::Value> before) {
  std::vector<base::Value> values(before);
  values.emplace_back(base::currentExceptionDescription());
  return {where.file, where.line, where.selector,
          base::stringWithFormat(where.message, values.data(), values.size())};
}

}  // namespace

void logCaughtException(const LogCoordinates& where, std::initializer_list<base::Value> before) noexcept {
  if (!TWLogger::writes(where.severity)) return;
  try {
    TWLogger::logWithVerbosity(TWLogVerbosityDetailed, where.severity, formatArguments(where, before));
  } catch (...) {
    // Out of memory while describing an exception; this cannot be reported.
  }
}

void logCaughtExceptionWithStackTrace(const LogCoordinates& where) noexcept {
  // Lines with a stack trace are shipped regardless of the console's switches, so the line is always created.
  try {
    TWLogger::logWithVerbosity(TWLogVerbosityDetailed, where.severity, formatArguments(where, {}),
                               base::currentExceptionCallStackSymbols());
  } catch (...) {
  }
}

void runForHost(const std::function<void()>& function) noexcept {
  const base::CancellationShield shield;
  try {
    function();
  } catch (...) {
    try {
      platform::report("a completion raised: " + base::currentExceptionDescription());
    } catch (...) {
      platform::report("a completion raised, and there is no memory to say what");
    }
  }
}

}  // namespace tidewell
