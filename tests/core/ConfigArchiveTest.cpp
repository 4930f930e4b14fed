#include <algorithm>
#include <functional>
#include <tuple>

#include "core/CoreFixture.h"
#include "tidewell/base/formats/Json.h"
#include "tidewell/base/formats/KeyedArchive.h"
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

  /// The names of the files beside the archive in which changes wait.
  std::vector<std::string> waiting() {
    const auto slash = path.rfind('/');
    std::vector<std::string> names = files().contentsOfDirectory(path.substr(0, slash)).names;
    std::erase_if(names, [&](const auto& name) { return name.find(".change-") == std::string::npos; });
    return names;
  }
  /// What the archive alone says of the user's choices.
  std::string choices() {
    std::string text;
    base::unarchiveRecord(*contents(), "TWConfig", [&](base::KeyedDecoder& decoder) {
      for (const char* key : {"d_t_opt_out", "user_push_opt_out", "user_inapp_opt_out"})
        text += decoder.decodeBoolForKey(key) ? "y" : "n";
      text += " " + decoder.decodeObjectForKey("d_r_r").description();
    });
    return text;
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
    if (failedWrites > 0) {
      fail(FileOperation::replace, kNoSpace, 1);
      (void)manager.shouldSyncConfig();
      EXPECT_TRUE(lines().empty()) << "once a cause";
    }
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

TEST_F(ConfigArchive, ARegionChosenDuringAReadErrorIsThisProcessesOwnChoice) {
  for (const bool isChosen : {true, false}) {
    files().setContents(path, whole);
    fail(FileOperation::read, kInputOutput, 2);
    TWConfigManager manager;
    if (isChosen) {
      manager.setDataRedirectionRegion(TWDataRegionDefault);
    } else {
      manager.setUserInAppNotificationOptedOut(true);
    }
    const TWConfigManager next;
    EXPECT_EQ(next.getDataRedirectionRegion(), isChosen ? TWDataRegionDefault : TWDataRegionEurope);
    EXPECT_TRUE(next.tdwConfig()->userPushOptedOut()) << "opt-outs are the stricter of both";
    EXPECT_EQ(next.tdwConfig()->userInAppOptedOut(), !isChosen);
    files().removeTree(path + ".unreadable");
  }
}

TEST_F(ConfigArchive, ARecordPutInForceCountsAsWrittenByThisProcess) {
  TWConfigManager manager;
  const auto record = std::make_shared<TWConfig>();
  record->setUserInAppOptedOut(true);
  manager.setTdwConfig(record);
  manager.setDataTrackingOptedOut(true);
  EXPECT_EQ(choices(), "yny Default");
  EXPECT_FALSE(manager.tdwConfig()->userPushOptedOut());
}

TEST_F(ConfigArchive, AChangeUnderAnothersLockWaitsBesideTheArchive) {
  auto held = files().lockForPath(path).lock;
  TWConfigManager manager;
  lines();
  manager.setDataTrackingOptedOut(true);
  manager.setDataRedirectionRegion(TWDataRegionServ3);
  (void)manager.shouldSyncConfig();
  EXPECT_EQ(lines().size(), 1u);
  EXPECT_EQ(contents(), whole);
  EXPECT_EQ(waiting().size(), 1u) << "a later change says all that the earlier one said";
  {
    const TWConfigManager sibling;
    EXPECT_TRUE(sibling.tdwConfig()->dataTrackingOptedOut()) << "a start sees it without the lock";
    EXPECT_TRUE(sibling.tdwConfig()->userPushOptedOut());
    EXPECT_EQ(sibling.getDataRedirectionRegion(), TWDataRegionServ3);
  }
  manager.setDataTrackingOptedOut(false);
  TWConfigManager next;
  next.setUserInAppNotificationOptedOut(true);
  EXPECT_EQ(waiting().size(), 2u);
  held.reset();
  (void)TWConfigManager().shouldSyncConfig();
  EXPECT_EQ(choices(), "nyy SERV3") << "whoever has the lock next merges them in their order";
  EXPECT_EQ(waiting(), std::vector<std::string>());
  manager.setUserPushNotificationOptedOut(true);
  EXPECT_TRUE(manager.tdwConfig()->userInAppOptedOut());
  // An archive that cannot be decoded stays: the holder of the lock may be about to replace it.
  held = files().lockForPath(path).lock;
  files().setContents(path, "no archive");
  (void)TWConfigManager().shouldSyncConfig();
  EXPECT_EQ(contents(), "no archive");
}

TEST_F(ConfigArchive, AHolderThatWasStoppedDoesNotUndoWhatWasChosenMeanwhile) {
  // Another process makes its choice before each step of a write.
  for (const FileOperation step : {FileOperation::read, FileOperation::list, FileOperation::replace,
                                   FileOperation::remove, FileOperation::move}) {
    SCOPED_TRACE(static_cast<int>(step));
    files().setContents(path, whole);
    std::unique_ptr<TWConfigManager> other;
    {
      const auto held = files().lockForPath(path).lock;
      TWConfigManager().setUserInAppNotificationOptedOut(true);  // waits, so that there is a change to remove
    }
    TWConfigManager holder;
    files().setHook([&](FileOperation operation, const std::string&) {
      if (operation != step || other) return;
      other = std::make_unique<TWConfigManager>();
      other->setDataTrackingOptedOut(true);
    });
    holder.setUserPushNotificationOptedOut(false);
    files().setHook(nullptr);
    if (!other) continue;
    EXPECT_EQ(choices(), "yny Europe");
    EXPECT_EQ(waiting(), std::vector<std::string>());
    EXPECT_TRUE(holder.tdwConfig()->dataTrackingOptedOut()) << "and counts here, too";
  }
}

/// The archive of a record with opt-outs, the European region, a blocked account, a token and this list.
std::string archiveWith(const base::Value& list, const base::Value& interval = 300) {
  return base::archivedDataWithRecord("TWConfig", [&](base::KeyedEncoder& encoder) {
    encoder.encodeObject("blocked", "a_s");
    encoder.encodeObject(base::Array{"x"}, "f_e");
    encoder.encodeObject(list, "b_e");
    encoder.encodeObject(interval, "p_f_t");
    encoder.encodeObject("YES", "user_inapp_opt_out");
    for (const char* key : {"d_t_opt_out", "user_push_opt_out"}) encoder.encodeBool(true, key);
    encoder.encodeObject("Europe", "d_r_r");
    encoder.encodeObject("t", "le_tkn");
  });
}

std::string replaced(std::string text, std::string_view what, std::string_view with) {
  const auto at = text.find(what);
  EXPECT_NE(at, std::string::npos);
  return text.replace(at, what.size(), with);
}

TEST_F(ConfigArchive, WhatTheUserChoseIsReadFromABrokenRecord) {
  base::Array many;
  for (int i = 0; i < 100'000; ++i) many.addObject(std::to_string(i));
  base::Array hollow;
  for (int i = 0; i < 200'000; ++i) hollow.addObject(base::Array());
  base::Dictionary nested{{"key", "list-entry"}};
  const std::string good = archiveWith(nested);
  const struct {
    const char* what;
    std::string bytes;
    bool keepsOtherLists;
  } cases[] = {
      {"a text for a number", archiveWith(nested, "soon"), true},
      {"an unknown class",
       replaced(good,
                "\x5c"
                "NSDictionary",
                "\x5cNSFictionary"),
       true},
      {"a marker of no object", replaced(good, "\x5alist-entry", "\xffx-entry-xx"), false},
      {"too many names", archiveWith(many), false},
      {"too many lists", archiveWith(hollow), false},
      {"too many bytes", archiveWith(std::string(9u << 20, 'x')), false},
  };
  for (const auto& [what, bytes, keepsOtherLists] : cases) {
    SCOPED_TRACE(what);
    files().setContents(path, bytes);
    lines();
    TWConfigManager manager;
    const bool isWhole = bytes.find("soon") != std::string::npos;
    EXPECT_EQ(lines().size(), isWhole ? 0u : 1u);
    EXPECT_FALSE(manager.isAccountActive());
    EXPECT_EQ(manager.isEventInstantFlushEvent("x"), keepsOtherLists);
    EXPECT_EQ(manager.getLogEntriesToken(), base::Value("t"));
    EXPECT_EQ(manager.getPeriodicSyncDuration(), isWhole ? 60 : 300);
    EXPECT_EQ(contents(), bytes) << "the file stays until it is written";
    manager.setUserInAppNotificationOptedOut(true);
    EXPECT_EQ(choices(), "yyy Europe");
    EXPECT_LT(contents()->size(), 2000u);
  }
}

TEST_F(ConfigArchive, AReplyThatIsTooLargeIsMergedButForWhatIsTooLarge) {
  const auto names = [](int count) {
    base::Array list;
    for (int i = 0; i < count; ++i) list.addObject(std::to_string(i));
    return list;
  };
  base::Array hollow;
  for (int i = 0; i < 5'000; ++i) hollow.addObject(base::Array());
  base::Value deep = base::Array();
  for (int i = 0; i < 600; ++i) deep = base::Array{deep};
  const struct {
    const char* what;
    base::Value value;
    bool fits;
  } cases[] = {
      {"as many names as may be", names(2'045), true},
      {"one more", names(2'046), false},
      {"a million names", names(1'000'000), false},
      {"hollow lists", hollow, false},
      {"a deep list", deep, false},
      {"a long name", base::Array{std::string(600'000, 'x')}, false},
  };
  for (const auto& [what, value, fits] : cases) {
    SCOPED_TRACE(what);
    TWConfigManager manager;
    manager.updateConfigFromResponse(base::Dictionary{{"src_ext", base::Array{"before"}}});
    lines();
    base::Dictionary reply{{"a_s", "blocked"}, {"e_b_c", 7}};
    for (const char* key : {"b_e", "f_e", "d_t_w_e"}) reply.setObject(names(2'045), key);
    reply.setObject(names(10'237), "b_uid_r");
    reply.setObject(value, "src_ext");
    manager.updateConfigFromResponse(reply);
    const Lines said = lines();
    EXPECT_EQ(std::count_if(said.begin(), said.end(),
                            [](const auto& line) { return line.find("src_ext is too large") != line.npos; }),
              fits ? 0 : 1);
    manager.setDataTrackingOptedOut(true);
    const TWConfigManager next;
    EXPECT_FALSE(next.isAccountActive());
    EXPECT_TRUE(next.tdwConfig()->dataTrackingOptedOut());
    EXPECT_TRUE(next.isEventBlackListed("2044"));
    EXPECT_TRUE(next.isUniqueIDRestricted("10236"));
    EXPECT_EQ(next.getEventBatchCount(), 7);
    EXPECT_EQ(next.getSourceExtraKeys(), fits ? value : base::Value(base::Array{"before"}));
  }
}

TEST_F(ConfigArchive, WhatCannotBeArchivedStaysOutOfTheFile) {
  TWConfigManager manager;
  manager.tdwConfig()->setLogEntriesToken(base::Value(base::BoxedPointer{}));
  lines();
  manager.setDataTrackingOptedOut(true);
  EXPECT_EQ(lines().size(), 1u);
  EXPECT_FALSE(manager.isDataTrackingEnabled());
  EXPECT_EQ(choices(), "yyn Europe");
  EXPECT_EQ(TWConfigManager().getLogEntriesToken(), base::Value("t")) << "the file keeps what it held";
  files().setLibraryPath(std::nullopt);
  manager.setUserInAppNotificationOptedOut(true);
  EXPECT_FALSE(manager.isUserInAppEnabled());
  EXPECT_EQ(manager.getFilePathForConfig(), std::nullopt);
}

}  // namespace
}  // namespace tidewell
