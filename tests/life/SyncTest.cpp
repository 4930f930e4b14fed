#include "life/LifeTest.h"

namespace tidewell::life {
namespace {

/// When the files below a folder were written.
std::map<std::string, fs::file_time_type> stampsBelow(const std::string& folder) {
  std::map<std::string, fs::file_time_type> stamps;
  for (const auto& entry : fs::recursive_directory_iterator(folder))
    stamps[entry.path()] = entry.last_write_time();
  return stamps;
}

TEST_F(LifeTest, TheFirstStartDownloadsAndTheSecondReadsTheArchiveAndWritesNothing) {
  {
    Child first = host();
    EXPECT_EQ(first.ask("answers"), kDefaultAnswers);
    EXPECT_EQ(sync(first, "start A"), "synced");
    EXPECT_EQ(first.ask("answers"), kConfigurationAnswers);
    EXPECT_EQ(first.end().status, 0);
  }
  EXPECT_EQ(backend.requestCount(), 1u);
  const auto before = stampsBelow(data);
  EXPECT_GE(before.size(), 4u);
  Child second = host();
  EXPECT_EQ(second.ask("answers"), kConfigurationAnswers);
  EXPECT_EQ(sync(second, "start A"), "none");
  // The archive, the user defaults, and the folder of each. docs/guest.md says so of slow mounts.
  EXPECT_EQ(second.ask("opens"), "4");
  EXPECT_EQ(sync(second, "foreground"), "none");
  EXPECT_EQ(backend.requestCount(), 1u);
  EXPECT_EQ(stampsBelow(data), before);
  second.ask("reset");
  EXPECT_EQ(sync(second, "foreground"), "synced");
}

}  // namespace
}  // namespace tidewell::life
