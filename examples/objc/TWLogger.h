// SPDX-License-Identifier: Apache-2.0
#import <Foundation/Foundation.h>

typedef NS_ENUM(NSInteger, TWLogVerbosity) {
  TWLogVerbosityNone = 0,
  TWLogVerbosityDefault = 1,   ///< one argument: the message
  TWLogVerbosityDetailed = 2,  ///< four arguments: file, line number, method, message
};

typedef NS_ENUM(int32_t, TWLogSeverity) {
  TWLogSeverityNone = 0,
  TWLogSeverityDebug = 1,
  TWLogSeverityInfo = 2,
  TWLogSeverityWarning = 3,
  TWLogSeverityException = 4,
  TWLogSeverityError = 5,
};

/// The logging facility. Class operations only; any thread. Logging is off until `debug:` is called with 1
/// (every line) or 2 (exceptions and errors).
@interface TWLogger : NSObject
+ (void)setupDefaultFormats;
+ (void)setFormat:(NSString*)format forVerbosity:(NSInteger)verbosity;
+ (NSString*)formatForVerbosity:(NSInteger)verbosity;
+ (void)setMinimumSeverity:(int32_t)severity;
+ (int32_t)minimumSeverity;
+ (NSString*)labelForSeverity:(NSInteger)severity;
+ (BOOL)usingSeverityFiltering;
+ (BOOL)meetsMinimumSeverity:(int32_t)severity;
+ (BOOL)shouldLogInDebug;
+ (void)setShouldLogInDebug:(BOOL)flag;
+ (BOOL)shouldLogInVerboseMessage;
+ (void)setShouldLogInVerboseMessage:(BOOL)flag;
+ (BOOL)loggingEnabled;
+ (void)debug:(NSInteger)level;
+ (void)logWithVerbosity:(NSInteger)verbosity severity:(int32_t)severity formatArgs:(NSArray*)formatArgs;
+ (void)logWithVerbosity:(NSInteger)verbosity
                severity:(int32_t)severity
              formatArgs:(NSArray*)formatArgs
           andStackTrace:(NSString*)stackTrace;
+ (NSString*)getLogforVerbosity:(NSInteger)verbosity
                       severity:(int32_t)severity
                  andFormatArgs:(NSArray*)formatArgs;
+ (NSString*)createLog:(NSString*)format, ...;
+ (void)log:(NSString*)format, ...;
+ (void)sendLogToLogEntries:(NSString*)message andTraceBack:(NSString*)traceBack andLevel:(NSString*)level;
@end
