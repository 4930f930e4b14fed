#include <tuple>

#include "life/LifeTest.h"

namespace tidewell::life {
namespace {

/// What tells whether anything below a folder was written.
std::map<std::string, std::tuple<ino_t, off_t, time_t, long, time_t, long>> stampsBelow(
    const std::string& folder) {
  decltype(stampsBelow(folder)) stamps;
  for (const auto& entry : std::filesystem::recursive_directory_iterator(folder)) {
    struct stat record {};
    EXPECT_EQ(lstat(entry.path().c_str(), &record), 0) << entry.path();
    stamps[entry.path()] = {record.st_ino,          record.st_size,        record.st_mtim.tv_sec,
                            record.st_mtim.tv_nsec, record.st_ctim.tv_sec, record.st_ctim.tv_nsec};
  }
  return stamps;
}

TEST_F(LifeTest, TheFirstStartDownloadsAndTheSecondAnswersFromTheArchiveWithoutAnyWriting) {
  {
    App first(backend, environment());
    EXPECT_EQ(first.ask("answers"), kDefaultAnswers);
    EXPECT_EQ(first.ask("start A"), "synced");
    EXPECT_EQ(first.ask("answers"), kConfigurationAnswers);
    EXPECT_EQ(first.end(), 0);
  }
  const auto requests = backend.requests();
  ASSERT_EQ(requests.size(), 1u);
  EXPECT_EQ(requests[0].path, "/v3/sdkconfig/ios/A");
  EXPECT_EQ(::testing::PrintToString(requests[0].problems), "{}");

  const auto before = stampsBelow(data);
  EXPECT_GE(before.size(), 4u);
  App second(backend, environment());
  EXPECT_EQ(second.ask("answers"), kConfigurationAnswers);
  EXPECT_EQ(second.ask("start A"), "none");
  EXPECT_EQ(second.ask("foreground"), "none");
  EXPECT_EQ(second.ask("answers"), kConfigurationAnswers);
  EXPECT_EQ(second.end(), 0);
  EXPECT_EQ(backend.requestCount(), 1u);
  EXPECT_EQ(stampsBelow(data), before);
}

TEST_F(LifeTest, ASyncIsDueAnHourAfterTheLastOneAndAfterAReset) {
  App app(backend, environment());
  ASSERT_EQ(app.ask("start A"), "synced");
  for (const auto& [before, trigger, expected] : {
           std::tuple{"synced-ago 3590", "update", "none"},
           {"synced-ago 3600", "update", "synced"},
           {"synced-ago 3600", "foreground", "synced"},
           {"synced-ago -7200", "update", "none"},
           {"reset", "foreground", "synced"},
           {"reset", "update", "synced"},
           {"stamped", "update", "none"},
           {"synced-ago 86400", "start A", "synced"},
       }) {
    app.ask(before);
    EXPECT_EQ(app.ask(trigger), expected) << before << ", " << trigger;
  }
  // Since the last row each notification is heard twice, and both find the sync due where the first reply
  // takes its time.
  testing::StandInFault slow;
  slow.kind = testing::StandInFaultKind::delay;
  slow.delay = std::chrono::milliseconds(500);
  backend.setFault(slow);
  backend.clearRequests();
  app.ask("reset");
  EXPECT_EQ(app.ask("update"), "synced");
  EXPECT_EQ(backend.requestCount(), 2u);
}

TEST_F(LifeTest, AnOptOutAndARegionSurviveWhatTheServerSays) {
  {
    App app(backend, environment());
    app.ask("opt-out-push");
    app.ask("region 1");
    EXPECT_EQ(app.ask("start A"), "synced");
  }
  EXPECT_EQ(backend.requests().at(0).host, "api-eu.tidewell.example");
  App app(backend, environment());
  EXPECT_EQ(app.ask("answers").substr(0, 14), R"(["ynnnyynyny",)");
  EXPECT_EQ(app.ask("answers").substr(app.ask("answers").size() - 3), ",1]");
}

TEST_F(LifeTest, MainMayReturnAtAnyMomentOfARequest) {
  using testing::StandInFaultKind;
  for (int i = 0; i < 20; ++i) {
    backend.clearFaults();
    backend.clearRequests();
    testing::StandInFault fault;
    fault.kind = i % 4 == 1 ? StandInFaultKind::silentHandshake : StandInFaultKind::silence;
    if (i % 4 != 0) backend.setFault(fault);
    auto own = environment();
    own[0] += std::to_string(i);
    if (i >= 12) own.emplace_back("LIFE_HOST_LOOP=1");
    App app(backend, own);
    ASSERT_EQ(app.ask("start-only A"), "started");
    EXPECT_TRUE(i % 4 != 3 || backend.waitForRequests(1));
    EXPECT_EQ(app.end(), 0) << i;
  }
}

}  // namespace
}  // namespace tidewell::life
