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

/// The logger promises that no exception leaves it. One is reported, and gives `fallback`.
template <class Result, class Function>
Result logging(Result fallback, Function function) {
  try {
    return facade::raisingCpp(function);
  } catch (...) {
    NSLog(@"Tidewell - Caught an exception in TWLogger %@", stringOf(base::currentExceptionDescription()));
    return fallback;
  }
}

base::Array argumentsOf(NSArray* formatArgs) {
  const base::Value arguments = valueOf(formatArgs);
  return arguments.array() ? *arguments.array() : base::Array();
}

/// The text of a variadic operation, as Foundation formats it; no value for a nil format.
std::optional<std::string> formatted(NSString* format, va_list arguments) {
  if (format == nil) return std::nullopt;
  return textOf([[[NSString alloc] initWithFormat:format arguments:arguments] autorelease]);
}

using Text = std::optional<std::string>;

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
  logging(false, [&] {
    Logger::logWithVerbosity(verbosity, severity, argumentsOf(formatArgs));
    return true;
  });
}

+ (void)logWithVerbosity:(NSInteger)verbosity
                severity:(int32_t)severity
              formatArgs:(NSArray*)formatArgs
           andStackTrace:(NSString*)stackTrace {
  logging(false, [&] {
    Logger::logWithVerbosity(verbosity, severity, argumentsOf(formatArgs), valueOf(stackTrace));
    return true;
  });
}

+ (NSString*)getLogforVerbosity:(NSInteger)verbosity
                       severity:(int32_t)severity
                  andFormatArgs:(NSArray*)formatArgs {
  return stringOrNil(logging(
      Text(), [&] { return Logger::getLogforVerbosity(verbosity, severity, argumentsOf(formatArgs)); }));
}

+ (NSString*)createLog:(NSString*)format, ... {
  va_list arguments;
  va_start(arguments, format);
  const Text text = logging(Text(), [&] { return formatted(format, arguments); });
  va_end(arguments);
  return stringOrNil(text);
}

+ (void)log:(NSString*)format, ... {
  if (!Logger::loggingEnabled()) return;
  va_list arguments;
  va_start(arguments, format);
  const Text text = logging(Text(), [&] { return formatted(format, arguments); });
  va_end(arguments);
  if (text) Logger::log("%@", {*text});
}

+ (void)sendLogToLogEntries:(NSString*)message andTraceBack:(NSString*)traceBack andLevel:(NSString*)level {
  logging(false, [&] {
    Logger::sendLogToLogEntries(valueOf(message), valueOf(traceBack), valueOf(level));
    return true;
  });
}
@end
