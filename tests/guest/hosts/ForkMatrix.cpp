// SPDX-License-Identifier: Apache-2.0
#include "hosts/ForkMatrix.h"

#include <algorithm>
#include <chrono>
#include <cstring>
#include <filesystem>
#include <random>
#include <sstream>
#include <thread>
#include <vector>

#include "InChild.h"
#include "hosts/EveryOperation.h"
#include "hosts/HostOptions.h"

namespace tidewell::guest {
namespace {

using Clock = std::chrono::steady_clock;
/// A child that runs longer hangs, even on a busy machine; SIGALRM ends it.
constexpr unsigned kTimeoutSeconds = 30;

posix::PosixPlatform* platformOfPair = nullptr;
platform::Queue& mainQueue() { return platformOfPair->mainQueue(); }

/// Held by a closure; its destructor is host code that calls the SDK.
struct Farewell {
  ~Farewell() { use({"interceptors", "objects"}); }
};
void addFarewell() {
  mainQueue().async([farewell = std::make_shared<Farewell>()] {});
}

constexpr Operation kQueueOperations[] = {
    {"main queue: add", addFarewell},
    {"main queue: poll", [] { addFarewell(), platformOfPair->pollMainQueue(); }},
    {"main queue: run", [] { addFarewell(), platformOfPair->runMainQueue(std::chrono::milliseconds(10)); }},
    {"global queue", [] { platformOfPair->globalQueue().async([] {}); }},
};

enum Way { kPlain, kSecondFork, kFromMainQueue };
struct Pair {
  Operation parent, child;
  Way way;
};

/// Runs a process with a thread that repeats the parent's operation, and three children. Returns the first
/// exit status that is not 0.
int runPair(const Pair& pair, unsigned seed) {
  platformOfPair = posix::install(hostOptions());
  require(platformOfPair != nullptr, "installation");
  static std::atomic<int> done{-1};
  std::thread([&pair] {
    for (done = 0;; ++done) {
      pair.parent.run();
      if (done > 20'000) usleep(1000);  // bounds the queue's memory while no thread drains it
    }
  }).detach();
  std::mt19937 random(seed);
  while (done < 0) continue;
  for (const unsigned longest : {20u, 200u, 2000u}) {
    const auto instant = Clock::now() + std::chrono::microseconds(random() % longest);
    while (Clock::now() < instant) continue;
    mainQueue().async([] {});  // while a thread may wait for the queue
    std::atomic<bool> isDone{false};
    int status = 0;
    const auto runChild = [&] { return pair.child.run(), 0; };
    const auto forkAndWait = [&] {
      status = waitFor(inChild(kTimeoutSeconds, [&] {
        if (pair.way != kSecondFork) return runChild();
        addFarewell();  // a pending function is neither run nor destroyed in the grandchild
        return waitFor(inChild(kTimeoutSeconds, runChild));
      }));
      isDone = true;
    };
    if (pair.way == kFromMainQueue) mainQueue().async(forkAndWait);
    if (pair.way != kFromMainQueue) forkAndWait();
    while (!isDone) platformOfPair->pollMainQueue();  // another thread may drain it
    if (status != 0) return status;
  }
  return 0;
}

}  // namespace

std::string forkMatrix(const std::string& arguments) {
  alarm(0);  // each child sets its own alarm
  int seconds = 0, failed = 0;
  unsigned seed = 1;
  std::string only;
  std::getline(std::istringstream(arguments) >> seconds >> seed >> std::ws, only);
  std::vector<Operation> operations(std::begin(kOperations), std::end(kOperations));
  operations.insert(operations.end(), std::begin(kQueueOperations), std::end(kQueueOperations));
  std::vector<Pair> pairs;
  for (const Operation& parent : operations) {
    for (const Operation& child : operations) {
      if (!only.empty() && only != std::string(parent.name) + "/" + child.name) continue;
      for (const Way way : {kPlain, kSecondFork, kFromMainQueue}) pairs.push_back({parent, child, way});
    }
  }
  std::shuffle(pairs.begin(), pairs.end(), std::mt19937(seed));
  std::string folder = "/tmp/tidewell-fork-matrix-XXXXXX";
  setenv("XDG_DATA_HOME", mkdtemp(folder.data()), 1);
  const auto end = Clock::now() + std::chrono::seconds(seconds);
  unsigned number = 0;
  for (; seconds > 0 ? Clock::now() < end : number < pairs.size(); ++number) {
    const Pair& each = pairs[number % pairs.size()];
    const int status = waitFor(inChild(10 * kTimeoutSeconds, [&] { return runPair(each, seed + number); }));
    std::filesystem::remove_all(folder);
    if (status == 0) continue;
    ++failed;
    std::printf("status %d: parent/child: %s/%s, way %d\n", status, each.parent.name, each.child.name,
                each.way);
  }
  require(failed == 0, "the pairs above");
  return std::to_string(number) + " of " + std::to_string(pairs.size()) + " pairs";
}

}  // namespace tidewell::guest
