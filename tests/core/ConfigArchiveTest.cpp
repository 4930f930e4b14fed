// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <tuple>

#include "core/CoreFixture.h"
#include "tidewell/base/formats/KeyedArchive.h"

namespace tidewell {
namespace {

using testing::FileOperation;

const std::error_code kInputOutput = std::make_error_code(std::errc::io_error);
const std::error_code kNoSpace = std::make_error_code(std::errc::no_space_on_device);

/// The user's choices: "t", "p" and "i" are opt-outs of data tracking, push and in-app messages; the region.
std::string choiceText(bool tracking, bool push, bool inApp, const base::Value& region) {
  return std::string(tracking ? "t" : "-") + (push ? "p" : "-") + (inApp ? "i" : "-") + " " +
         region.description();
}

/// The same for the answers of a manager, and whether the account is blocked.
std::string stateOf(const TWConfigManager& manager) {
  static constexpr const char* kRegions[] = {"SERV3", "Europe", "Default"};
  const auto record = manager.tdwConfig();
  return choiceText(record->dataTrackingOptedOut(), record->userPushOptedOut(), record->userInAppOptedOut(),
                    kRegions[manager.getDataRedirectionRegion()]) +
         (manager.isAccountActive() ? "" : ", blocked");
}
/// The state that a new process would have.
std::string stateAfterStart() { return stateOf(TWConfigManager()); }

TEST(LateInstallationTest, LoadsTheArchiveAndKeepsWhatWasSetBefore) {
  const auto platform = std::make_shared<testing::TestingPlatform>();
  TWConfig record;
  record.setAccountStatus("blocked");
  record.setDataTrackingOptedOut(true);
  record.setDataRedirectionRegion("Europe");
  const auto library = platform->fileManager().pathForDirectory(platform::SearchPathDirectory::library);
  platform->testFiles().setContents(
      *library + "/Tidewell/TdwConfig",
      base::archivedDataWithRecord("TWConfig",
                                   [&](base::KeyedEncoder& encoder) { record.encodeWithCoder(encoder); }));
  TWConfigManager& manager = TWConfigManager::sharedInstance();
  manager.setUserPushNotificationOptedOut(true);
  EXPECT_EQ(stateOf(manager), "-p- Default");
  platform::Platform::install(platform);
  EXPECT_EQ(stateOf(manager), "tp- Europe, blocked");
  EXPECT_TRUE(manager.shouldSyncConfig());
  EXPECT_EQ(stateAfterStart(), "tp- Europe, blocked");
}

class ConfigArchiveTest : public CoreFixture {
 protected:
  ConfigArchiveTest() {
    TWConfigManager before;
    before.updateConfigFromResponse(
        base::JSONObjectWithData(R"({"a_s":"blocked","b_e":["x"],"le_tkn":"t"})"));
    before.setUserPushNotificationOptedOut(true);
    before.setDataRedirectionRegion(TWDataRegionEurope);
    path = *before.getFilePathForConfig();
    whole = *contents();
    TWLogger::debug(TWLogLevelDebug);
  }

  Text contents(const char* suffix = "") { return files().contents(path + suffix); }
  void fail(FileOperation operation, std::error_code error, std::size_t times) {
    files().failCall(operation, 1, error, times);
  }
  /// The number of files with pending changes beside the archive.
  std::ptrdiff_t waiting() {
    const Lines names = files().contentsOfDirectory(path.substr(0, path.rfind('/'))).names;
    return std::count_if(names.begin(), names.end(),
                         [](const auto& name) { return name.find(".change-") != std::string::npos; });
  }
  std::string archivedChoices() {
    std::string text;
    base::unarchiveRecord(*contents(), "TWConfig", [&](base::KeyedDecoder& archive) {
      text =
          choiceText(archive.decodeBoolForKey("d_t_opt_out"), archive.decodeBoolForKey("user_push_opt_out"),
                     archive.decodeBoolForKey("user_inapp_opt_out"), archive.decodeObjectForKey("d_r_r"));
    });
    return text;
  }

  std::string path;
  std::string whole;  // an archive with "-p- Europe, blocked"
};

TEST_F(ConfigArchiveTest, ATransientReadErrorAtStartLosesNoChoice) {
  fail(FileOperation::read, kInputOutput, 1);
  TWConfigManager manager;
  EXPECT_EQ(stateOf(manager), "--- Default");
  manager.setUserInAppNotificationOptedOut(true);
  EXPECT_EQ(stateAfterStart(), "-pi Europe, blocked");

  fail(FileOperation::read, kInputOutput, 1);
  TWConfigManager merging;
  merging.updateConfigFromResponse(base::Dictionary{{"le_tkn", "new"}});
  EXPECT_EQ(stateOf(merging), "-pi Europe") << "a merge replaces the server's settings only";

  lines();
  fail(FileOperation::list, kInputOutput, 1);
  EXPECT_EQ(stateAfterStart(), "-pi Europe");
  EXPECT_EQ(lines().size(), 1u) << "pending changes may have been missed";
}

TEST_F(ConfigArchiveTest, AnUnreadableArchiveIsSetAsideAndRecovered) {
  for (const bool choosesRegion : {false, true}) {
    files().setContents(path, whole);
    fail(FileOperation::read, kInputOutput, 2);
    TWConfigManager manager;
    if (choosesRegion) manager.setDataRedirectionRegion(TWDataRegionDefault);
    manager.setUserInAppNotificationOptedOut(true);
    const std::string region = choosesRegion ? "Default" : "Europe";
    if (!choosesRegion) {
      EXPECT_EQ(stateAfterStart(), "-pi Europe");
      const std::string newer = *contents();
      (void)files().removeItem(path);
      EXPECT_EQ(stateAfterStart(), "-p- Europe");
      files().setContents(path, newer);
    }
    manager.setDataTrackingOptedOut(false);
    EXPECT_EQ(stateOf(manager), "-pi " + region);
    EXPECT_EQ(contents(".corrupt"), whole);
    manager.setUserPushNotificationOptedOut(false);
    EXPECT_EQ(stateAfterStart(), "--i " + region) << "recovered only once";
  }
}

TEST_F(ConfigArchiveTest, AFileThatCannotBeReadOrMovedIsNotOverwritten) {
  const std::tuple<const char*, FileOperation, unsigned> cases[] = {
      {"cannot be moved", FileOperation::move, 2},
      {"cannot be written", FileOperation::replace, 2},
      {"full disk", FileOperation::replace, 0}};
  for (const auto& [fault, failing, failedReads] : cases) {
    SCOPED_TRACE(fault);
    files().setContents(path, whole);
    if (failedReads > 0) fail(FileOperation::read, kInputOutput, failedReads);
    TWConfigManager manager;
    lines();
    fail(failing, kNoSpace, 1);
    manager.setDataTrackingOptedOut(true);
    EXPECT_TRUE(manager.tdwConfig()->dataTrackingOptedOut());
    EXPECT_EQ(contents(), whole);
    EXPECT_FALSE(lines().empty());
    if (failing == FileOperation::replace) fail(failing, kNoSpace, 1);
    (void)manager.shouldSyncConfig();
    EXPECT_TRUE(lines().empty()) << "each cause is reported once";
    (void)manager.shouldSyncConfig();  // writes what could not be written before
    EXPECT_EQ(stateAfterStart().substr(0, 3), "tp-");
  }
}

// tests/life covers concurrent processes and locks held by others.
TEST_F(ConfigArchiveTest, OwnChoicesAndTheHostsRecordTakePrecedence) {
  TWConfigManager one, other;
  one.setDataTrackingOptedOut(true);
  other.updateConfigFromResponse({});
  EXPECT_EQ(stateOf(other), "tp- Europe");
  one.setDataRedirectionRegion(TWDataRegionServ3);
  EXPECT_EQ(stateOf(one), "tp- SERV3, blocked") << "the server's settings are per process";
  other.setDataTrackingOptedOut(false);
  EXPECT_EQ(stateAfterStart(), "-p- SERV3") << "a process may change its own choice";

  const auto record = std::make_shared<TWConfig>();
  record->setUserInAppOptedOut(true);
  one.setTdwConfig(record);  // counts as chosen by this process
  one.setDataTrackingOptedOut(true);
  EXPECT_EQ(stateOf(one), "t-i Default");
  EXPECT_EQ(archivedChoices(), "t-i Default");
}

TEST_F(ConfigArchiveTest, ChangesPendingForTheLockAreMergedInOrder) {
  auto held = files().lockForPath(path).lock;
  TWConfigManager manager;
  lines();
  manager.setDataTrackingOptedOut(true);
  TWConfigManager().setUserInAppNotificationOptedOut(true);
  manager.setDataTrackingOptedOut(false);
  (void)manager.shouldSyncConfig();
  EXPECT_EQ(lines().size(), 2u) << "one per process";
  EXPECT_EQ(contents(), whole);
  EXPECT_EQ(waiting(), 2) << "a later change replaces an earlier one of the same process";
  held.reset();
  (void)TWConfigManager().shouldSyncConfig();
  EXPECT_EQ(archivedChoices(), "-pi Europe");
  EXPECT_EQ(waiting(), 0);
  // The lock's holder may be about to replace an undecodable archive.
  held = files().lockForPath(path).lock;
  files().setContents(path, "no archive");
  (void)TWConfigManager().shouldSyncConfig();
  EXPECT_EQ(contents(), "no archive");
  (void)files().removeItem(path);
  TWConfigManager().setDataTrackingOptedOut(true);
  EXPECT_EQ(stateAfterStart(), "t-- Default") << "no archive has been written yet";
}

TEST_F(ConfigArchiveTest, AChoiceMadeBetweenTheStepsOfAWriteIsKept) {
  for (const FileOperation step : {FileOperation::lock, FileOperation::read, FileOperation::list,
                                   FileOperation::replace, FileOperation::remove, FileOperation::move}) {
    SCOPED_TRACE(static_cast<int>(step));
    files().setContents(path, whole);
    {
      const auto held = files().lockForPath(path).lock;
      TWConfigManager().setUserInAppNotificationOptedOut(true);  // pending, so that a file has to be removed
    }
    TWConfigManager holder;
    std::unique_ptr<TWConfigManager> other;
    files().setHook([&](FileOperation operation, const std::string&) {
      if (operation != step || other) return;
      other = std::make_unique<TWConfigManager>();
      other->setDataTrackingOptedOut(true);
    });
    holder.setUserPushNotificationOptedOut(false);
    files().setHook(nullptr);
    EXPECT_EQ(other == nullptr, step == FileOperation::move) << "a write moves no file";
    if (!other) continue;
    EXPECT_EQ(archivedChoices(), "t-i Europe");
    EXPECT_EQ(waiting(), 0);
    EXPECT_TRUE(holder.tdwConfig()->dataTrackingOptedOut());
  }
}

base::Array numbered(int count) {
  base::Array list;
  for (int i = 0; i < count; ++i) list.addObject(std::to_string(i));
  return list;
}
base::Array emptyLists(int count) {
  base::Array list;
  for (int i = 0; i < count; ++i) list.addObject(base::Array());
  return list;
}
base::Value nestedLists(int depth) {
  base::Value list = base::Array();
  for (int i = 1; i < depth; ++i) list = base::Array{list};
  return list;
}

/// An archive of "tp- Europe, blocked" with a text for a boolean, a token and this list.
std::string archiveWith(const base::Value& list, const base::Value& interval = 300) {
  return base::archivedDataWithRecord("TWConfig", [&](base::KeyedEncoder& encoder) {
    for (const auto& [key, value] : base::Dictionary{{"a_s", "blocked"},
                                                     {"f_e", base::Array{"x"}},
                                                     {"b_e", list},
                                                     {"p_f_t", interval},
                                                     {"user_inapp_opt_out", "YES"},
                                                     {"d_r_r", "Europe"},
                                                     {"le_tkn", "t"}})
      encoder.encodeObject(value, key);
    for (const char* key : {"d_t_opt_out", "user_push_opt_out"}) encoder.encodeBool(true, key);
  });
}

std::string replaced(std::string text, std::string_view what, std::string_view with) {
  return text.replace(text.find(what), what.size(), with);
}

TEST_F(ConfigArchiveTest, TheUsersChoicesAreReadFromABrokenRecord) {
  const base::Dictionary nested{{"key", "list-entry"}};
  const std::string good = archiveWith(nested);
  const std::tuple<const char*, std::string, bool> cases[] = {
      // whether other lists are kept
      {"a text for a number", archiveWith(nested, "soon"), true},
      {"an unknown class", replaced(good, "\x5cNSDict", "\x5cNSFict"), true},
      {"an invalid marker", replaced(good, "\x5alist-entry", "\xffx-entry-xx"), false},
      {"too many lists", archiveWith(emptyLists(200'000)), false},
      {"too many bytes", archiveWith(std::string(9u << 20, 'x')), false},
  };
  for (const auto& [what, bytes, keepsOtherLists] : cases) {
    SCOPED_TRACE(what);
    files().setContents(path, bytes);
    lines();
    TWConfigManager manager;
    const bool isWhole = bytes.find("soon") != std::string::npos;
    EXPECT_EQ(lines().size(), isWhole ? 0u : 1u);
    EXPECT_EQ(stateOf(manager), "tp- Europe, blocked");
    EXPECT_EQ(manager.isEventInstantFlushEvent("x"), keepsOtherLists);
    EXPECT_EQ(manager.getLogEntriesToken(), base::Value("t"));
    EXPECT_EQ(manager.getPeriodicSyncDuration(), isWhole ? 60 : 300);
    EXPECT_EQ(contents(), bytes) << "kept until the next write";
    manager.setUserInAppNotificationOptedOut(true);
    EXPECT_EQ(archivedChoices(), "tpi Europe");
    EXPECT_LT(contents()->size(), 2000u);
  }
}

TEST_F(ConfigArchiveTest, AListThatIsTooLargeIsNotMerged) {
  const std::tuple<const char*, base::Value, bool> cases[] = {
      {"the largest count of names", numbered(2'045), true},
      {"one name more", numbered(2'046), false},
      {"empty lists", emptyLists(5'000), false},
      {"the deepest list", nestedLists(500), true},
      {"one level more", nestedLists(501), false},
      {"a long name", base::Array{std::string(600'000, 'x')}, false},
  };
  for (const auto& [what, value, fits] : cases) {
    SCOPED_TRACE(what);
    TWConfigManager manager;
    manager.updateConfigFromResponse(base::Dictionary{{"src_ext", base::Array{"before"}}});
    lines();
    base::Dictionary reply{{"a_s", "blocked"}, {"e_b_c", 7}, {"src_ext", value}};
    for (const char* key : {"b_e", "f_e", "d_t_w_e"}) reply.setObject(numbered(2'045), key);
    reply.setObject(numbered(10'237), "b_uid_r");
    manager.updateConfigFromResponse(reply);
    const Lines logged = lines();
    EXPECT_EQ(std::count_if(logged.begin(), logged.end(),
                            [](const auto& line) { return line.find("src_ext is too large") != line.npos; }),
              fits ? 0 : 1);
    manager.setDataTrackingOptedOut(true);
    const TWConfigManager next;
    EXPECT_EQ(stateOf(next), "tp- Europe, blocked");
    EXPECT_TRUE(next.isEventBlackListed("2044"));
    EXPECT_TRUE(next.isUniqueIDRestricted("10236"));
    EXPECT_EQ(next.getEventBatchCount(), 7);
    EXPECT_EQ(next.getSourceExtraKeys(), fits ? value : base::Value(base::Array{"before"}));
  }
}

TEST_F(ConfigArchiveTest, AValueThatCannotBeArchivedStaysInMemory) {
  TWConfigManager manager;
  manager.tdwConfig()->setLogEntriesToken(base::Value(base::BoxedPointer{}));
  lines();
  manager.setDataTrackingOptedOut(true);
  EXPECT_EQ(lines().size(), 1u);
  EXPECT_EQ(stateOf(manager), "tp- Europe, blocked");
  EXPECT_EQ(archivedChoices(), "tp- Europe");
  EXPECT_EQ(TWConfigManager().getLogEntriesToken(), base::Value("t")) << "the file keeps its value";
}

}  // namespace
}  // namespace tidewell
