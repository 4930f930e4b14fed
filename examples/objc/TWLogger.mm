// SPDX-License-Identifier: Apache-2.0
#include "tidewell/core/TWUtils/TWLogger/TWLogger.h"

#include <cstdarg>

#include "Conversion.h"
#include "FoundationPlatform.h"
#include "TWLogger.h"

using facade::stringOf;
using facade::stringOrNil;
using facade::textOf;
using facade::valueOf;
using Logger = tidewell::TWLogger;
namespace base = tidewell::base;

namespace {

using Text = std::optional<std::string>;
// `TWLogger.h` cannot include the library's header, which is C++.
static_assert(TWLogVerbosityDetailed == static_cast<int>(tidewell::TWLogVerbosityDetailed) &&
              TWLogSeverityError == static_cast<int>(tidewell::TWLogSeverityError));

/// The logger promises that no exception leaves it: one is reported, and the result is empty.
template <class Function>
auto logging(Function function) {
  try {
    return facade::raisingCpp(function);
  } catch (...) {
    NSLog(@"Tidewell - Caught an exception in TWLogger %@", stringOf(base::currentExceptionDescription()));
    return decltype(function())();
  }
}

base::Array argumentsOf(NSArray* formatArgs) {
  const base::Value arguments = valueOf(formatArgs);
  return arguments.array() ? *arguments.array() : base::Array();
}

/// The text of a variadic operation, as Foundation formats it; no value for a nil format.
Text formatted(NSString* format, va_list arguments) {
  if (format == nil) return std::nullopt;
  return textOf([[[NSString alloc] initWithFormat:format arguments:arguments] autorelease]);
}

}  // namespace

@implementation TWLogger
+ (void)initialize {
  [super initialize];
  facade::installPlatform();
  [TWLogger setupDefaultFormats];
}

+ (void)setupDefaultFormats {
  Logger::setupDefaultFormats();
}

+ (void)setFormat:(NSString*)format forVerbosity:(NSInteger)verbosity {
  Logger::setFormat(textOf(format), verbosity);
}

+ (NSString*)formatForVerbosity:(NSInteger)verbosity {
  return stringOrNil(Logger::formatForVerbosity(verbosity));
}

+ (void)setMinimumSeverity:(int32_t)severity {
  Logger::setMinimumSeverity(severity);
}

+ (int32_t)minimumSeverity {
  return Logger::minimumSeverity();
}

+ (NSString*)labelForSeverity:(NSInteger)severity {
  return stringOf(Logger::labelForSeverity(severity));
}

+ (BOOL)usingSeverityFiltering {
  return Logger::usingSeverityFiltering();
}

+ (BOOL)meetsMinimumSeverity:(int32_t)severity {
  return Logger::meetsMinimumSeverity(severity);
}

+ (BOOL)shouldLogInDebug {
  return Logger::shouldLogInDebug();
}

+ (void)setShouldLogInDebug:(BOOL)flag {
  Logger::setShouldLogInDebug(flag);
}

+ (BOOL)shouldLogInVerboseMessage {
  return Logger::shouldLogInVerboseMessage();
}

+ (void)setShouldLogInVerboseMessage:(BOOL)flag {
  Logger::setShouldLogInVerboseMessage(flag);
}

+ (BOOL)loggingEnabled {
  return Logger::loggingEnabled();
}

+ (void)debug:(NSInteger)level {
  Logger::debug(level);
}

+ (void)logWithVerbosity:(NSInteger)verbosity severity:(int32_t)severity formatArgs:(NSArray*)formatArgs {
  if (!Logger::writes(severity)) return;  // saves converting the arguments
  logging([&] { Logger::logWithVerbosity(verbosity, severity, argumentsOf(formatArgs)); });
}

+ (void)logWithVerbosity:(NSInteger)verbosity
                severity:(int32_t)severity
              formatArgs:(NSArray*)formatArgs
           andStackTrace:(NSString*)stackTrace {
  logging(
      [&] { Logger::logWithVerbosity(verbosity, severity, argumentsOf(formatArgs), valueOf(stackTrace)); });
}

+ (NSString*)getLogforVerbosity:(NSInteger)verbosity
                       severity:(int32_t)severity
                  andFormatArgs:(NSArray*)formatArgs {
  return stringOrNil(
      logging([&] { return Logger::getLogforVerbosity(verbosity, severity, argumentsOf(formatArgs)); }));
}

+ (NSString*)createLog:(NSString*)format, ... {
  va_list arguments;
  va_start(arguments, format);
  const Text text = logging([&] { return formatted(format, arguments); });
  va_end(arguments);
  return stringOrNil(text);
}

+ (void)log:(NSString*)format, ... {
  if (!Logger::loggingEnabled()) return;
  va_list arguments;
  va_start(arguments, format);
  const Text text = logging([&] { return formatted(format, arguments); });
  va_end(arguments);
  if (text) Logger::log("%@", {*text});
}

+ (void)sendLogToLogEntries:(NSString*)message andTraceBack:(NSString*)traceBack andLevel:(NSString*)level {
  logging([&] { Logger::sendLogToLogEntries(valueOf(message), valueOf(traceBack), valueOf(level)); });
}
@end
