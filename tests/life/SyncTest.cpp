#include "life/LifeTest.h"

namespace tidewell::life {
namespace {

/// What tells whether anything below a folder was written.
std::map<std::string, std::filesystem::file_time_type> stampsBelow(const std::string& folder) {
  std::map<std::string, std::filesystem::file_time_type> stamps;
  for (const auto& entry : std::filesystem::recursive_directory_iterator(folder)) {
    stamps[entry.path()] = entry.last_write_time();
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
  EXPECT_EQ(backend.requestCount(), 1u);
  EXPECT_EQ(stampsBelow(data), before);
  second.ask("reset");
  EXPECT_EQ(second.ask("foreground"), "synced");
  EXPECT_EQ(second.end(), 0);
}

TEST_F(LifeTest, MainMayReturnThoughTheHostsLoopHasNotRun) {
  testing::StandInFault fault;
  fault.kind = testing::StandInFaultKind::silentHandshake;
  backend.setFault(fault);
  for (int i = 0; i < 5; ++i) {
    auto own = environment();
    own[0] += std::to_string(i);
    own.emplace_back("LIFE_HOST_LOOP=1");
    App app(backend, own);
    ASSERT_EQ(app.ask("start-only A"), "started");
    EXPECT_EQ(app.end(), 0) << i;
  }
}

}  // namespace
}  // namespace tidewell::life
