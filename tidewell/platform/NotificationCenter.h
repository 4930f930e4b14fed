#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "tidewell/base/Export.h"
#include "tidewell/base/Value.h"

namespace tidewell::platform {

/// Posted on the main thread when the application is about to come to the foreground.
inline constexpr std::string_view UIApplicationWillEnterForegroundNotification =
    "UIApplicationWillEnterForegroundNotification";
/// Posted on the main thread when the application has left the foreground.
inline constexpr std::string_view UIApplicationDidEnterBackgroundNotification =
    "UIApplicationDidEnterBackgroundNotification";
/// Something that happened: its name, who posted it (often nil), and what there is to know about it.
struct Notification {
  std::string name;
  base::Value object;
  base::Value userInfo;
};

/// Hands notifications to those who asked for their name.
///
/// Any thread. Observers are called on the posting thread, in the order in which they were added, with no
/// lock held; they may add, remove and post. One that is removed while a post runs is not called any more by
/// it, unless its call has begun. An exception that leaves an observer passes to the poster.
class TIDEWELL_EXPORT NotificationCenter {
 public:
  using Observer = std::function<void(const Notification&)>;
  /// Names a registration; 0 is none.
  using Token = std::uint64_t;

  /// The process-wide centre; never destroyed.
  [[nodiscard]] static NotificationCenter& defaultCenter();

  NotificationCenter();
  ~NotificationCenter();
  NotificationCenter(const NotificationCenter&) = delete;
  NotificationCenter& operator=(const NotificationCenter&) = delete;

  /// Each call adds a registration: a function added twice is called twice. An empty function is not added,
  /// and 0 comes back.
  Token addObserver(std::string_view name, Observer observer);
  /// Nothing happens for a token that is not known.
  void removeObserver(Token token);
  void postNotificationName(std::string_view name, base::Value object = {}, base::Value userInfo = {});

 private:
  struct State;
  std::unique_ptr<State> state_;
};

}  // namespace tidewell::platform
