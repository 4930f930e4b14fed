#include <sched.h>
#include <sys/mount.h>

#include <functional>
#include <random>

#include "life/LifeTest.h"
#include "tidewell/base/formats/KeyedArchive.h"

namespace tidewell::life {
namespace {

namespace fs = std::filesystem;

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
  /// A file system of its own in place of the data folder, seen by this test and the applications it starts.
  bool mountData(const char* options) {
    fs::create_directories(data);
    return unshare(CLONE_NEWNS) == 0 && mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
           mount("tmpfs", data.c_str(), "tmpfs", 0, options) == 0;
  }
};

std::string noise(std::size_t size) {
  std::mt19937 random(static_cast<unsigned>(size));
  std::string bytes(size, '\0');
  for (char& each : bytes) each = static_cast<char>(random());
  return bytes;
}

/// A start with this in place of the archive answers defaults, asks the server nothing, and keeps what the
/// user says from then on.
TEST_F(FilesTest, AnArchiveThatCannotBeReadIsKeptAsideAndNeverStopsAStart) {
  restore();
  const std::string whole = bytesOf(archive);
  ASSERT_GT(whole.size(), 500u);
  const std::pair<const char*, std::string> contents[] = {
      {"nothing", ""},
      {"another root", base::archivedDataWithRootObject(base::Dictionary{{"e_b_c", 5}})},
      {"a property list", bytesOf(defaults)},
      {"noise before a trailer", "bplist00" + noise(whole.size() - 40) + whole.substr(whole.size() - 32)},
      {"a half", whole.substr(0, whole.size() / 2)},
      {"all but one byte", whole.substr(0, whole.size() - 1)},
  };
  for (const auto& [name, bytes] : contents) {
    SCOPED_TRACE(name);
    restore();
    writeFile(archive, bytes);
    {
      App app(backend, environment());
      EXPECT_EQ(app.ask("answers"), kDefaultAnswers);
      EXPECT_EQ(app.ask("count kept aside"), "1");
      EXPECT_EQ(app.ask("start A"), "none");
      EXPECT_EQ(bytesOf(archive + ".corrupt"), bytes);
      EXPECT_FALSE(fs::exists(archive));
      app.ask("opt-out-push");
      EXPECT_EQ(app.end(), 0);
    }
    EXPECT_EQ(App(backend, environment()).ask("answers").substr(0, 13), R"(["yynnnynyny")");
  }
}

TEST_F(FilesTest, WhatIsNoFileStopsNoStart) {
  const std::vector<std::pair<const char*, std::function<void(const std::string&)>>> kinds{
      {"a folder", [](auto& path) { fs::create_directories(path + "/inside"); }},
      {"a FIFO", [](auto& path) { ASSERT_EQ(mkfifo(path.c_str(), 0600), 0); }},
      {"a link to itself", [](auto& path) { fs::create_symlink(path, path); }},
      {"a link to a device", [](auto& path) { fs::create_symlink("/dev/zero", path); }},
  };
  for (const auto& [kind, make] : kinds) {
    for (const auto& each : {archive, defaults, archive + ".lock", defaults + ".lock",
                             fs::path(archive).parent_path().string(), container}) {
      SCOPED_TRACE(std::string(kind) + " in place of " + each.substr(data.size()));
      restore();
      fs::remove_all(each);
      make(each);
      App app(backend, environment());
      const std::string answers = app.ask("answers");
      EXPECT_TRUE(answers == kDefaultAnswers || answers == kConfigurationAnswers) << answers;
      app.ask("start A");
      app.ask("reset");
      EXPECT_EQ(app.ask("update"), "synced");
      EXPECT_EQ(app.ask("answers"), kConfigurationAnswers);
      EXPECT_EQ(app.end(), 0);
    }
  }
}

TEST_F(FilesTest, AHomeThatIsMissingIsNotMadeAndTheSdkWorksInMemory) {
  auto without = environment();
  without[0] = "HOME=" + folder + "/missing";
  App app(backend, without);
  EXPECT_EQ(app.ask("answers"), kDefaultAnswers);
  EXPECT_EQ(app.ask("start A"), "synced");
  EXPECT_EQ(app.ask("answers"), kConfigurationAnswers);
  EXPECT_EQ(app.ask("update"), "none");
  EXPECT_EQ(app.end(), 0);
  EXPECT_TRUE(fs::is_empty(folder));
}

TEST_F(FilesTest, AFullOrReadOnlyDiskLeavesMemoryRightAndTheOldFileWhole) {
  if (!mountData("size=256k")) GTEST_SKIP() << "this machine does not let the test mount a file system";
  const std::string filler = data + "/filler";
  const auto setReadOnly = [&](bool on) {
    ASSERT_EQ(mount("tmpfs", data.c_str(), "tmpfs", MS_REMOUNT | (on ? MS_RDONLY : 0), ""), 0);
  };
  for (const bool isReadOnly : {false, true}) {
    for (const bool isFirstStart : {true, false}) {
      SCOPED_TRACE(std::string(isReadOnly ? "read-only" : "full") +
                   (isFirstStart ? ", first start" : ", later"));
      for (const auto& entry : fs::directory_iterator(data)) fs::remove_all(entry);
      if (!isFirstStart) firstLife();
      if (isReadOnly) {
        setReadOnly(true);
      } else {
        writeFile(filler, std::string(1 << 20, 'x'));
      }
      const std::string before = bytesOf(archive);
      backend.setConfiguration(R"({"e_b_c": 5})");
      {
        App app(backend, environment());
        EXPECT_EQ(app.ask("answers"), isFirstStart ? kDefaultAnswers : kConfigurationAnswers);
        EXPECT_EQ(app.ask("start A"), isFirstStart ? "synced" : "none");
        app.ask("reset");
        EXPECT_EQ(app.ask("update"), "synced");
        EXPECT_EQ(app.ask("batch"), "5");
        EXPECT_EQ(app.ask("update"), "none");
        EXPECT_EQ(app.ask("call 1").substr(0, 3), "yes");
        EXPECT_EQ(app.end(), 0);
      }
      EXPECT_EQ(bytesOf(archive), before);
      if (isReadOnly) setReadOnly(false);
      fs::remove(filler);
      backend.setConfiguration(kConfiguration);
      App app(backend, environment());
      EXPECT_EQ(app.ask("answers"), isFirstStart ? kDefaultAnswers : kConfigurationAnswers);
      EXPECT_EQ(app.ask("start A"), isFirstStart ? "synced" : "none");
    }
  }
  EXPECT_EQ(umount(data.c_str()), 0);
}

}  // namespace
}  // namespace tidewell::life
