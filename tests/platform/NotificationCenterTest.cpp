#include "tidewell/platform/NotificationCenter.h"

#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace tidewell::platform {
namespace {

class NotificationCenterTest : public ::testing::Test {
 protected:
  /// An observer that writes down that it was called, and then does what a test wants.
  NotificationCenter::Token add(
      const std::string& label, std::function<void()> then = [] {}) {
    return center.addObserver("name", [this, label, then](const Notification&) {
      calls += label;
      then();
    });
  }

  NotificationCenter center;
  std::string calls;
};

TEST_F(NotificationCenterTest, CallsThoseOfTheNameInOrderOfAdditionWithWhatWasPosted) {
  add("a");
  center.addObserver("other", [&](const Notification&) { calls += "!"; });
  center.addObserver("name", [&](const Notification& notification) {
    calls += notification.name + notification.object.description() + notification.userInfo.description();
  });
  add("c");
  center.postNotificationName("name", 1, "info");
  EXPECT_EQ(calls, "aname1infoc");
  EXPECT_EQ(center.addObserver("name", nullptr), 0u);
}

TEST_F(NotificationCenterTest, ObserversMayAddRemoveAndPostWhileTheyAreCalled) {
  NotificationCenter::Token first = 0;
  NotificationCenter::Token third = 0;
  int depth = 0;
  first = add("a", [&] {
    center.removeObserver(first);  // itself
    center.removeObserver(third);  // one that has not been called yet
    add("d");                      // not called by this post, but by the next
  });
  add("b", [&] {
    if (++depth < 3) center.postNotificationName("name");
  });
  third = add("c");
  center.postNotificationName("name");
  EXPECT_EQ(calls, "abbbdd");
  center.removeObserver(first);  // known no more
}

TEST_F(NotificationCenterTest, AnExceptionReachesThePosterAndLeavesTheCentreWhole) {
  const auto faulty = add("a", [] { throw std::runtime_error("fault"); });
  add("b");
  EXPECT_THROW(center.postNotificationName("name"), std::runtime_error);
  center.removeObserver(faulty);
  center.postNotificationName("name");
  EXPECT_EQ(calls, "ab");
}

TEST_F(NotificationCenterTest, WhatAnObserverHoldsIsDestroyedWithNoLockHeld) {
  std::shared_ptr<int> held(new int(0), [this](const int* number) {
    delete number;
    center.postNotificationName("name");
  });
  add("a");
  const auto token = center.addObserver("other", [copy = held](const Notification&) {});
  const std::weak_ptr<int> watched = held;
  held.reset();
  center.removeObserver(token);
  EXPECT_TRUE(watched.expired());
  EXPECT_EQ(calls, "a");
}

TEST_F(NotificationCenterTest, ThreadsMayAddPostAndRemoveAtOnce) {
  constexpr int kRounds = 300;
  std::atomic<int> ownCalls{0};
  std::atomic<int> sharedCalls{0};
  center.addObserver("shared", [&](const Notification&) { ++sharedCalls; });
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([&, own = std::to_string(i)] {
      for (int round = 0; round < kRounds; ++round) {
        const auto token = center.addObserver(own, [&](const Notification&) { ++ownCalls; });
        center.postNotificationName("shared");
        center.postNotificationName(own);
        center.removeObserver(token);
        center.postNotificationName(own);
      }
    });
  }
  for (auto& thread : threads) thread.join();
  EXPECT_EQ(ownCalls, 4 * kRounds);
  EXPECT_EQ(sharedCalls, 4 * kRounds);
}

}  // namespace
}  // namespace tidewell::platform
