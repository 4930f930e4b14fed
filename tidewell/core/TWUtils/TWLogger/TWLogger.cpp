// SPDX-License-Identifier: Apache-2.0
#include "tidewell/core/TWUtils/TWLogger/TWLogger.h"

#include <algorithm>
#include <array>
#include <memory>
#include <utility>
#include <vector>

#include "tidewell/base/Exception.h"
#include "tidewell/base/formats/TextFormat.h"
#include "tidewell/base/internal/CancellationShield.h"
#include "tidewell/base/internal/Fork.h"
#include "tidewell/base/internal/HazardPointer.h"
#include "tidewell/base/internal/MadeWhenLoaded.h"
#include "tidewell/base/internal/NeverDestroyed.h"
#include "tidewell/core/TWUtils/TWLogger/internal/LogShipper.h"
#include "tidewell/core/internal/Installation.h"
#include "tidewell/platform/Platform.h"

namespace tidewell {
namespace {

constexpr std::string_view kDefaultFormat = "Tidewell - %@";
constexpr std::string_view kDetailedFormat = "Tidewell - <file - %@, line number - %@ , method - '%@'> %@";
/// The most format arguments used for a line; further ones are ignored. Formats passed to `createLog` or
/// `log` use all.
constexpr std::size_t kMaximumFormatArguments = 11;
/// A threshold above every severity.
constexpr std::uint64_t kNothingIsWritten = std::uint64_t{1} << 32;

/// The templates by verbosity, starting at 1. Immutable once published.
struct Templates : std::enable_shared_from_this<Templates> {
  std::array<std::optional<std::string>, 2> formats{std::string(kDefaultFormat),
                                                    std::string(kDetailedFormat)};
};

bool hasTemplate(std::int64_t verbosity) {
  return verbosity == TWLogVerbosityDefault || verbosity == TWLogVerbosityDetailed;
}

std::size_t templateIndex(std::int64_t verbosity) { return static_cast<std::size_t>(verbosity - 1); }

void writeToConsole(std::string_view text) {
  const base::CancellationShield shield;
  platform::Platform::current().console().write(text);
}

/// For the last line of defence: swallows exceptions, the console's included.
void writeToConsoleNoThrow(std::string_view text) noexcept {
  try {
    writeToConsole(text);
  } catch (...) {
  }
}

/// The same, with the description of the exception being handled.
void writeCaughtToConsoleNoThrow(std::string_view text) noexcept {
  try {
    writeToConsole(std::string(text) + base::currentExceptionDescription());
  } catch (...) {
  }
}

void writeReport(std::string_view text) {
  if (!TWLogger::writes(TWLogSeverityWarning)) return;
  TWLogger::logWithVerbosity(TWLogVerbosityDefault, TWLogSeverityWarning, {base::Value(text)});
}

void applyPolicy(const platform::Platform& installed);

constinit std::atomic<const Templates*> currentTemplates{nullptr};
constinit std::atomic<const LogShipper*> currentShipper{nullptr};

/// The writers' state of templates and switches.
///
/// Created while the library is loaded, and then makes the logger the reporter of the lower layers.
struct State {
  State() {
    const base::MutexLock lock(writers);
    publish(std::make_shared<const Templates>());
    platform::setReporter(&writeReport);
    setInstallationHandler(InstallationPart::logger, &applyPolicy);
  }

  void publish(std::shared_ptr<const Templates> next) TIDEWELL_REQUIRES(writers) {
    std::vector<std::shared_ptr<const Templates>> garbage;
    templates.publish(std::move(next), garbage);
  }

  base::StateMutex writers;
  base::SnapshotPublisher<Templates> templates TIDEWELL_GUARDED_BY(writers){currentTemplates};
};

State& loggerState() {
  static base::NeverDestroyed<State> state;
  return *state;
}

const base::MadeWhenLoaded loggerStateMade(loggerState);

constexpr std::string_view label(std::int64_t severity) {
  switch (severity) {
    case TWLogSeverityDebug:
      return "DEBUG";
    case TWLogSeverityInfo:
      return "INFO";
    case TWLogSeverityWarning:
      return "WARNING";
    case TWLogSeverityException:
      return "EXCEPTION";
    case TWLogSeverityError:
      return "ERROR";
    default:
      return "";
  }
}

/// The template of a line. Begins with the label while filtering is on, even without a template.
std::optional<std::string> lineFormat(std::int64_t verbosity, std::int32_t severity) {
  std::optional<std::string> format = TWLogger::formatForVerbosity(verbosity);
  if (!TWLogger::usingSeverityFiltering()) return format;
  std::string labelled = "[";
  labelled += label(severity);
  labelled += "]\t";
  labelled += format ? std::string_view(*format) : "(null)";
  return labelled;
}

std::string textOf(std::string_view format, const base::Array& arguments) {
  const base::CancellationShield shield;  // an argument's description may be host code
  return base::stringWithFormat(format, arguments.begin(), arguments.count());
}

/// The arguments used for a line.
base::Array takenArguments(const base::Array& formatArgs) {
  if (formatArgs.count() <= kMaximumFormatArguments) return formatArgs;
  return base::Array(
      std::vector<base::Value>(formatArgs.begin(), formatArgs.begin() + kMaximumFormatArguments));
}

/// The same for a message as the only argument. Concatenates directly if the format's only conversion is a
/// %@, as in almost all formats.
std::string textOf(std::string_view format, std::string_view message) {
  const std::size_t place = format.find("%@");
  if (place == std::string_view::npos || format.find('%') != place ||
      format.find('%', place + 1) != std::string_view::npos) {
    return base::stringWithFormat(format, {base::Value(message)});
  }
  std::string text;
  text.reserve(format.size() + message.size());
  text.append(format.substr(0, place)).append(message).append(format.substr(place + 2));
  return text;
}

void writeLine(std::int64_t verbosity, std::int32_t severity, const base::Array& formatArgs) {
  if (verbosity == TWLogVerbosityNone || !TWLogger::writes(severity)) return;
  TWLogger::log(lineFormat(verbosity, severity), takenArguments(formatArgs));
}

/// Logs once that logging itself raised. A failure to do so cannot be reported.
void writeFailure(std::string_view message) noexcept {
  try {
    const base::Value exception(base::currentExceptionDescription());
    writeLine(TWLogVerbosityDefault, TWLogSeverityNone, {base::stringWithFormat(message, {exception})});
  } catch (...) {
  }
}

}  // namespace

/// The current switches. Readers read them individually; writers are serialised, so that the threshold always
/// matches the latest switches.
struct LoggerSwitches {
  std::atomic<std::int32_t> minimumSeverity{0};
  std::atomic<bool> inDebug{false};
  std::atomic<bool> inVerboseMessage{true};
  /// The level of the platform's policy; below zero for none.
  std::int64_t levelOfPolicy TIDEWELL_GUARDED_BY(loggerState().writers) = -1;

  [[nodiscard]] bool filtering() const { return minimumSeverity != 0 && inVerboseMessage; }

  template <class Change>
  void set(Change change) {
    const base::MutexLock lock(loggerState().writers);
    change(*this);
    apply(levelOfPolicy);
    // The level alone would leave a host's filter by severity on.
    if (levelOfPolicy == TWLogLevelDebug) inVerboseMessage = false;
    TWLogger::threshold_.store(threshold(), std::memory_order_relaxed);
  }

  void apply(std::int64_t level) {
    switch (level) {
      case TWLogLevelOff:
        inDebug = false;
        inVerboseMessage = false;
        break;
      case TWLogLevelDebug:
        inDebug = true;
        break;
      case TWLogLevelExceptionsAndErrors:
        inDebug = false;
        inVerboseMessage = true;
        minimumSeverity = TWLogSeverityException;
        break;
      default:
        break;
    }
  }

 private:
  [[nodiscard]] std::uint64_t threshold() const {
    if (filtering()) return static_cast<std::uint32_t>(minimumSeverity.load());
    return inDebug ? 0 : kNothingIsWritten;
  }
};

namespace {
constinit LoggerSwitches switches;

void applyPolicy(const platform::Platform& installed) {
  const std::int64_t level = installed.policy().logLevel().value_or(-1);
  switches.set([level](LoggerSwitches& all)
                   TIDEWELL_REQUIRES(loggerState().writers) { all.levelOfPolicy = level; });
}

}  // namespace

constinit std::atomic<std::uint64_t> TWLogger::threshold_{kNothingIsWritten};

void setLogShipper(const LogShipper& shipper) noexcept {
  currentShipper.store(&shipper, std::memory_order_release);
}

void TWLogger::initialize() { (void)loggerState(); }

void TWLogger::setupDefaultFormats() {
  setFormat(std::string(kDefaultFormat), TWLogVerbosityDefault);
  setFormat(std::string(kDetailedFormat), TWLogVerbosityDetailed);
}

void TWLogger::setFormat(std::optional<std::string> format, std::int64_t forVerbosity) {
  if (!hasTemplate(forVerbosity)) return;
  State& shared = loggerState();
  const base::MutexLock lock(shared.writers);
  auto next = std::make_shared<Templates>(*shared.templates.latest());
  next->formats[templateIndex(forVerbosity)] = std::move(format);
  shared.publish(std::move(next));
}

std::optional<std::string> TWLogger::formatForVerbosity(std::int64_t verbosity) {
  if (!hasTemplate(verbosity)) return std::nullopt;
  initialize();
  return base::SnapshotGuard(currentTemplates)->formats[templateIndex(verbosity)];
}

void TWLogger::setMinimumSeverity(std::int32_t severity) {
  switches.set([&](LoggerSwitches& all) { all.minimumSeverity = severity; });
}

std::int32_t TWLogger::minimumSeverity() { return switches.minimumSeverity; }

std::string TWLogger::labelForSeverity(std::int64_t severity) { return std::string(label(severity)); }

bool TWLogger::usingSeverityFiltering() { return switches.filtering(); }

bool TWLogger::meetsMinimumSeverity(std::int32_t severity) {
  return static_cast<std::uint32_t>(minimumSeverity()) <= static_cast<std::uint32_t>(severity);
}

bool TWLogger::shouldLogInDebug() { return switches.inDebug; }

void TWLogger::setShouldLogInDebug(bool flag) {
  switches.set([&](LoggerSwitches& all) { all.inDebug = flag; });
}

bool TWLogger::shouldLogInVerboseMessage() { return switches.inVerboseMessage; }

void TWLogger::setShouldLogInVerboseMessage(bool flag) {
  switches.set([&](LoggerSwitches& all) { all.inVerboseMessage = flag; });
}

bool TWLogger::loggingEnabled() { return shouldLogInDebug() || usingSeverityFiltering(); }

void TWLogger::debug(std::int64_t level) {
  try {
    switches.set([&](LoggerSwitches& all) { all.apply(level); });
  } catch (...) {
    writeCaughtToConsoleNoThrow("Tidewell - Caught an exception in TWLogger : ");
  }
}

void TWLogger::logWithVerbosity(std::int64_t verbosity, std::int32_t severity,
                                const base::Array& formatArgs) {
  try {
    writeLine(verbosity, severity, formatArgs);
  } catch (...) {
    writeFailure("LogEntries Logger exception in logWithVerbosity: %@");
  }
}

void TWLogger::logMessage(std::string_view message) {
  try {
    if (!writes(TWLogSeverityNone)) return;
    const std::optional<std::string> format = lineFormat(TWLogVerbosityDefault, TWLogSeverityNone);
    if (format) writeToConsole(textOf(*format, message));
  } catch (...) {
    writeToConsoleNoThrow("Caught an exception in TWLogger");
  }
}

void TWLogger::logWithVerbosity(std::int64_t verbosity, std::int32_t severity, const base::Array& formatArgs,
                                const base::Value& stackTrace) {
  logWithVerbosity(verbosity, severity, formatArgs);
  const base::CancellationShield shield;
  try {
    const LogShipper* const shipper = currentShipper.load(std::memory_order_acquire);
    if (shipper == nullptr || !shipper->isEnabled()) return;
    std::optional<std::string> line = getLogforVerbosity(verbosity, severity, formatArgs);
    if (line) shipper->send(*std::move(line), stackTrace, labelForSeverity(severity));
  } catch (...) {
    writeFailure("LogEntries Logger exception logWithVerbosity:andStackTrace: %@");
  }
}

std::optional<std::string> TWLogger::getLogforVerbosity(std::int64_t verbosity, std::int32_t severity,
                                                        const base::Array& formatArgs) {
  try {
    return createLog(lineFormat(verbosity, severity), takenArguments(formatArgs));
  } catch (...) {
    writeCaughtToConsoleNoThrow("Tidewell - Caught an exception in TWLogger ");
  }
  return std::nullopt;
}

std::optional<std::string> TWLogger::createLog(std::optional<std::string_view> format,
                                               const base::Array& arguments) {
  if (!format) return std::nullopt;
  try {
    return textOf(*format, arguments);
  } catch (...) {
    writeToConsoleNoThrow("Tidewell - Caught an exception in TWLogger");
  }
  return std::nullopt;
}

void TWLogger::log(std::optional<std::string_view> format, const base::Array& arguments) {
  if (!format || !loggingEnabled()) return;
  try {
    writeToConsole(textOf(*format, arguments));
  } catch (...) {
    writeToConsoleNoThrow("Caught an exception in TWLogger");
  }
}

}  // namespace tidewell
