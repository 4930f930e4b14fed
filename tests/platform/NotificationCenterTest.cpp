// SPDX-License-Identifier: Apache-2.0
#include "tidewell/platform/NotificationCenter.h"

#include <gtest/gtest.h>

#include <stdexcept>

namespace tidewell::platform {
namespace {

class NotificationCenterTest : public ::testing::Test {
 protected:
  /// An observer that records its call and then runs `then`.
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

TEST_F(NotificationCenterTest, ObserversMayAddRemovePostAndRaiseDuringACall) {
  NotificationCenter::Token first = 0, third = 0, faulty = 0;
  int depth = 0;
  first = add("a", [&] {
    center.removeObserver(first);  // itself
    center.removeObserver(third);  // not called yet
    add("d");                      // called only by the next post
  });
  add("b", [&] {
    if (++depth < 3) center.postNotificationName("name");
  });
  third = add("c");
  center.addObserver("other", [&](const Notification&) { calls += "!"; });
  center.addObserver("name", [&](const Notification& each) {
    if (each.object) calls += each.name + each.object.description() + each.userInfo.description();
  });
  center.postNotificationName("name");
  EXPECT_EQ(calls, "abbbdd");
  center.removeObserver(first);  // already removed
  faulty = add("e", [] { throw std::runtime_error("fault"); });
  add("f");
  EXPECT_THROW(center.postNotificationName("name", 1, "info"), std::runtime_error);
  center.removeObserver(faulty);
  center.postNotificationName("name");
  EXPECT_EQ(calls, "abbbddbname1infodebdf");
  EXPECT_EQ(center.addObserver("name", nullptr), 0u);
}

TEST_F(NotificationCenterTest, DestroysObserversWithoutHoldingALock) {
  std::shared_ptr<int> held(new int(0), [this](const int* number) {
    delete number;
    center.postNotificationName("name");
  });
  add("a");
  const auto token = center.addObserver("other", [copy = std::move(held)](const Notification&) {});
  center.removeObserver(token);
  EXPECT_EQ(calls, "a");
}

}  // namespace
}  // namespace tidewell::platform
