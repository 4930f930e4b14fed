// SPDX-License-Identifier: Apache-2.0
#include <poll.h>

#include <stdexcept>

#include "posix/PosixTest.h"

namespace tidewell::posix {
namespace {

using platform::Queue;
using std::chrono::milliseconds;

class QueueTest : public PosixTest {
 protected:
  static bool isReadable(int descriptor) {
    pollfd waiting{descriptor, POLLIN, 0};
    return poll(&waiting, 1, 0) == 1;
  }
};

TEST_F(QueueTest, OwnThreadsKeepTheOrderAndSurviveExceptions) {
  Options with = options();
  with.setMainLoop(MainLoop::ownThread);
  PosixPlatform platform(with);
  EXPECT_EQ(platform.mainQueueDescriptor(), -1);
  EXPECT_EQ(platform.pollMainQueue(), 0u);
  for (Queue* const queue : {&platform.mainQueue(), &platform.globalQueue()}) {
    std::string order;
    std::promise<bool> last;
    for (const char c : {'a', 'b', 'c'}) queue->async([&order, c] { order += c; });
    queue->async([] { throw std::runtime_error("from a function"); });
    queue->async([&] { last.set_value(queue->isCurrent()); });
    EXPECT_TRUE(last.get_future().get());
    EXPECT_EQ(order, "abc");
    EXPECT_FALSE(queue->isCurrent());
  }
  EXPECT_EQ(countReports(), 2u) << "one per exception";
}

TEST_F(QueueTest, ACancelledThreadMayDestroyAPlatform) {
  auto platform = std::make_unique<PosixPlatform>(options());
  std::thread([&] {
    pthread_cancel(pthread_self());
    platform.reset();
    pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, nullptr);
  }).join();
}

TEST_F(QueueTest, TheDescriptorSignalsWorkAndOnlyOneThreadDrains) {
  PosixPlatform platform(options());
  Queue& queue = platform.mainQueue();
  const int descriptor = platform.mainQueueDescriptor();
  EXPECT_NE(fcntl(descriptor, F_GETFD) & FD_CLOEXEC, 0);
  EXPECT_FALSE(isReadable(descriptor));
  std::string ran;
  queue.async([&] {
    ran += queue.isCurrent() ? 'a' : '?';
    queue.async([&] {
      ran += 'c';
      EXPECT_EQ(platform.pollMainQueue(), 1u) << "a queued function may drain the queue";
      std::promise<std::pair<std::size_t, bool>> elsewhere;
      queue.async([&] { ran += 'e'; });
      platform.globalQueue().async([&] {
        const std::size_t count = platform.pollMainQueue() + platform.runMainQueue(milliseconds(0));
        elsewhere.set_value({count, queue.isCurrent()});
      });
      EXPECT_EQ(elsewhere.get_future().get(), std::pair(std::size_t{0}, false));
    });
  });
  queue.async([&] { ran += 'b'; });
  queue.async(nullptr);
  EXPECT_TRUE(isReadable(descriptor));
  EXPECT_EQ(platform.pollMainQueue(), 2u);
  EXPECT_EQ(ran, "ab");
  EXPECT_TRUE(isReadable(descriptor)) << "a function added another";
  queue.async([&] { ran += 'd'; });
  EXPECT_EQ(platform.runMainQueue(milliseconds(0)), 2u);
  EXPECT_EQ(ran, "abcde");
  EXPECT_FALSE(isReadable(descriptor));
  platform.globalQueue().async([&] { queue.async([&] { ran += 'f'; }); });
  EXPECT_TRUE(eventually([&] { return platform.runMainQueue(milliseconds(10)) == 1; }));
  EXPECT_EQ(ran, "abcdef");
}

TEST_F(QueueTest, AForkedChildDropsBackgroundWorkAndHasItsOwnMainQueue) {
  PosixPlatform platform(options());
  Queue& queue = platform.mainQueue();
  const int descriptor = platform.mainQueueDescriptor();
  std::promise<void> isStarted;
  platform.globalQueue().async([&] { isStarted.set_value(); });
  isStarted.get_future().wait();
  int ran = 0;
  // Destroying a function may also use the queue.
  queue.async([&, farewell = std::shared_ptr<void>(
                      &queue, [](void* used) { static_cast<Queue*>(used)->async([] {}); })] { ++ran; });
  EXPECT_EQ(inChild([&] {
              for (int i = 0; i < 2; ++i) platform.globalQueue().async([] { _exit(9); });
              EXPECT_EQ(countReports(), 1u);
              EXPECT_FALSE(isReadable(descriptor));
              EXPECT_EQ(platform.pollMainQueue(), 0u) << "only the parent runs it";
              queue.async([] {});
              EXPECT_TRUE(isReadable(descriptor));
              EXPECT_EQ(platform.pollMainQueue(), 1u);
            }),
            0);
  EXPECT_TRUE(isReadable(descriptor));
  EXPECT_EQ(platform.pollMainQueue(), 1u);
  EXPECT_EQ(ran, 1);
}

}  // namespace
}  // namespace tidewell::posix
