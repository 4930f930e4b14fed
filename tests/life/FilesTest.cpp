#include <sched.h>
#include <sys/mount.h>

#include "life/LifeTest.h"
#include "tidewell/base/formats/KeyedArchive.h"

namespace tidewell::life {
namespace {

class FilesTest : public LifeTest {
 protected:
  /// Brings the data of a first life back.
  void restore() {
    if (!fs::exists(folder + "/seed")) {
      firstLife();
      fs::copy(data, folder + "/seed", fs::copy_options::recursive);
    }
    fs::remove_all(data);
    fs::copy(folder + "/seed", data, fs::copy_options::recursive);
  }
};

/// A start with this in place of the archive answers defaults, sends no request, and keeps later opt-outs.
TEST_F(FilesTest, AnArchiveThatCannotBeDecodedIsKeptAside) {
  restore();
  const std::string whole = bytesOf(archive);
  ASSERT_GT(whole.size(), 500u);
  const std::pair<const char*, std::string> contents[] = {
      {"empty", ""},
      {"another root", base::archivedDataWithRootObject(base::Dictionary{{"e_b_c", 5}})},
      {"a property list", bytesOf(defaults)},
      {"noise before a trailer",
       "bplist00" + std::string(whole.size() - 40, '\x5A') + whole.substr(whole.size() - 32)},
      {"a half", whole.substr(0, whole.size() / 2)},
      {"all but one byte", whole.substr(0, whole.size() - 1)},
  };
  for (const auto& [name, bytes] : contents) {
    SCOPED_TRACE(name);
    restore();
    writeFile(archive, bytes);
    Child app = host();
    EXPECT_EQ(app.ask("answers"), kDefaultAnswers);
    EXPECT_EQ(count(app.errors(), kKeptAside), 1);
    EXPECT_EQ(sync(app, "start A"), "none");
    EXPECT_EQ(bytesOf(archive + ".corrupt"), bytes);
    EXPECT_FALSE(fs::exists(archive));
    app.ask("opt-out-push");
    EXPECT_EQ(host({"answers"}).end().out.substr(0, 13), R"(["yynnnynyny")");
  }
}

TEST_F(FilesTest, WhatIsNoFileStopsNoStart) {
  for (const std::string kind : {"mkdir -p $P/inside", "mkfifo $P", "ln -s $P $P", "ln -s /dev/zero $P"}) {
    for (const std::string& each : {archive, defaults, archive + ".lock", defaults + ".lock",
                                    fs::path(archive).parent_path().string(), container}) {
      SCOPED_TRACE(kind + " in place of " + each.substr(data.size()));
      restore();
      ASSERT_EQ(system(("P='" + each + "'; rm -rf $P; " + kind).c_str()), 0);
      Child app = host();
      const std::string answers = app.ask("answers");
      EXPECT_TRUE(answers == kDefaultAnswers || answers == kConfigurationAnswers) << answers;
      sync(app, "start A");
      app.ask("reset");
      EXPECT_EQ(sync(app, "update"), "synced");
      EXPECT_EQ(app.ask("answers"), kConfigurationAnswers);
      EXPECT_EQ(app.end().status, 0);
    }
  }
}

TEST_F(FilesTest, AFullOrReadOnlyDiskLeavesMemoryRightAndTheOldFileWhole) {
  fs::create_directories(data);
  // A file system that this test and its hosts see.
  if (unshare(CLONE_NEWNS) != 0 || mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
      mount("tmpfs", data.c_str(), "tmpfs", 0, "size=256k") != 0) {
    GTEST_SKIP() << "this machine does not let the test mount a file system";
  }
  const auto remount = [&](unsigned long flags) {
    ASSERT_EQ(mount("tmpfs", data.c_str(), "tmpfs", MS_REMOUNT | flags, ""), 0);
  };
  for (const bool isReadOnly : {false, true}) {
    for (const bool isFirst : {true, false}) {
      SCOPED_TRACE(std::string(isReadOnly ? "read-only" : "full") + (isFirst ? ", first start" : ", later"));
      for (const auto& entry : fs::directory_iterator(data)) fs::remove_all(entry);
      if (!isFirst) firstLife();
      if (isReadOnly) remount(MS_RDONLY);
      if (!isReadOnly) writeFile(data + "/filler", std::string(1 << 20, 'x'));
      const std::string before = bytesOf(archive);
      for (const bool isFaulty : {true, false}) {
        backend.setConfiguration(isFaulty ? R"({"e_b_c": 5})" : kConfiguration);
        Child app = host();
        EXPECT_EQ(app.ask("answers"), isFirst ? kDefaultAnswers : kConfigurationAnswers);
        EXPECT_EQ(sync(app, "start A"), isFirst ? "synced" : "none");
        app.ask("reset");
        EXPECT_EQ(sync(app, "update"), "synced");
        EXPECT_EQ(app.ask("batch"), isFaulty ? "5" : "50");
        EXPECT_EQ(sync(app, "update"), "none");
        EXPECT_EQ(app.ask("call 1").substr(0, 3), "yes");
        EXPECT_EQ(app.end().status, 0);
        EXPECT_TRUE(!isFaulty || bytesOf(archive) == before);
        if (isReadOnly) remount(0);
        fs::remove(data + "/filler");
      }
    }
  }
  EXPECT_EQ(umount(data.c_str()), 0);
}

}  // namespace
}  // namespace tidewell::life
