#include <poll.h>

#include <atomic>
#include <chrono>
#include <future>
#include <memory>
#include <stdexcept>
#include <thread>

#include "posix/PosixTest.h"

namespace tidewell::posix {
namespace {

using platform::Queue;

class QueueTest : public PosixTest {
 protected:
  static bool isReadable(int descriptor) {
    pollfd waiting{descriptor, POLLIN, 0};
    return poll(&waiting, 1, 0) == 1;
  }
  static void waitFor(Queue& queue) {
    std::promise<void> done;
    queue.async([&] { done.set_value(); });
    done.get_future().wait();
  }
};

TEST_F(QueueTest, TheLibrarysThreadsKeepTheOrderAndOutliveAnException) {
  Options with = options();
  with.mainLoop = MainLoop::ownThread;
  PosixPlatform platform(with);
  EXPECT_EQ(platform.mainQueueDescriptor(), -1);
  EXPECT_EQ(platform.pollMainQueue(), 0u);
  for (Queue* const queue : {&platform.mainQueue(), &platform.globalQueue()}) {
    std::string order;
    for (const char c : {'a', 'b', 'c'}) queue->async([&order, c] { order += c; });
    queue->async([] { throw std::runtime_error("from a function"); });
    queue->async([queue] { EXPECT_TRUE(queue->isCurrent()); });
    waitFor(*queue);
    EXPECT_EQ(order, "abc");
    EXPECT_FALSE(queue->isCurrent());
  }
  EXPECT_EQ(reportCount(), 2u) << "one for each function that threw";
}

TEST_F(QueueTest, AHostsLoopWaitsOnTheDescriptorAndDrains) {
  PosixPlatform platform(options());
  Queue& queue = platform.mainQueue();
  const int descriptor = platform.mainQueueDescriptor();
  EXPECT_FALSE(isReadable(descriptor));
  std::string ran;
  queue.async([&] {
    ran += '1';
    queue.async([&] { ran += '3'; });
  });
  queue.async([&] { ran += queue.isCurrent() ? '2' : '?'; });
  queue.async(nullptr);
  EXPECT_TRUE(isReadable(descriptor));
  EXPECT_EQ(platform.pollMainQueue(), 2u);
  EXPECT_EQ(ran, "12");
  EXPECT_TRUE(isReadable(descriptor)) << "a function waits that another added";
  EXPECT_EQ(platform.pollMainQueue(), 1u);
  EXPECT_FALSE(isReadable(descriptor));

  platform.globalQueue().async([&] { queue.async([&] { ran += '4'; }); });
  const auto start = std::chrono::steady_clock::now();
  while (ran.back() != '4' && std::chrono::steady_clock::now() - start < std::chrono::seconds(20)) {
    platform.runMainQueue(std::chrono::milliseconds(10));
  }
  EXPECT_EQ(ran, "1234");
  std::promise<bool> current;
  platform.globalQueue().async([&] { current.set_value(queue.isCurrent()); });
  EXPECT_FALSE(current.get_future().get());
}

TEST_F(QueueTest, AFunctionMayDrainTheQueueAndOnlyOneThreadDrains) {
  PosixPlatform platform(options());
  std::string ran;
  platform.mainQueue().async([&] {
    ran += 'a';
    EXPECT_EQ(platform.pollMainQueue(), 1u);
    std::promise<std::size_t> elsewhere;
    platform.mainQueue().async([&] { ran += 'c'; });
    platform.globalQueue().async([&] { elsewhere.set_value(platform.pollMainQueue()); });
    EXPECT_EQ(elsewhere.get_future().get(), 0u);
  });
  platform.mainQueue().async([&] { ran += 'b'; });
  platform.runMainQueue(std::chrono::milliseconds(0));
  platform.pollMainQueue();
  EXPECT_EQ(ran, "abc");
}

TEST_F(QueueTest, TheChildOfAForkInAFunctionLeavesTheOthersToItsParent) {
  if (kAddressSanitizer) GTEST_SKIP() << "the allocator may be locked for ever in the child";
  Options with = options();
  with.mainLoop = MainLoop::ownThread;
  PosixPlatform platform(with);
  CountOverForks ran;
  pid_t child = -1;
  std::promise<void> mayGo;
  platform.mainQueue().async([&] {
    mayGo.get_future().wait();
    child = fork();
  });
  platform.mainQueue().async([&] { ++ran.count; });
  mayGo.set_value();
  waitFor(platform.mainQueue());
  endChild(child);
  EXPECT_EQ(ran.count, 1);
}

TEST_F(QueueTest, TheChildrenOfAForkUseTheMainQueueWhateverWaitsInIt) {
  if (kAddressSanitizer) GTEST_SKIP() << "the allocator may be locked for ever in the child";
  PosixPlatform platform(options());
  std::atomic<bool> goesOn{true};
  std::thread runner([&] {
    while (goesOn) platform.runMainQueue(std::chrono::milliseconds(50));
  });
  /// Uses the queue when a function that waits in it is destroyed.
  struct Farewell {
    explicit Farewell(Queue& its) : queue(its) {}
    Queue& queue;
    ~Farewell() {
      queue.async([] {});
    }
  };
  for (int i = 0; i < 20; ++i) {
    platform.mainQueue().async([] {});
    EXPECT_EQ(inChild([&] {
                platform.mainQueue().async([farewell = std::make_shared<Farewell>(platform.mainQueue())] {});
                return inChild([&] {
                  std::atomic<int> ran{0};
                  std::thread own([&] {
                    while (ran < 5) platform.runMainQueue(std::chrono::milliseconds(50));
                  });
                  for (int sent = 1; sent <= 5; ++sent) {
                    platform.mainQueue().async([&] { ++ran; });
                    while (ran < sent) std::this_thread::yield();
                  }
                  own.join();
                  return 0;
                });
              }),
              0);
  }
  goesOn = false;
  runner.join();
}

TEST_F(QueueTest, AForkedChildDropsWorkWithOneReportAndItsMainQueueIsItsOwn) {
  PosixPlatform platform(options());
  const int descriptor = platform.mainQueueDescriptor();
  waitFor(platform.globalQueue());
  bool hasRun = false;
  platform.mainQueue().async([&] { hasRun = true; });
  EXPECT_EQ(inChild([&] {
              platform.globalQueue().async([] { _exit(9); });
              platform.globalQueue().async([] { _exit(9); });
              EXPECT_EQ(reports.size(), 1u);
              EXPECT_FALSE(isReadable(descriptor));
              EXPECT_EQ(platform.pollMainQueue(), 0u) << "the parent's to run";
              platform.mainQueue().async([] {});
              EXPECT_TRUE(isReadable(descriptor));
              EXPECT_EQ(platform.pollMainQueue(), 1u);
              return exitStatus();
            }),
            0);
  EXPECT_TRUE(isReadable(descriptor));
  EXPECT_EQ(platform.pollMainQueue(), 1u);
  EXPECT_TRUE(hasRun);
  EXPECT_FALSE(isReadable(descriptor));
}

}  // namespace
}  // namespace tidewell::posix
