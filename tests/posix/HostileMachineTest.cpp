// SPDX-License-Identifier: Apache-2.0
#include <sys/file.h>

#include "posix/PosixTest.h"
#include "tidewell/base/formats/PropertyList.h"

// Unexpected files, locks and permissions, and system calls that fail.
namespace tidewell::posix {
namespace {

using base::Value;
using platform::UserDefaults;

class HostileMachineTest : public PosixTest {
 protected:
  const std::string archive = container + "/Library/archive";

  /// Changes each of the three stores. Returns how many changes reached the disk.
  int change(PosixPlatform& platform, const std::string& value) const {
    platform.standardUserDefaults().setObject(value, "key");
    int kept = platform.standardUserDefaults().synchronize() ? 1 : 0;
    EXPECT_EQ(platform.standardUserDefaults().objectForKey("key"), Value(value));
    kept += platform.keychain().itemAdd({{platform::kSecClass, platform::kSecClassGenericPassword},
                                         {platform::kSecAttrService, value},
                                         {platform::kSecValueData, base::Data(value)}}) ==
            platform::errSecSuccess;
    static_cast<void>(platform.fileManager().pathForDirectory(platform::SearchPathDirectory::library));
    static_cast<void>(platform.fileManager().lockForPath(archive));
    return kept + (platform.fileManager().replaceFile(archive, value) ? 0 : 1);
  }
};

TEST_F(HostileMachineTest, UnsafeFilesAndFoldersAreNeitherReadNorWritten) {
  struct Case {
    std::string fault;  // a shell command; $0 is the path
    std::string path, reason;
    int kept;  // of the three stores
  };
  const std::string writable = "chmod 777 $0", foreign = "chown -h 54321:54321 $0";
  const std::string link = "mv $0 $0.away && ln -s $0.away $0", elsewhere = folder + "/elsewhere";
  const Case cases[] = {
      {writable, container, "may write", 1},
      {writable, container + "/Library/Preferences", "may write", 2},
      {writable, domain, "may write", 2},
      {writable, keychainFile, "may write", 2},
      {foreign, container, "another user", 1},
      {foreign, domain, "another user", 2},
      {foreign, data + "/.tidewell-keychain", "another user", 2},
      {link + " && " + foreign, container, "another user", 1},
      {link, domain, "symbolic link", 2},
      {link, archive, "", 2},
      {link, container, "", 3},  // the user's own choice
      {writable, data, "", 3},
      {"rm $0 && mkdir $0", archive + ".lock", "from writing " + archive + " at", 3},
      {"rm $0 && mkfifo $0", domain + ".lock", "lock is no regular file", 3},
      {"rm $0 && ln -s " + elsewhere + " $0", keychainFile + ".lock", "lock is no regular file", 3},
  };
  for (const Case& each : cases) {
    SCOPED_TRACE(each.fault + " " + each.path);
    if (geteuid() != 0 && each.fault.find("chown") != std::string::npos) continue;
    std::filesystem::remove_all(data);
    PosixPlatform before(options());
    ASSERT_EQ(change(before, "old"), 3);
    ASSERT_EQ(std::system(("sh -c '" + each.fault + "' '" + each.path + "'").c_str()), 0);
    clearReports();
    PosixPlatform platform(options());
    const Value found = platform.standardUserDefaults().objectForKey("key");
    EXPECT_TRUE(found.isNil() || found == Value("old"));
    for (const char* value : {"new", "newer"}) ASSERT_EQ(change(platform, value), each.kept);
    EXPECT_TRUE(each.reason.empty() || eventually([&] { return countReports(each.reason) > 0; }));
    EXPECT_LE(countReports(domain), 2u) << "one for reading and one for writing";
    EXPECT_FALSE(std::filesystem::exists(elsewhere));
    if (each.kept == 3) continue;
    for (const std::string& path : {each.path, each.path + ".away"}) {
      EXPECT_TRUE(std::filesystem::is_directory(path) || bytesOf(path).find("new") == std::string::npos)
          << path;
    }
  }
}

/// Starts a process that takes the locks and then stops. End it with SIGKILL.
pid_t stoppedHolder(const std::vector<std::string>& paths) {
  const pid_t process = fork();
  if (process == 0) {
    for (const std::string& path : paths) {
      if (flock(open((path + ".lock").c_str(), O_RDWR | O_CREAT, 0600), LOCK_EX) != 0) _exit(1);
    }
    raise(SIGSTOP);
  }
  int status = 0;
  waitpid(process, &status, WUNTRACED);
  EXPECT_TRUE(WIFSTOPPED(status));
  return process;
}

TEST_F(HostileMachineTest, AStoppedLockHolderCostsOneWaitAndLosesNoChange) {
  using std::chrono::steady_clock;
  constexpr std::chrono::duration<double> kWait(platform::FileManager::kMaximumLockWaitSeconds);
  PosixPlatform platform(options());
  UserDefaults& defaults = platform.standardUserDefaults();
  const auto store = [](UserDefaults& into, const char* key, const Value& value) {
    into.setObject(value, key);
    EXPECT_TRUE(into.synchronize());
  };
  store(defaults, "removed", 1);
  ASSERT_EQ(change(platform, "old"), 3);
  // A new platform reads what another process would read.
  const auto found = [&](const char* key) {
    return PosixPlatform(options()).standardUserDefaults().objectForKey(key);
  };
  pid_t holder = stoppedHolder({domain, keychainFile, archive});
  clearReports();
  auto begin = steady_clock::now();
  for (int value = 1; value < 9; ++value) {
    store(defaults, "key", value);
    EXPECT_EQ(platform.keychain().itemDelete({{platform::kSecClass, platform::kSecClassGenericPassword}}),
              platform::errSecIO);
    EXPECT_TRUE(platform.fileManager().lockForPath(archive).isHeldByAnother());
  }
  store(defaults, "removed", {});
  EXPECT_GE(steady_clock::now() - begin, kWait);
  EXPECT_LT(steady_clock::now() - begin, kWait * 12) << "25 waits would be twice as long";
  EXPECT_EQ(countReports("holds the lock of the user defaults " + domain), 1u);
  EXPECT_EQ(countReports("another process holds its lock"), 8u) << "one per failed deletion";
  EXPECT_EQ(defaults.objectForKey("key"), Value(8));
  EXPECT_TRUE(defaults.objectForKey("removed").isNil());
  EXPECT_EQ(found("key"), Value(8));
  EXPECT_TRUE(found("removed").isNil());
  endChild(holder);
  // The next holder, in any process, merges the pending changes in order.
  EXPECT_EQ(inChild([&] { store(PosixPlatform(options()).standardUserDefaults(), "other", 5); }), 0);
  EXPECT_EQ(base::propertyListWithData(bytesOf(domain)), Value(base::Dictionary{{"key", 8}, {"other", 5}}));
  for (const auto& entry : std::filesystem::directory_iterator(container + "/Library/Preferences")) {
    EXPECT_EQ(entry.path().string().find(".change-"), std::string::npos) << entry.path();
  }
  store(defaults, "key", 4);
  EXPECT_EQ(found("key"), Value(4));
  // The lock has been free since, so the next held lock is waited for again.
  holder = stoppedHolder({archive});
  begin = steady_clock::now();
  EXPECT_FALSE(platform.fileManager().lockForPath(archive).lock);
  EXPECT_GE(steady_clock::now() - begin, kWait);
  endChild(holder);
}

TEST_F(HostileMachineTest, RefusedSystemCallsAreReportedAndValuesStayInMemory) {
  struct Case {
    const char* what;
    unsigned call;
    int error;
    std::string reason;
    int kept;  // of the three stores
  };
#ifndef SYS_mkdir
#define SYS_mkdir SYS_mkdirat
#endif
  const Case cases[] = {
      {"no folder", SYS_mkdir, EDQUOT, "Disk quota exceeded", 0},
      {"no lock", SYS_flock, EPERM, "are not kept from writing", 3},
      {"no flush", SYS_fsync, EPERM, "not permitted", 0},
      {"no folder listing", SYS_getdents64, EPERM, "not permitted", 2},
      {"no signal mask", SYS_rt_sigprocmask, EPERM, "", 3},
      {"no change of file mode", SYS_fchmod, EPERM, "", 3},
  };
  for (const Case& each : cases) {
    SCOPED_TRACE(each.what);
    const auto refused = [&] {
      std::filesystem::remove_all(data);
      PosixPlatform platform(options());
      ASSERT_TRUE(refuseSystemCall(each.call, each.error));
      EXPECT_EQ(change(platform, "new"), each.kept);
      const auto error = platform.fileManager().replaceFile(archive, "new");
      EXPECT_TRUE(each.reason.empty() || countReports(each.reason) > 0);
      EXPECT_EQ(error.value(), each.kept == 0 ? each.error : 0) << error.message();
      EXPECT_TRUE(platform.device().identifierForVendor());
    };
    EXPECT_EQ(inChild(refused), 0);
  }
}

TEST_F(HostileMachineTest, WithoutAHomeFolderDataStaysInMemory) {
  if (geteuid() != 0) GTEST_SKIP() << "needs root to become a user without a passwd entry";
  EXPECT_EQ(inChild([&] {
              for (const char* name : {"XDG_DATA_HOME", "HOME"}) unsetenv(name);
              ASSERT_EQ(setuid(54321), 0);
              Options without = options();
              without.setDataHome("");
              PosixPlatform platform(without);
              EXPECT_EQ(change(platform, "new"), 0);
              EXPECT_FALSE(platform.fileManager().pathForDirectory(platform::SearchPathDirectory::library));
              EXPECT_TRUE(platform.device().identifierForVendor());
            }),
            0);
}

}  // namespace
}  // namespace tidewell::posix
