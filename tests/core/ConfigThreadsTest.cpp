#include <algorithm>
#include <atomic>
#include <chrono>
#include <thread>

#include "core/CoreFixture.h"
#include "tidewell/core/TWConfigManager/TWConfigManager.h"

namespace tidewell {
namespace {

using ConfigThreads = CoreFixture;

/// Two configurations whose answers belong together.
base::Dictionary reply(bool odd) {
  base::Array names;
  for (int index = 0; index < 50; ++index) names.addObject((odd ? "odd_" : "even_") + std::to_string(index));
  return {{"b_e", names},
          {"f_e", names},
          {"b_uid_r", base::Array{odd ? "odd.*" : "even.*"}},
          {"e_b_c", odd ? 1 : 2}};
}

TEST_F(ConfigThreads, QuestionsDuringMergesSeeAnOldOrANewConfigurationWhole) {
  TWConfigManager manager;
  manager.updateConfigFromResponse(reply(false));
  std::atomic<bool> stop{false};
  std::atomic<int> wrong{0};
  std::atomic<int> asking{0};
  const auto ask = [&] {
    ++asking;
    while (!stop) {
      const auto fields = manager.tdwConfig()->fields();
      const bool odd = fields->eventsBatchCount == 1;
      const std::string name =
          fields->blackListedEventsArray.array()->objectAtIndex(7).optionalString().value();
      wrong += name != (odd ? "odd_7" : "even_7");
      wrong += manager.isEventBlackListed("odd_7") && manager.isEventBlackListed("nothing");
      wrong += !manager.isUniqueIDRestricted(odd ? "odd" : "even") &&
               !manager.isUniqueIDRestricted(odd ? "even" : "odd") &&
               !manager.isUniqueIDRestricted(std::nullopt);
      wrong += !manager.isAccountActive();
      const std::int64_t count = manager.getEventBatchCount();
      wrong += count != 1 && count != 2;
    }
  };
  std::thread first(ask);
  std::thread second(ask);
  while (asking < 2) std::this_thread::yield();
  for (int round = 0; round < 200; ++round) {
    manager.updateConfigFromResponse(reply(round % 2 == 0));
    manager.tdwConfig()->setLogEntriesToken(std::to_string(round));
    if (round % 16 == 0) runUntilIdle();
  }
  stop = true;
  first.join();
  second.join();
  EXPECT_EQ(wrong, 0);
}

TEST_F(ConfigThreads, SettersOnManyThreadsAllReachTheFile) {
  TWConfigManager manager;
  std::thread tracking([&] { manager.setDataTrackingOptedOut(true); });
  std::thread region([&] { manager.setDataRedirectionRegion(TWDataRegionServ3); });
  manager.setUserInAppNotificationOptedOut(true);
  tracking.join();
  region.join();
  const auto fields = TWConfigManager().tdwConfig()->fields();
  EXPECT_TRUE(fields->dataTrackingOptedOut && fields->userInAppOptedOut);
  EXPECT_EQ(*fields->dataRedirectionRegion.string(), "SERV3");
}

TEST_F(ConfigThreads, OldSnapshotsAreFreedThoughManyThreadsHaveRead) {
  TWConfigManager manager;
  std::vector<std::weak_ptr<const TWConfigFields>> old;
  for (int round = 0; round < 100; ++round) {
    old.push_back(manager.tdwConfig()->fields());
    std::thread([&] { static_cast<void>(manager.isEventBlackListed("x")); }).join();
    manager.setDataTrackingOptedOut(round % 2 == 0);
  }
  // A change frees what was replaced before it, but not each of many within a moment.
  const auto isFreed = [](const auto& snapshot) { return snapshot.expired(); };
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
  while (!std::all_of(old.begin(), old.end(), isFreed) && std::chrono::steady_clock::now() < deadline) {
    manager.tdwConfig()->setEventsBatchCount(1);
  }
  EXPECT_TRUE(std::all_of(old.begin(), old.end(), isFreed));
}

TEST_F(ConfigThreads, DestructorsThatRunWhileAThreadEndsMayAsk) {
  TWConfigManager manager;
  manager.updateConfigFromResponse(reply(true));
  static TWConfigManager* asked;
  static std::atomic<int> answers;
  asked = &manager;
  struct AsksLate {
    ~AsksLate() { answers += asked->isEventBlackListed("odd_1"); }
  };
  for (int round = 0; round < 3; ++round) {
    std::thread([] {
      thread_local AsksLate late;  // made before the thread reads: destroyed after its reading place
      static_cast<void>(&late);
      answers += asked->isEventBlackListed("odd_1");
    }).join();
  }
  EXPECT_EQ(answers, 6);
}

}  // namespace
}  // namespace tidewell
