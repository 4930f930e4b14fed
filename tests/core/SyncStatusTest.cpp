// SPDX-License-Identifier: Apache-2.0
#include <array>
#include <atomic>
#include <stdexcept>
#include <thread>

#include "SyncText.h"
#include "core/CoreFixture.h"
#include "tidewell/base/formats/PropertyList.h"
#include "tidewell/core/TidewellCore.h"

namespace tidewell {
namespace {

using std::chrono::hours;
using std::chrono::milliseconds;
using testing::ScriptedNetwork;

class SyncStatusTest : public CoreFixture {
 protected:
  SyncStatusTest() {
    core.userReset();
    path = *TWCoreUtils::getSDKLibraryDirectoryPath() + "/TdwSync";
  }

  std::string text() { return textOf(core.syncStatus()); }
  /// Begins a sync, and runs the global queue, which stores the status.
  void begin() {
    core.userReset();
    core.updateConfig();
    platform->testGlobalQueue().runAll();
  }
  void sync(const platform::UrlTaskResult& result) {
    begin();
    EXPECT_TRUE(platform->testNetwork().answer(result));
    runUntilIdle();
  }
  /// The status that a new process finds.
  std::string textAfterStart() {
    platform = platform->restart();
    return text();
  }
  /// The results in the file: how many, and the outcomes of the last two.
  std::string history() {
    const base::Value file = base::propertyListWithData(*files().contents(path));
    const base::Value all = file.dictionary()->objectForKey("history");
    const auto outcome = [](const base::Value& past) {
      return past.dictionary()->objectForKey("outcome").description();
    };
    return std::to_string(all.array()->count()) + ": " + outcome(*(all.array()->end() - 2)) + ", " +
           outcome(*(all.array()->end() - 1));
  }
  double now() { return platform->clock().now().secondsSince1970; }

  TidewellCore& core = TidewellCore::sharedInstance();
  std::string path;
};

TEST_F(SyncStatusTest, EveryResultIsReportedAndKeptForTheNextProcess) {
  const std::pair<platform::UrlTaskResult, const char*> kResults[] = {
      {ScriptedNetwork::reply(200, R"({"a_s":"blocked"})"), "synced 200"},
      {ScriptedNetwork::reply(200), "unusable reply 200: empty"},
      {ScriptedNetwork::reply(200, "<html>Sign in</html>"), "unusable reply 200: not JSON"},
      {ScriptedNetwork::reply(200, "[{}]"), "unusable reply 200: not an object"},
      {ScriptedNetwork::reply(200, R"({"a_s":"x","p_f_t":[]})"), "merge stopped 200: p_f_t"},
      {ScriptedNetwork::reply(503, "{}"), "failed 503: HTTP status 503"},
      {ScriptedNetwork::failure(-1001, "timed out"), "failed: timed out (-1001)"},
      {ScriptedNetwork::failure(-1001, std::string(511, 'x') + "\u00e9\u00e9"),
       "failed: " /* cut between characters in the file */}};
  EXPECT_EQ(text(), "never tried");
  std::string before = "never tried";
  std::optional<base::Date> success;
  for (const auto& [result, expected] : kResults) {
    begin();
    EXPECT_EQ(text(), before == "never tried" ? "in flight, never tried" : "in flight, " + before);
    EXPECT_EQ(core.syncStatus().lastAttempt(), platform->clock().now());
    platform->testClock().advance(2);
    ASSERT_TRUE(platform->testNetwork().answer(result));
    runUntilIdle();
    if (text() == "synced 200") success = platform->clock().now();
    EXPECT_EQ(text().substr(0, std::string(expected).size()), expected);
    const SyncStatus ended = core.syncStatus();
    EXPECT_EQ(ended.nextDue().has_value(), stored("CONFIG_LAST_UPDATED").date() != nullptr);
    platform->testClock().advance(1);
    before = textAfterStart();
    EXPECT_EQ(before.substr(0, std::string(expected).size()), expected);
    EXPECT_EQ(before.find('\xc3'), before.npos);
    const SyncStatus kept = core.syncStatus();
    EXPECT_EQ(kept.lastSuccess(), success);
    EXPECT_EQ(kept.lastAttempt(), ended.lastAttempt());
    EXPECT_EQ(kept.nextDue(), ended.nextDue());
  }
  EXPECT_EQ(history(), "8: failed, failed");
  for (int i = 0; i < 43; ++i) sync(ScriptedNetwork::reply(200, std::string(i == 42 ? 2 : 0, '{')));
  EXPECT_EQ(history(), "50: unusable reply, unusable reply") << "the oldest results are gone";
  begin();
  (void)textAfterStart();
  sync(ScriptedNetwork::reply(200, "{}"));
  EXPECT_EQ(history(), "50: failed, synced") << "one process ended too early";
}

TEST_F(SyncStatusTest, ASyncThatIsNotDueLeavesTheLastResult) {
  sync(ScriptedNetwork::reply(200, "{}"));
  core.updateConfig();
  EXPECT_EQ(text(), "not due, synced 200");
  EXPECT_EQ(core.syncStatus().nextDue(), base::Date{now() + 3600});
  EXPECT_EQ(textAfterStart(), "synced 200");
  core.updateConfig();
  platform->testClock().advance(60);
  EXPECT_EQ(text(), "not due, synced 200");
  EXPECT_EQ(core.syncStatus().nextDue(), base::Date{now() + 3540});
  core.userReset();
  EXPECT_EQ(core.syncStatus().nextDue(), std::nullopt);
  EXPECT_EQ(files().count(testing::FileOperation::replace), 4u)
      << "the archive, the origins, and two states of the sync";
}

TEST_F(SyncStatusTest, RequestsWithoutAResultAreNotInFlightForever) {
  begin();
  begin();
  EXPECT_EQ(text(), "in flight, never tried");
  EXPECT_TRUE(platform->testNetwork().answer(ScriptedNetwork::failure(-1009, "offline")));
  runUntilIdle();
  EXPECT_EQ(text(), "in flight, failed: offline (-1009)") << "the second one";
  const auto dying = platform;
  EXPECT_EQ(textAfterStart().substr(0, 30), "failed: no result was stored: ");
  begin();
  dying->testNetwork().answer(ScriptedNetwork::reply(200, "{}"));
  dying->runUntilIdle();
  platform->testMainQueue().runAll();  // has the completion
  EXPECT_EQ(text().substr(0, 19), "in flight, failed: ") << "a reply to the process that has ended";
}

TEST_F(SyncStatusTest, AFileThatCannotBeReadCountsAsNoneAndIsKeptAside) {
  sync(ScriptedNetwork::reply(200, "{}"));
  const std::string whole = *files().contents(path);
  const auto file = [](const base::Value& version, const base::Value& last) {
    return base::dataWithPropertyList(base::Dictionary{{"version", version}, {"last", last}},
                                      base::PropertyListFormat::binary);
  };
  const auto withHistory = [](const base::Value& history) {
    return base::dataWithPropertyList(
        base::Dictionary{
            {"version", 1}, {"last", base::Dictionary{{"outcome", "synced"}}}, {"history", history}},
        base::PropertyListFormat::binary);
  };
  const auto entry = [&](std::string_view key, const base::Value& value) {
    return file(1, base::Dictionary{{"outcome", "synced"}, {key, value}});
  };
  core.debug(TWLogLevelDebug);
  for (const std::string& bytes :
       {std::string(), std::string("junk"), whole.substr(0, whole.size() - 1),
        whole + std::string(70'000, 'x'), file(2, base::Dictionary{{"outcome", "synced"}}), file(1, "synced"),
        file(1, base::Dictionary()), file(1, base::Dictionary{{"outcome", "in flight"}}),
        entry("success", "now"), entry("detail", 7), entry("detail", std::string(513, 'x')),
        entry("httpStatus", std::int64_t{1} << 40), withHistory("none"),
        withHistory(base::Array{base::Dictionary{{"time", base::Date{1}}}}),
        withHistory(base::Array{base::Dictionary{{"outcome", "failed"}}})}) {
    files().setContents(path, bytes);
    EXPECT_EQ(textAfterStart(), "never tried") << bytes.substr(0, 100);
    EXPECT_EQ(files().contents(path), bytes) << "a question writes nothing";
    lines();
    begin();
    EXPECT_EQ(files().contents(path + ".corrupt"), bytes);
    const Lines logged = lines();
    EXPECT_EQ(logged.back(),
              "Tidewell - The status of syncs cannot be read and is kept aside as TdwSync.corrupt");
  }
  files().setContents(path, whole);
  files().failCall(testing::FileOperation::read, 1, std::make_error_code(std::errc::io_error));
  EXPECT_EQ(textAfterStart(), "never tried");
  EXPECT_EQ(text(), "synced 200") << "it was unreadable for a moment";
  for (const auto operation : {testing::FileOperation::move, testing::FileOperation::replace}) {
    files().setContents(path, "junk");
    (void)textAfterStart();
    files().failCall(operation, 1, std::make_error_code(std::errc::no_space_on_device));
    begin();
    EXPECT_EQ(files().contents(path), operation == testing::FileOperation::move ? Text("junk") : Text());
    EXPECT_TRUE(lines().back().ends_with(": No space left on device"));
  }
}

TEST_F(SyncStatusTest, ObserversAreCalledOnTheMainQueueUntilTheirTokenIsGone) {
  Lines calls;
  SyncObservation second, later;
  const auto note = [&](const char* name) {
    return [this, name, &calls](const SyncStatus& status) {
      EXPECT_TRUE(platform->testMainQueue().isCurrent());
      EXPECT_EQ(text(), textOf(status));
      calls.push_back(std::string(name) + " " + textOf(status.outcome()));
    };
  };
  SyncObservation first = core.observeSync([&](const SyncStatus& status) {
    note("first")(status);
    second = {};
    if (status.outcome() == SyncOutcome::inFlight) later = core.observeSync(note("later"));
    throw std::runtime_error("from an observer");
  });
  second = core.observeSync(note("second"));
  SyncObservation own;
  own = core.observeSync([&, hold = std::make_shared<int>()](const SyncStatus& status) {
    note("own")(status);
    own = {};
  });
  const SyncObservation nothing = core.observeSync(nullptr);
  sync(ScriptedNetwork::failure(-1001, "timed out"));
  EXPECT_EQ(calls, (Lines{"first in flight", "own in flight", "first failed", "later failed"}));
  calls.clear();
  core.updateConfig();
  platform->testMainQueue().runAll();
  const SyncObservation moved = std::move(first);
  platform->testNetwork().answer(ScriptedNetwork::reply(200, "{}"));
  runUntilIdle();
  EXPECT_EQ(calls, (Lines{"first in flight", "first synced", "later synced"}));
}

TEST_F(SyncStatusTest, AWaitEndsWithTheSyncAndItsWriteButNeverOnAQueueThatItNeeds) {
  EXPECT_FALSE(core.waitForSync(hours(1)).timedOut()) << "nothing is in flight";
  begin();
  EXPECT_TRUE(core.waitForSync(milliseconds(-1)).timedOut());
  int refused = 0;
  for (auto* queue :
       {&platform->testMainQueue(), &platform->testGlobalQueue(), &platform->testSessionQueue()}) {
    queue->async([&] {
      const SyncWait wait = core.waitForSync(hours(1));
      refused += wait.error() && wait.error()->code == EDEADLK && !wait.timedOut();
    });
    queue->runAll();
  }
  EXPECT_EQ(refused, 3);
  std::array<std::thread, 8> threads;
  std::atomic<int> asked{0}, ended{0};
  for (std::thread& thread : threads) {
    thread = std::thread([&] {
      const SyncObservation observation = core.observeSync([](const SyncStatus&) {});
      asked += core.syncStatus().outcome() == SyncOutcome::inFlight;
      const SyncWait wait = core.waitForSync(hours(1));
      ended += !wait.timedOut() && !wait.error() && files().contents(path) &&
               textOf(wait.status()) == "synced 200";
    });
  }
  while (asked < 8) std::this_thread::yield();
  platform->testNetwork().answer(ScriptedNetwork::reply(200, "{}"));
  runUntilIdle();
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(ended, 8);
}

}  // namespace
}  // namespace tidewell
