// SPDX-License-Identifier: Apache-2.0
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

/// An event: its name, its sender (often nil), and further information.
struct Notification {
  std::string name;
  base::Value object;
  base::Value userInfo;
};

/// Delivers notifications to observers registered for their name.
///
/// Any thread. Observers are called on the posting thread, in the order of registration, with no lock held;
/// they may add, remove and post. A post does not call observers that were added or removed since it began,
/// but a call that has begun completes. An exception of an observer propagates to the poster.
class TIDEWELL_EXPORT NotificationCenter {
 public:
  using Observer = std::function<void(const Notification&)>;
  /// Identifies a registration; 0 identifies none.
  using Token = std::uint64_t;

  /// The process-wide centre; never destroyed.
  [[nodiscard]] static NotificationCenter& defaultCenter();

  NotificationCenter();
  ~NotificationCenter();
  NotificationCenter(const NotificationCenter&) = delete;
  NotificationCenter& operator=(const NotificationCenter&) = delete;

  /// Each call adds a registration: a function added twice is called twice. An empty function is ignored and
  /// gives 0.
  Token addObserver(std::string_view name, Observer observer);
  /// Ignores an unknown token.
  void removeObserver(Token token);
  void postNotificationName(std::string_view name, base::Value object = {}, base::Value userInfo = {});

 private:
  struct State;
  std::unique_ptr<State> state_;
};

}  // namespace tidewell::platform
