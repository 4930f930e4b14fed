// SPDX-License-Identifier: Apache-2.0
#include <atomic>
#include <thread>

#include "core/CoreFixture.h"

namespace tidewell {
namespace {

// Merges, setters, gates and restarts are compared with a plain model in ConfigRecordTest.cpp.
class ConfigManagerTest : public CoreFixture {
 protected:
  void merge(std::string_view json) { manager.updateConfigFromResponse(base::JSONObjectWithData(json)); }

  TWConfigManager manager;
};

TEST_F(ConfigManagerTest, RecordChangesAffectTheNextQuery) {
  const auto record = manager.tdwConfig();
  record->setBlackListedEventsArray(base::Array{"x", "remove from cart"});
  EXPECT_TRUE(manager.isEventBlackListed("x") && manager.isEventBlackListed("remove from cart"));

  const auto other = std::make_shared<TWConfig>();
  other->setAccountStatus("blocked");
  manager.setTdwConfig(other);
  EXPECT_FALSE(manager.isAccountActive());
  record->setAccountStatus("allowed");
  EXPECT_FALSE(manager.isAccountActive()) << "a replaced record has no effect";

  manager.setTdwConfig(nullptr);
  EXPECT_EQ(manager.tdwConfig(), nullptr);
  EXPECT_TRUE(manager.isInAppServiceActive());
  EXPECT_FALSE(manager.isDeviceTriggerEnabled());
  EXPECT_TRUE(manager.getBlackListedEvents().isNil());
  EXPECT_EQ(manager.getPeriodicSyncDuration(), 60);
  EXPECT_EQ(manager.getEventBatchCount(), 0);
  merge("{}");
  EXPECT_EQ(manager.getEventBatchCount(), 30);
}

TEST_F(ConfigManagerTest, PrintsTheStatus) {
  merge(R"({"b_e":["add to cart"],"f_e":["a"],"d_t_w_e":["b"],"src_ext":["c"],"p_f_t":-1,"le_tkn":"t"})");
  manager.setUserInAppNotificationOptedOut(true);
  manager.tdwConfig()->setAccountStatus({});
  manager.tdwConfig()->setDataRedirectionRegion({});
  TWLogger::debug(TWLogLevelDebug);
  manager.printCurrentServicesStatus();
  EXPECT_EQ(
      lines(),
      (Lines{"Tidewell - Account Status: (null) || InApp Status: allowed || Geofence Status: allowed || "
             "Inbox Status: allowed || Device Trigger Status: allowed || Data Redirection: Default || "
             "Periodic Sync Status: allowed",
             "Tidewell - Black Listed Events : (\n    \"add to cart\"\n)",
             "Tidewell - Instant Flush Events : (\n    a\n)", "Tidewell - White listed Events : (\n    b\n)",
             "Tidewell - Source Extra Keys : (\n    c\n)", "Tidewell - === Opt Out Status ===\n",
             "Tidewell - Data : \xE2\x9C\x85", "Tidewell - Push : \xE2\x9C\x85",
             "Tidewell - InApp: \xF0\x9F\x9B\x91", "Tidewell - Logentries Status: blocked || Token: t",
             "Tidewell - Config Int Params :\n============\nEvents Batch Count : 30 || Inbox Default Expiry "
             "Duration : 2592000 || Periodic Sync Interval : 18446744073709551615 || Device Trigger Sync "
             "Duration : 10800 || User Attr Caching Duration : 1800 || Session Inactive Duration : "
             "1800\n============\n"}));
}

TEST_F(ConfigManagerTest, ALogSinkMayQueryTheInstanceDuringItsConstruction) {
  files().setContents(*manager.getFilePathForConfig(), "broken");
  TWLogger::debug(TWLogLevelDebug);
  static int asked = 0;
  platform::setReporter(
      [](std::string_view) { asked += TWConfigManager::sharedInstance().isAccountActive(); });
  EXPECT_TRUE(TWConfigManager::sharedInstance().isAccountActive());
  EXPECT_EQ(asked, 1);
}

TEST_F(ConfigManagerTest, RestrictedIDsAreMatchedInListOrder) {
  EXPECT_TRUE(manager.isUniqueIDRestricted(std::nullopt));
  std::string costlyNames, costlySets;
  for (int i = 0; i < 1300; ++i) costlyNames += "\\N{OX}";
  for (int i = 0; i < 64; ++i) costlySets += "[\\p{L}]";
  base::Array users, attack;
  for (int i = 0; i < 10000; ++i) users.addObject("user" + std::to_string(i));
  for (int i = 0; i < 200; ++i) users.addObject("guest" + std::to_string(i) + "-[0-9]");
  for (int i = 0; i < 32; ++i) attack.addObject(costlyNames);
  for (int i = 0; i < 570; ++i) attack.addObject("(?i)" + costlySets);
  attack.addObject("a.*");
  const std::string hopeless(40, 'a');
  const base::Array anchored{"^(root|admin)$", "first\\.last"};
  const struct {
    base::Array list;
    std::string id, answer;
    std::size_t lines = 0;
  } rows[] = {
      {{"b"}, "abc", "no"},  // a partial match does not count
      {users, "user9999", "yes"},
      {users, "guest199-7", "yes"},
      {{"(a+)+b", "a*"}, hopeless, "yes", 1},
      {{"(a+)+b", "(.*)*x.*y", "b"}, hopeless, "no", 1},
      {attack, "abc", "yes", 1},
      {attack, "bc", "no", 1},
      {{"a", "b", "(", "c", "d.*"}, "c", "raises"},
      {{"a.*", "(", "b"}, "ab", "yes"},
      {{"a", 3, "b", "("}, "b", "raises"},
      {{"", "a"}, "a", "raises"},
      {anchored, "admin", "yes"},
      {anchored, "firstxlast", "no"},
      {{"\xEF\xBF\xBD"}, "\xFF", "yes"},
  };
  TWLogger::debug(TWLogLevelDebug);
  for (const auto& row : rows) {
    for (const bool compiledAhead : {false, true}) {
      SCOPED_TRACE(row.list.begin()->description().substr(0, 40) + " " + row.id);
      merge(R"({"b_uid_r":[]})");
      manager.updateConfigFromResponse(base::Dictionary{{"b_uid_r", row.list}});
      if (compiledAhead) runUntilIdle();
      lines();
      for (int asked = 0; asked < 2; ++asked) {
        static constexpr const char* kAnswers[] = {"no", "yes", "raises"};
        EXPECT_EQ(kAnswers[static_cast<int>(manager.restrictionOfUniqueID(row.id))], row.answer);
        EXPECT_EQ(lines().size(), asked == 0 ? row.lines : 0u) << "each expression is reported once";
      }
    }
  }
}

TEST_F(ConfigManagerTest, InvalidOrTooCostlyExpressionsAreReported) {
  merge(R"({"b_uid_r":["z","(a+)+b","\\p{RGI_Emoji}","x[0-9]","(a+)+c"]})");
  EXPECT_EQ(platform->testGlobalQueue().pending(), 1u) << "compiled in advance, not on the caller's thread";
  TWLogger::debug(TWLogLevelDebug);
  EXPECT_FALSE(manager.isUniqueIDRestricted("x"));
  EXPECT_FALSE(manager.isUniqueIDRestricted(std::string(60, 'a')));
  const Lines logged = lines();
  ASSERT_EQ(logged.size(), 2u);
  EXPECT_NE(logged[0].find("number 2 of the list"), std::string::npos) << logged[0];
  EXPECT_NE(logged[1].find("number 1, 4 of the list"), std::string::npos) << logged[1];

  merge(R"({"b_uid_r":["b","(","later"]})");
  std::string reason;
  EXPECT_EQ(manager.restrictionOfUniqueID("later", &reason), TWConfigManager::Restriction::invalidExpression);
  EXPECT_EQ(reason,
            "Can't do regex matching, reason: Can't open pattern U_REGEX_MISMATCHED_PAREN (string later, "
            "pattern (, case 0, canon 0)");
  EXPECT_THROW((void)manager.isUniqueIDRestricted("later"), base::Exception);
}

// Threads

/// One of two configurations with distinct answers.
base::Dictionary oddOrEven(bool odd) {
  base::Array names;
  for (int index = 0; index < 50; ++index) names.addObject((odd ? "odd_" : "even_") + std::to_string(index));
  return {{"b_e", names}, {"b_uid_r", base::Array{odd ? "odd.*" : "even.*"}}, {"e_b_c", odd ? 1 : 2}};
}

TEST_F(ConfigManagerTest, ConcurrentQueriesSeeOneConfigurationAndNoSetterIsLost) {
  manager.updateConfigFromResponse(oddOrEven(false));
  std::atomic<bool> stop{false};
  std::atomic<int> wrong{0}, asking{0};
  const auto ask = [&] {
    for (++asking; !stop; wrong += !manager.isAccountActive()) {
      const auto fields = manager.tdwConfig()->fields();
      const base::Value name = fields->blackListedEventsArray.array()->objectAtIndex(7);
      wrong += name != base::Value(fields->eventsBatchCount == 1 ? "odd_7" : "even_7");
      wrong += manager.isEventBlackListed("odd_7") && manager.isEventBlackListed("absent");
      (void)manager.isUniqueIDRestricted("odd");
    }
  };
  std::thread first(ask), second(ask), third([&] {
    for (int round = 0; round < 100; ++round) manager.setDataTrackingOptedOut(round % 2 == 1);
  });
  while (asking < 2) std::this_thread::yield();
  for (int round = 0; round < 200; ++round) {
    manager.updateConfigFromResponse(oddOrEven(round % 2 == 0));
    manager.setDataRedirectionRegion(TWDataRegion{round % 3});
    if (round % 16 == 0) runUntilIdle();
  }
  stop = true;
  for (std::thread* thread : {&first, &second, &third}) thread->join();
  EXPECT_EQ(wrong, 0);
  EXPECT_TRUE(TWConfigManager().tdwConfig()->dataTrackingOptedOut());
  EXPECT_EQ(TWConfigManager().getDataRedirectionRegion(), TWDataRegionEurope);
}

TEST_F(ConfigManagerTest, OldSnapshotsAreFreedAfterManyThreadsHaveRead) {
  std::vector<std::weak_ptr<const TWConfigFields>> old;
  for (int round = 0; round < 100; ++round) {
    old.push_back(manager.tdwConfig()->fields());
    std::thread([&] { (void)manager.isEventBlackListed("x"); }).join();
    manager.setDataTrackingOptedOut(round % 2 == 0);
  }
  // Changes free older snapshots, but at most once in a short interval.
  while (!std::all_of(old.begin(), old.end(), [](const auto& snapshot) { return snapshot.expired(); }))
    manager.tdwConfig()->setEventsBatchCount(1);
}

TEST_F(ConfigManagerTest, ThreadLocalDestructorsMayQuery) {
  merge(R"({"b_e":["x"]})");
  static TWConfigManager* const queried = &manager;
  static std::atomic<int> answers;
  struct QueriesLate {
    ~QueriesLate() { answers += queried->isEventBlackListed("x"); }
  };
  const auto ask = [] {
    thread_local QueriesLate late;  // constructed before the first query, so destroyed after its record
    (void)&late;
    answers += queried->isEventBlackListed("x");
  };
  for (int round = 0; round < 3; ++round) std::thread(ask).join();
  EXPECT_EQ(answers, 6);
}

}  // namespace
}  // namespace tidewell
