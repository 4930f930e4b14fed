// SPDX-License-Identifier: Apache-2.0
#include "FoundationPlatform.h"

#include <memory>
#include <mutex>
#include <string>
#include <utility>

#include "Conversion.h"
#include "TidewellCore.h"
#include "tidewell/core/TWCoreConstants.h"
#include "tidewell/platform/ForwardingPlatform.h"
#include "tidewell/platform/NotificationCenter.h"
#include "tidewell/posix/PosixPlatform.h"

namespace {

using facade::objectOf;
using facade::raisingCpp;
using facade::stringOf;
using facade::textOf;
using facade::valueOf;
namespace base = tidewell::base;
namespace platform = tidewell::platform;
namespace posix = tidewell::posix;

/// The defaults that `defaults read` and the application's own code see.
class FoundationUserDefaults final : public platform::UserDefaults {
 public:
  base::Value objectForKey(std::string_view key) override {
    return raisingCpp([&] { return valueOf([store() objectForKey:stringOf(key)]); });
  }
  void setObject(base::Value object, std::string_view forKey) override {
    if (object.isNil()) return removeObjectForKey(forKey);
    raisingCpp([&] {
      id const stored = objectOf(object);
      if (![NSPropertyListSerialization propertyList:stored isValidForFormat:NSPropertyListBinaryFormat_v1_0])
        base::raise(base::kInvalidArgumentException, "A property list cannot hold the value");
      [store() setObject:stored forKey:stringOf(forKey)];
    });
  }
  void removeObjectForKey(std::string_view key) override {
    raisingCpp([&] { [store() removeObjectForKey:stringOf(key)]; });
  }
  bool synchronize() override {
    const bool written = raisingCpp([] { return [store() synchronize] == YES; });
    if (!written) platform::report("The user defaults were not written");
    return written;
  }

 private:
  static NSUserDefaults* store() { return [NSUserDefaults standardUserDefaults]; }
};

class FoundationClock final : public platform::Clock {
 public:
  base::Date now() const override {
    return raisingCpp([] { return base::Date{[[NSDate date] timeIntervalSince1970]}; });
  }
  base::TimeZone systemTimeZone() const override {
    return raisingCpp([] {
      NSTimeZone* const zone = [NSTimeZone systemTimeZone];
      const auto named = base::TimeZone::timeZoneWithName(textOf([zone name]).value_or(""));
      return named.value_or(
          base::TimeZone::timeZoneForSecondsFromGMT(static_cast<std::int32_t>([zone secondsFromGMT])));
    });
  }
};

class FoundationConsole final : public platform::Console {
 public:
  void write(std::string_view text) override {
    try {
      raisingCpp([&] { NSLog(@"%@", stringOf(text)); });
    } catch (...) {
      // There is no one to report it to.
    }
  }
};

class FoundationPlatform final : public platform::ForwardingPlatform {
 public:
  using ForwardingPlatform::ForwardingPlatform;
  platform::UserDefaults& standardUserDefaults() override { return defaults_; }
  platform::Clock& clock() override { return clock_; }
  platform::Console& console() override { return console_; }

 private:
  FoundationUserDefaults defaults_;
  FoundationClock clock_;
  FoundationConsole console_;
};

posix::PosixPlatform* drained = nullptr;  // set once it is installed; never destroyed

}  // namespace

/// Connects the library with the main thread's run loop and with Foundation's notification centre.
@interface FacadeConnections : NSObject <RunLoopEvents>
@end

@implementation FacadeConnections
+ (void)begin {
  FacadeConnections* const connections = [FacadeConnections new];  // lives as long as the process
  [[NSRunLoop currentRunLoop] addEvent:reinterpret_cast<void*>(std::intptr_t{drained->mainQueueDescriptor()})
                                  type:ET_RDESC
                               watcher:connections
                               forMode:NSDefaultRunLoopMode];
}

+ (void)connectNotifications {
  FacadeConnections* const connections = [FacadeConnections new];
  for (NSString* const name : {UIApplicationWillEnterForegroundNotification, kNotificationNameUserReset,
                               kNotificationNameUpdateModules})
    [[NSNotificationCenter defaultCenter] addObserver:connections
                                             selector:@selector(passOn:)
                                                 name:name
                                               object:nil];
  // The only notification that the core posts.
  platform::NotificationCenter::defaultCenter().addObserver(
      tidewell::kNotificationNameUserResetOnAppIDChange, [](const platform::Notification& notification) {
        raisingCpp([&] {
          [[NSNotificationCenter defaultCenter] postNotificationName:stringOf(notification.name)
                                                              object:objectOf(notification.object)
                                                            userInfo:objectOf(notification.userInfo)];
        });
      });
}

- (void)receivedEvent:(void*)data type:(RunLoopEventType)type extra:(void*)extra forMode:(NSString*)mode {
  drained->pollMainQueue();
}

- (void)passOn:(NSNotification*)notification {
  facade::raisingObjectiveC([&] {
    platform::NotificationCenter::defaultCenter().postNotificationName(
        *textOf([notification name]), valueOf([notification object]), valueOf([notification userInfo]));
  });
}
@end

namespace facade {
namespace {

void install() {
  if (platform::Platform::isInstalled()) {
    platform::announce(platform::Trouble::secondPlatform, platform::kSecondPlatform);
    return;
  }
  posix::Options options;
  options.setMainLoop(posix::MainLoop::host);
  const base::Value info = valueOf([[NSBundle mainBundle] infoDictionary]);
  if (const base::Dictionary* const values = info.dictionary()) {
    options.setInfoDictionary(*values);
    options.setBundleIdentifier(
        values->objectForKey(platform::kBundleIdentifierKey).optionalString().value_or(""));
    options.setVersion(values->objectForKey(platform::kBundleShortVersionKey).optionalString().value_or(""));
  }
  if (const std::string complaint = posix::complaintAbout(options); !complaint.empty()) {
    NSLog(@"Tidewell: not installed: %@", stringOf(complaint));
    return;
  }
  auto made = std::make_shared<posix::PosixPlatform>(std::move(options));
  if (made->isDisabled()) return platform::Platform::keep(std::move(made));
  posix::PosixPlatform* const pointer = made.get();
  if (!platform::Platform::install(std::make_shared<FoundationPlatform>(std::move(made)))) return;
  drained = pointer;
  [FacadeConnections connectNotifications];
  [FacadeConnections performSelectorOnMainThread:@selector(begin) withObject:nil waitUntilDone:NO];
}

}  // namespace

void installPlatform() noexcept {
  static std::once_flag once;
  std::call_once(once, [] {
    try {
      raisingCpp(install);
    } catch (...) {
      NSLog(@"Tidewell: not installed: %@", stringOf(base::currentExceptionDescription()));
    }
  });
}

}  // namespace facade
