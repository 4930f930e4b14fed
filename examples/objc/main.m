// SPDX-License-Identifier: Apache-2.0
// A host in plain Objective-C: two starts of an application against the stand-in backend.
//
//   objc_host first|second CONFIGURATION_FILE
//
// Writes the configurations that the backend then serves. Exits with 0 only if every answer was right.
#import "TWConfigManager.h"
#import "TWLogger.h"
#import "TidewellCore.h"

static NSString* const kFirstConfiguration =
    @"{\"a_s\": \"allowed\", \"g_s\": \"blocked\", \"le_s\": \"blocked\", \"p_f_t\": 120, \"i_d_e\": 604800, "
    @"\"dt_s_t\": 0,"
     "\"u_a_c_t\": 900, \"s_i_d\": \"1200\", \"e_b_c\": 50, \"b_e\": [\"debug_click\", \"spam\"], \"f_e\": "
     "[\"purchase\"],"
     "\"d_t_w_e\": [\"consent_given\"], \"src_ext\": [\"campaign\"], \"b_uid_r\": [\"[0-9]+\", \"test_.*\"],"
     "\"le_tkn\": \"demo-token\"}";
static NSString* const kSecondConfiguration =
    @"{\"i_s\": \"blocked\", \"b_e\": [\"purchase\"], \"e_b_c\": 5, \"b_uid_r\": [\"guest\", \"(\"]}";

static BOOL allRight = YES;

static void expect(NSString* question, id expected, id answer) {
  BOOL right = expected == answer || [expected isEqual:answer];
  NSString* text = [[answer description] stringByReplacingOccurrencesOfString:@"\n" withString:@" "];
  printf("  %s %-44s %s%s%s\n", right ? "ok" : "!!", [question UTF8String], [text UTF8String] ?: "nil",
         right ? "" : "   expected ", right ? "" : ([[expected description] UTF8String] ?: "nil"));
  allRight = allRight && right;
}

static void expectNumber(NSString* question, int64_t expected, int64_t answer) {
  expect(question, [NSNumber numberWithLongLong:expected], [NSNumber numberWithLongLong:answer]);
}

/// Asks all gates and compares the answers with one letter for each: Y or N.
static void expectGates(const char* expected) {
  static const char* const kGates[] = {
      "isAccountActive",     "isInAppServiceActive",  "isGeofenceServiceActive", "isInboxServiceActive",
      "isLogentriesEnabled", "isPeriodicSyncEnabled", "isDeviceTriggerEnabled",  "isDataTrackingEnabled",
      "isUserPushEnabled",   "isUserInAppEnabled"};
  TWConfigManager* manager = [TWConfigManager sharedInstance];
  char answers[sizeof kGates / sizeof *kGates + 1] = "";
  for (size_t i = 0; i < sizeof kGates / sizeof *kGates; ++i) {
    SEL selector = sel_registerName(kGates[i]);
    BOOL (*ask)(id, SEL) = (BOOL(*)(id, SEL))(void (*)(void))[manager methodForSelector:selector];
    answers[i] = ask(manager, selector) ? 'Y' : 'N';
  }
  expect(@"the ten gates", [NSString stringWithUTF8String:expected], [NSString stringWithUTF8String:answers]);
}

/// Runs the main run loop until the batch count is `count`, at most thirty seconds.
static void waitForBatchCount(int64_t count) {
  NSDate* end = [NSDate dateWithTimeIntervalSinceNow:30];
  while ([[TWConfigManager sharedInstance] getEventBatchCount] != count && [end timeIntervalSinceNow] > 0)
    [[NSRunLoop currentRunLoop] runMode:NSDefaultRunLoopMode
                             beforeDate:[NSDate dateWithTimeIntervalSinceNow:0.1]];
}

static void setConfiguration(NSString* path, NSString* json) {
  expectNumber(@"the configuration was written", YES,
               [json writeToFile:path atomically:YES encoding:NSUTF8StringEncoding error:NULL]);
}

// The completion of an image. gcc has no blocks: this is what one looks like in memory.

static NSCondition* arrival;
static NSString* arrived;

static void imageArrived(void* block, BOOL success, NSData* data) {
  (void)block;
  [arrival lock];
  arrived = [[NSString alloc] initWithFormat:@"%@, %@", success ? @"YES" : @"NO",
                                             data == nil         ? @"no data"
                                             : [data length] > 0 ? @"data"
                                                                 : @"empty data"];
  [arrival signal];
  [arrival unlock];
  [NSException raise:NSGenericException format:@"a completion that raises"];
}

static struct {
  void* isa;
  int flags;
  int reserved;
  void (*invoke)(void*, BOOL, NSData*);
} completion = {NULL, 0, 0, imageArrived};

static NSString* outcomeOfImage(NSString* address) {
  NSDate* end = [NSDate dateWithTimeIntervalSinceNow:30];
  arrived = nil;
  arrival = arrival ?: [NSCondition new];
  [[TidewellCore sharedInstance] downloadImageForURL:address ? [NSURL URLWithString:address] : nil
                                andCompletionHandler:(TWImageCompletion)&completion];
  [arrival lock];
  while (arrived == nil && [arrival waitUntilDate:end]) continue;
  NSString* outcome = arrived;
  [arrival unlock];
  return outcome;
}

static void firstStart(NSString* path) {
  TidewellCore* core = [TidewellCore sharedInstance];
  TWConfigManager* config = [TWConfigManager sharedInstance];
  setConfiguration(path, kFirstConfiguration);
  puts("\nBefore the first reply: defaults");
  expectGates("YYYYNYYYYY");
  expectNumber(@"getEventBatchCount", 30, [config getEventBatchCount]);
  expectNumber(@"shouldSyncConfig", YES, [config shouldSyncConfig]);
  [core debug:1];
  [core initializeWithAppID:@"DEMO_APP"];
  waitForBatchCount(50);
  [core debug:0];

  puts("\nAfter a reply over HTTPS");
  expectGates("YYNYNYYYYY");
  expectNumber(@"getEventBatchCount", 50, [config getEventBatchCount]);
  expectNumber(@"getPeriodicSyncDuration", 120, [config getPeriodicSyncDuration]);
  expectNumber(@"getInboxDefaultExpiry", 604800, [config getInboxDefaultExpiry]);
  expectNumber(@"getRealTimeTriggerSyncInterval", 10800, [config getRealTimeTriggerSyncInterval]);
  expectNumber(@"getUserAttributeCachingDuration", 900, [config getUserAttributeCachingDuration]);
  expectNumber(@"getSessionInActiveDuration", 1200, [config getSessionInActiveDuration]);
  expectNumber(@"shouldSyncConfig", NO, [config shouldSyncConfig]);
  expect(@"getLogEntriesToken", @"demo-token", [config getLogEntriesToken]);
  expect(@"getBlackListedEvents", ([NSArray arrayWithObjects:@"debug_click", @"spam", nil]),
         [config getBlackListedEvents]);
  expectNumber(@"isEventBlackListed: spam", YES, [config isEventBlackListed:@"spam"]);
  expectNumber(@"isEventBlackListed: Spam", NO, [config isEventBlackListed:@"Spam"]);
  expectNumber(@"isEventBlackListed: nil", NO, [config isEventBlackListed:nil]);
  expectNumber(@"isEventInstantFlushEvent: purchase", YES, [config isEventInstantFlushEvent:@"purchase"]);
  expectNumber(@"isEventWhitelistedEvent: consent_given", YES,
               [config isEventWhitelistedEvent:@"consent_given"]);
  expectNumber(@"isUniqueIDRestricted: 12345", YES, [config isUniqueIDRestricted:@"12345"]);
  expectNumber(@"isUniqueIDRestricted: user-12345", NO, [config isUniqueIDRestricted:@"user-12345"]);
  expectNumber(@"isUniqueIDRestricted: nil", YES, [config isUniqueIDRestricted:nil]);

  puts("\nLogger");
  expect(@"labelForSeverity: 4", @"EXCEPTION", [TWLogger labelForSeverity:4]);
  expect(@"getLogforVerbosity: 2, the last argument missing",
         @"Tidewell - <file - Host, line number - 7 , method - 'start'> (null)",
         [TWLogger getLogforVerbosity:2
                             severity:0
                        andFormatArgs:[NSArray arrayWithObjects:@"Host", [NSNumber numberWithInt:7], @"start",
                                                                nil]]);
  expect(@"createLog: with arguments", @"1 of (a) 100%", ([TWLogger createLog:@"%d of %@ 100%%", 1, @"(a)"]));
  expect(@"createLog: nil", nil, [TWLogger createLog:nil]);

  puts("\nOpt-outs, a region");
  [config setDataTrackingOptedOut:YES];
  expectGates("YYNYNYYNYY");
  [config setDataTrackingOptedOut:NO];
  [config setUserPushNotificationOptedOut:YES];
  [core redirectDataToRegion:TWDataRegionEurope];
  expectGates("YYNNNYNYNY");

  puts("\nImages; their completion raises");
  [core downloadImageForURL:nil andCompletionHandler:NULL];
  [core debug:1];
  expect(@"downloadImageForURL: nil", @"NO, no data", outcomeOfImage(nil));
  for (int i = 0; i < 2; ++i)
    expect(@"an image that its server does not know", @"NO, data",
           outcomeOfImage(@"https://images.tidewell.example/missing.png"));
}

static NSString* announced;

@interface Observer : NSObject
- (void)appIDChanged:(NSNotification*)notification;
@end

@implementation Observer
- (void)appIDChanged:(NSNotification*)notification {
  announced = [[notification name] retain];
}
@end

static void secondStart(NSString* path) {
  NSNotificationCenter* center = [NSNotificationCenter defaultCenter];
  TWConfigManager* config = [TWConfigManager sharedInstance];
  puts("\nAnswers from the archive, before the SDK is started");
  expectGates("YYNNNYNYNY");
  expect(@"the App ID in NSUserDefaults", @"DEMO_APP",
         [[NSUserDefaults standardUserDefaults] stringForKey:@"TW_appId"]);
  expectNumber(@"getDataRedirectionRegion", TWDataRegionEurope, [config getDataRedirectionRegion]);
  [[TidewellCore sharedInstance] initializeWithAppID:@"DEMO_APP"];

  puts("\nNotifications of Foundation reset the user and update the configuration");
  setConfiguration(path, kSecondConfiguration);
  [center postNotificationName:kNotificationNameUserReset object:nil];
  [center postNotificationName:kNotificationNameUpdateModules object:nil];
  waitForBatchCount(5);
  expectNumber(@"getEventBatchCount", 5, [config getEventBatchCount]);
  expectGates("YNNNNYNYNY");
  [config setUserPushNotificationOptedOut:NO];
  expectGates("YNYYNYYYYY");
  expectNumber(@"isUniqueIDRestricted: guest", YES, [config isUniqueIDRestricted:@"guest"]);
  NSString* raised = nil;
  @try {
    [config isUniqueIDRestricted:@"user"];
  } @catch (NSException* exception) {
    raised = [exception name];
  }
  expect(@"isUniqueIDRestricted: raises for the expression (", NSInvalidArgumentException, raised);

  puts("\nAnother App ID");
  [center addObserver:[[Observer new] autorelease]
             selector:@selector(appIDChanged:)
                 name:kNotificationNameUserResetOnAppIDChange
               object:nil];
  [[TidewellCore sharedInstance] initializeWithAppID:@"OTHER_APP"];
  expect(@"announced", kNotificationNameUserResetOnAppIDChange, announced);
}

int main(int argc, char** argv) {
  NSAutoreleasePool* pool = [NSAutoreleasePool new];
  if (argc != 3) {
    fprintf(stderr, "usage: objc_host first|second CONFIGURATION_FILE\n");
    return 2;
  }
  setvbuf(stdout, NULL, _IOLBF, 0);
  (strcmp(argv[1], "first") == 0 ? firstStart : secondStart)([NSString stringWithUTF8String:argv[2]]);
  puts(allRight ? "\nEvery answer was right." : "\nSome answers were wrong: see the lines with !!");
  [pool release];
  return allRight ? 0 : 1;
}
