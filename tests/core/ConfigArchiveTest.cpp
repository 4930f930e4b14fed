#include <tuple>

#include "core/CoreFixture.h"
#include "tidewell/base/Json.h"
#include "tidewell/base/KeyedArchive.h"
#include "tidewell/core/TWConfigManager/TWConfigManager.h"
#include "tidewell/core/TWUtils/TWLogger/TWLogger.h"

namespace tidewell {
namespace {

using testing::FileOperation;

const std::error_code kInputOutput = std::make_error_code(std::errc::io_error);
const std::error_code kNoSpace = std::make_error_code(std::errc::no_space_on_device);

class ConfigArchive : public CoreFixture {
 protected:
  ConfigArchive() {
    TWConfigManager before;
    before.updateConfigFromResponse(
        base::JSONObjectWithData(R"({"a_s":"blocked","b_e":["x"],"le_tkn":"t"})"));
    before.setUserPushNotificationOptedOut(true);
    before.setDataRedirectionRegion(TWDataRegionEurope);
    path = *before.getFilePathForConfig();
    whole = *contents();
    TWLogger::debug(TWLogLevelDebug);
  }

  testing::MemoryFileManager& files() { return platform->testFiles(); }
  std::optional<std::string> contents(const char* suffix = "") { return files().contents(path + suffix); }
  void fail(FileOperation operation, std::error_code error, std::size_t times) {
    files().failCall(operation, 1, error, times);
  }

  std::string path;
  std::string whole;  // an archive with a push opt-out, the European region, and settings of the server
};

TEST_F(ConfigArchive, APassingFaultAtTheStartLosesNothing) {
  fail(FileOperation::read, kInputOutput, 1);
  TWConfigManager manager;
  EXPECT_TRUE(manager.isAccountActive());
  EXPECT_EQ(contents(), whole);
  manager.setUserInAppNotificationOptedOut(true);
  const TWConfigManager next;
  for (const TWConfigManager* const looked : {&std::as_const(manager), &next}) {
    EXPECT_FALSE(looked->isAccountActive()) << "the change lies on top of what was read then";
    EXPECT_TRUE(looked->tdwConfig()->userPushOptedOut());
    EXPECT_TRUE(looked->tdwConfig()->userInAppOptedOut());
    EXPECT_EQ(looked->getDataRedirectionRegion(), TWDataRegionEurope);
  }

  fail(FileOperation::read, kInputOutput, 1);
  TWConfigManager merging;
  merging.updateConfigFromResponse(base::Dictionary{{"le_tkn", "new"}});
  EXPECT_TRUE(merging.isAccountActive()) << "a merge replaces what the server had said, and no more";
  EXPECT_TRUE(merging.tdwConfig()->userPushOptedOut());
}

TEST_F(ConfigArchive, WhatStaysUnreadableIsKeptAsideAndItsOptOutsComeBack) {
  fail(FileOperation::read, kInputOutput, 2);
  TWConfigManager manager;
  manager.setUserInAppNotificationOptedOut(true);
  EXPECT_EQ(contents(".unreadable"), whole);
  EXPECT_FALSE(manager.tdwConfig()->userPushOptedOut()) << "nobody can know it yet";
  {
    const TWConfigManager otherProcess;
    EXPECT_TRUE(otherProcess.tdwConfig()->userPushOptedOut()) << "the next start can read it";
    EXPECT_TRUE(otherProcess.tdwConfig()->userInAppOptedOut());
    EXPECT_EQ(contents(".unreadable"), whole) << "and keeps it until it has written";
  }
  manager.setDataTrackingOptedOut(false);
  EXPECT_TRUE(manager.tdwConfig()->userPushOptedOut()) << "and so does the next write";
  EXPECT_EQ(manager.getDataRedirectionRegion(), TWDataRegionEurope);
  EXPECT_EQ(contents(".unreadable"), std::nullopt);
  EXPECT_EQ(contents(".corrupt"), whole);
  manager.setUserPushNotificationOptedOut(false);
  EXPECT_FALSE(TWConfigManager().tdwConfig()->userPushOptedOut()) << "it comes back once, not for ever";
}

TEST_F(ConfigArchive, NothingIsOverwrittenThatCouldNotBeReadOrMoved) {
  for (const auto& [what, failedReads, failedMoves, failedWrites] :
       {std::tuple{"cannot be moved", 2u, 1u, 0u},
        {"cannot be written", 2u, 0u, 1u},
        {"full disk", 0u, 0u, 1u}}) {
    SCOPED_TRACE(what);
    if (failedReads > 0) fail(FileOperation::read, kInputOutput, failedReads);
    if (failedMoves > 0) fail(FileOperation::move, kNoSpace, failedMoves);
    if (failedWrites > 0) fail(FileOperation::replace, kNoSpace, failedWrites);
    TWConfigManager manager;
    lines();
    manager.setDataTrackingOptedOut(true);
    EXPECT_TRUE(manager.tdwConfig()->dataTrackingOptedOut()) << "memory is right";
    EXPECT_EQ(contents(), whole) << "the old file is whole";
    EXPECT_FALSE(lines().empty()) << "and that is said";
    (void)manager.shouldSyncConfig();
    const TWConfigManager next;
    EXPECT_TRUE(next.tdwConfig()->userPushOptedOut());
    EXPECT_TRUE(next.tdwConfig()->dataTrackingOptedOut()) << "the next occasion writes both";
    files().setContents(path, whole);
  }
}

TEST_F(ConfigArchive, NoOptOutOfAnotherProcessIsLost) {
  TWConfigManager one;
  TWConfigManager other;
  one.setDataTrackingOptedOut(true);
  other.setUserInAppNotificationOptedOut(true);
  one.setDataRedirectionRegion(TWDataRegionServ3);
  other.updateConfigFromResponse({});
  const TWConfigManager next;
  for (const TWConfigManager* const manager : {static_cast<const TWConfigManager*>(&other), &next}) {
    EXPECT_TRUE(manager->tdwConfig()->dataTrackingOptedOut());
    EXPECT_TRUE(manager->tdwConfig()->userInAppOptedOut());
    EXPECT_EQ(manager->getDataRedirectionRegion(), TWDataRegionServ3);
  }
  one.setDataTrackingOptedOut(true);
  EXPECT_FALSE(one.isAccountActive()) << "what the server said to the other does not count here";
  other.setDataTrackingOptedOut(false);
  EXPECT_FALSE(TWConfigManager().tdwConfig()->dataTrackingOptedOut())
      << "what a process sets itself, it decides";
}

TEST_F(ConfigArchive, AnotherProcessThatWritesDuringOursLosesNothing) {
  TWConfigManager ours;
  bool done = false;
  files().setHook([&](FileOperation operation, const std::string&) {
    if (operation != FileOperation::lock || std::exchange(done, true)) return;
    TWConfigManager other;
    other.setDataTrackingOptedOut(true);
  });
  ours.setUserInAppNotificationOptedOut(true);
  files().setHook(nullptr);
  EXPECT_TRUE(TWConfigManager().tdwConfig()->dataTrackingOptedOut());
  EXPECT_TRUE(ours.tdwConfig()->dataTrackingOptedOut()) << "and counts here from now on";
}

TEST_F(ConfigArchive, WhatCannotBeArchivedCountsInMemoryAndLeavesTheFile) {
  TWConfigManager manager;
  manager.tdwConfig()->setLogEntriesToken(base::Value(base::BoxedPointer{}));
  lines();
  manager.setDataTrackingOptedOut(true);
  EXPECT_EQ(contents(), whole);
  EXPECT_EQ(lines().size(), 1u);
  EXPECT_FALSE(manager.isDataTrackingEnabled());
  files().setLibraryPath(std::nullopt);
  manager.setUserInAppNotificationOptedOut(true);
  EXPECT_FALSE(manager.isUserInAppEnabled());
  EXPECT_EQ(manager.getFilePathForConfig(), std::nullopt);
}

}  // namespace
}  // namespace tidewell
