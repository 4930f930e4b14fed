#include <grp.h>
#include <pwd.h>
#include <sys/file.h>

#include <algorithm>
#include <chrono>
#include <future>

#include "posix/PosixTest.h"
#include "tidewell/base/formats/PropertyList.h"

// Folders, files, locks and rights that others arranged.
namespace tidewell::posix {
namespace {

using base::Dictionary;
using base::Value;
using platform::kSecAttrService;
using platform::kSecClass;
using platform::kSecClassGenericPassword;
using platform::kSecValueData;

constexpr uid_t kAnother = 54321;
#ifdef SYS_mkdir
constexpr unsigned kMakeFolder = SYS_mkdir;
#else
constexpr unsigned kMakeFolder = SYS_mkdirat;
#endif

bool hasReport(std::string_view words) {
  const std::lock_guard lock(PosixTest::reportsMutex);
  return std::any_of(PosixTest::reports.begin(), PosixTest::reports.end(),
                     [&](const std::string& each) { return each.find(words) != std::string::npos; });
}

class HostileMachineTest : public PosixTest {
 protected:
  const std::string data = folder + "/data";
  const std::string container = data + "/org.example.shop";
  const std::string store = data + "/.tidewell-keychain/org.example.shop.plist";
  const std::string archive = container + "/Library/archive";

  /// Changes each of the stores. How many of them reached the disk.
  int change(PosixPlatform& platform, const std::string& value) const {
    platform.standardUserDefaults().setObject(value, "key");
    int kept = platform.standardUserDefaults().synchronize() ? 1 : 0;
    EXPECT_EQ(platform.standardUserDefaults().objectForKey("key"), Value(value));
    kept += platform.keychain().itemAdd({{kSecClass, kSecClassGenericPassword},
                                         {kSecAttrService, value},
                                         {kSecValueData, base::Data(value)}}) == platform::errSecSuccess;
    static_cast<void>(platform.fileManager().pathForDirectory(platform::SearchPathDirectory::library));
    kept += platform.fileManager().replaceFile(archive, value) ? 0 : 1;
    return kept;
  }
};

TEST_F(HostileMachineTest, WhatIsNotTheUsersOwnIsNeitherReadNorWritten) {
  using Fault = std::function<bool(const std::string& path)>;
  const Fault writable = [](auto& path) { return chmod(path.c_str(), 0777) == 0; };
  const Fault foreign = [](auto& path) { return lchown(path.c_str(), kAnother, kAnother) == 0; };
  const Fault aLink = [](auto& path) {
    std::filesystem::rename(path, path + ".away");
    return symlink((path + ".away").c_str(), path.c_str()) == 0;
  };
  const Fault foreignLink = [&](auto& path) { return aLink(path) && foreign(path); };
  struct Case {
    const char* what;
    Fault fault;
    std::string path;
    const char* reason;
    int kept;  // of the three stores
  };
  const std::string preferences = container + "/Library/Preferences";
  const Case cases[] = {
      {"others may write the container", writable, container, "may write", 1},
      {"others may write a folder in it", writable, preferences, "may write", 2},
      {"others may write the user defaults", writable, domainPath(), "may write", 2},
      {"others may write the keychain", writable, store, "may write", 2},
      {"another user's container", foreign, container, "another user", 1},
      {"another user's user defaults", foreign, domainPath(), "another user", 2},
      {"another user's keychain folder", foreign, data + "/.tidewell-keychain", "another user", 2},
      {"another user's link to the container", foreignLink, container, "another user", 1},
      {"a link in place of the user defaults", aLink, domainPath(), "symbolic link", 2},
      {"a link in place of the keychain", aLink, store, "symbolic link", 2},
      {"a link in place of the archive", aLink, archive, "", 2},
      {"the user's own link to the container", aLink, container, "", 3},
      {"others may write the data folder", writable, data, "", 3},
  };
  for (const Case& each : cases) {
    SCOPED_TRACE(each.what);
    if (geteuid() != 0 && std::string_view(each.what).find("another") == 0) continue;
    std::filesystem::remove_all(data);
    reports.clear();
    {
      PosixPlatform before(options());
      ASSERT_EQ(change(before, "old"), 3);
    }
    ASSERT_TRUE(each.fault(each.path));
    PosixPlatform platform(options());
    const Value found = platform.standardUserDefaults().objectForKey("key");
    EXPECT_TRUE(found.isNil() || found == Value("old"));
    EXPECT_EQ(change(platform, "new"), each.kept);
    EXPECT_TRUE(*each.reason == '\0' || hasReport(each.reason));
    // What was refused is as it was.
    const std::string away = std::filesystem::exists(each.path + ".away") ? ".away" : "";
    if (std::filesystem::is_regular_file(each.path + away)) {
      EXPECT_EQ(bytesOf(each.path + away).find("new"), std::string::npos);
    }
  }
}

TEST_F(HostileMachineTest, WhatIsPlantedInPlaceOfALockIsNotFollowedAndOneLineSaysThatThereIsNone) {
  const std::string elsewhere = folder + "/elsewhere";
  const std::pair<const char*, std::function<bool(const char*)>> planted[] = {
      {"a FIFO", [](auto* path) { return mkfifo(path, 0600) == 0; }},
      {"a folder", [](auto* path) { return mkdir(path, 0700) == 0; }},
      {"a link to nothing", [&](auto* path) { return symlink(elsewhere.c_str(), path) == 0; }},
      {"a link to a file", [](auto* path) { return symlink("/etc/passwd", path) == 0; }},
  };
  int round = 0;
  for (const auto& [what, plant] : planted) {
    SCOPED_TRACE(what);
    Options with = options();
    with.dataHome = folder + "/planted" + std::to_string(++round);
    PosixPlatform platform(with);
    platform::UserDefaults& defaults = platform.standardUserDefaults();
    defaults.setObject(1, "key");
    ASSERT_TRUE(defaults.synchronize());
    const std::string lock =
        with.dataHome + "/org.example.shop/Library/Preferences/org.example.shop.plist.lock";
    std::filesystem::remove(lock);
    ASSERT_TRUE(plant(lock.c_str()));
    reports.clear();
    for (int value = 2; value < 4; ++value) {
      defaults.setObject(value, "key");
      EXPECT_TRUE(defaults.synchronize());
    }
    EXPECT_EQ(reportCount(), 1u);
    EXPECT_TRUE(hasReport("lock is no regular file"));
    // The core asks with locks held, so its line comes from another thread.
    const std::string other = with.dataHome + "/org.example.shop/Library/archive";
    ASSERT_TRUE(plant((other + ".lock").c_str()));
    for (int i = 0; i < 2; ++i) {
      const auto asked = platform.fileManager().lockForPath(other);
      EXPECT_TRUE(asked.error && !asked.isHeldByAnother()) << asked.error.message();
    }
    std::promise<void> said;
    platform.globalQueue().async([&] { said.set_value(); });
    said.get_future().wait();
    EXPECT_EQ(reportCount(), 2u);
    EXPECT_TRUE(hasReport("from writing " + other + " at the same time"));
    EXPECT_FALSE(std::filesystem::exists(elsewhere));
  }
}

/// A process that holds locks and is stopped.
class StoppedHolder {
 public:
  explicit StoppedHolder(const std::vector<std::string>& paths) : process_(fork()) {
    if (process_ == 0) {
      for (const std::string& path : paths) {
        const int file = open((path + ".lock").c_str(), O_RDWR | O_CREAT, 0600);
        if (file < 0 || flock(file, LOCK_EX) != 0) _exit(1);
      }
      raise(SIGSTOP);
      _exit(0);
    }
    int status = 0;
    waitpid(process_, &status, WUNTRACED);
    EXPECT_TRUE(WIFSTOPPED(status));
  }
  ~StoppedHolder() {
    kill(process_, SIGKILL);
    waitpid(process_, nullptr, 0);
  }
  StoppedHolder(const StoppedHolder&) = delete;
  StoppedHolder& operator=(const StoppedHolder&) = delete;

 private:
  pid_t process_;
};

TEST_F(HostileMachineTest, LocksOfAStoppedProcessCostOneWaitAndNoChange) {
  PosixPlatform platform(options());
  platform::UserDefaults& defaults = platform.standardUserDefaults();
  const auto group = platform.userDefaultsWithSuiteName("group");
  const auto synchronize = [](platform::UserDefaults& domain, const char* key, const Value& value) {
    domain.setObject(value, key);
    EXPECT_TRUE(domain.synchronize());
  };
  synchronize(defaults, "removed", 1);
  synchronize(*group, "key", 1);
  ASSERT_EQ(change(platform, "old"), 3);
  const std::string groupPath = data + "/group/Library/Preferences/group.plist";
  const auto inNewProcess = [&](const char* key) {
    return inChild([&] {
      const Value found = PosixPlatform(options()).standardUserDefaults().objectForKey(key);
      return found.isNil() ? 0 : static_cast<int>(found.integerValue());
    });
  };
  const auto seconds = [](const std::function<void()>& work) {
    const auto start = std::chrono::steady_clock::now();
    work();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  };
  {
    const StoppedHolder holder({domainPath(), groupPath, store, archive});
    reports.clear();
    const double waited = seconds([&] {
      for (int value = 1; value < 4; ++value) {
        synchronize(defaults, "key", value);
        synchronize(*group, "key", value);
        EXPECT_EQ(platform.keychain().itemDelete({{kSecClass, kSecClassGenericPassword}}),
                  platform::errSecIO);
        EXPECT_TRUE(platform.fileManager().lockForPath(archive).isHeldByAnother());
      }
      defaults.removeObjectForKey("removed");
      EXPECT_TRUE(defaults.synchronize());
    });
    EXPECT_GE(waited, platform::FileManager::kMaximumLockWaitSeconds);
    EXPECT_LT(waited, 10) << "thirteen waits would be 26 s";
    EXPECT_TRUE(hasReport("holds the lock of the user defaults " + domainPath()));
    EXPECT_TRUE(hasReport("another process holds its lock"));
    EXPECT_EQ(reportCount(), 5u) << "one a domain, and one an item that was not deleted";
    // The same process and any other see what waits.
    EXPECT_EQ(defaults.objectForKey("key"), Value(3));
    EXPECT_TRUE(defaults.objectForKey("removed").isNil());
    EXPECT_EQ(inNewProcess("key"), 3);
    EXPECT_EQ(inNewProcess("removed"), 0);
  }
  // The next holder merges it, whichever process that is, and later changes come last.
  EXPECT_EQ(inChild([&] {
              synchronize(PosixPlatform(options()).standardUserDefaults(), "other", 5);
              return exitStatus();
            }),
            0);
  EXPECT_EQ(base::propertyListWithData(bytesOf(domainPath())), Value(Dictionary{{"key", 3}, {"other", 5}}));
  for (const auto& entry : std::filesystem::directory_iterator(container + "/Library/Preferences")) {
    EXPECT_EQ(entry.path().string().find(".change-"), std::string::npos) << entry.path();
  }
  synchronize(defaults, "key", 4);
  EXPECT_EQ(inNewProcess("key"), 4);
  // The lock was found free: the next one that is held is waited for again.
  const StoppedHolder holder({archive});
  EXPECT_GE(seconds([&] { EXPECT_FALSE(platform.fileManager().lockForPath(archive).lock); }),
            platform::FileManager::kMaximumLockWaitSeconds);
}

TEST_F(HostileMachineTest, ASandboxThatRefusesCallsLeavesEverythingInMemoryAndTheReasonInTheLog) {
  struct Case {
    const char* what;
    unsigned call;
    int error;
    const char* reason;
    int kept;  // of the three stores
  };
  const Case cases[] = {
      {"no folder", kMakeFolder, EDQUOT, "Disk quota exceeded", 0},
      {"no lock", SYS_flock, EPERM, "are not kept from writing", 3},
      {"no flush", SYS_fsync, EPERM, "not permitted", 0},
      {"no list", SYS_getdents64, EPERM, "not permitted", 2},
      {"no mask", SYS_rt_sigprocmask, EPERM, "", 3},
      {"no rights of a file", SYS_fchmod, EPERM, "", 3},
  };
  for (const Case& each : cases) {
    SCOPED_TRACE(each.what);
    const int status = inChild([&] {
      std::filesystem::remove_all(data);
      reports.clear();
      PosixPlatform platform(options());
      if (!refuseSystemCall(each.call, each.error)) return kSkipped;
      EXPECT_EQ(change(platform, "new"), each.kept);
      const auto error = platform.fileManager().replaceFile(archive, "new");
      EXPECT_TRUE(*each.reason == '\0' || hasReport(each.reason) || error.message() == each.reason);
      EXPECT_EQ(error.value(), each.kept == 0 ? each.error : 0) << error.message();
      EXPECT_TRUE(platform.device().identifierForVendor());
      return exitStatus();
    });
    if (status == kSkipped) GTEST_SKIP() << "this machine does not let a test refuse calls";
    EXPECT_EQ(status, 0);
  }
}

/// A group other than the effective one that the user may give a file to.
std::optional<gid_t> anotherGroup() {
  if (geteuid() == 0) return kAnother;
  gid_t groups[64];
  const int count = getgroups(64, groups);
  for (int i = 0; i < count; ++i) {
    if (groups[i] != getegid()) return groups[i];
  }
  return std::nullopt;
}

TEST_F(HostileMachineTest, AProcessWithRaisedRightsTrustsNothingOfItsEnvironment) {
  const auto group = anotherGroup();
  if (!group) GTEST_SKIP() << "only root or a member of two groups can raise rights";
  const std::string program = folder + "/environment";
  const auto output = [&] {
    const std::string command =
        "env -i HOME=/h XDG_DATA_HOME=/d TZ=t SSL_CERT_FILE=f SSL_CERT_DIR=c http_proxy=p https_proxy=s "
        "no_proxy=n SSLKEYLOGFILE=k ICU_DATA=i ICU_TIMEZONE_FILES_DIR=z " +
        program + " > " + folder + "/out";
    return std::system(command.c_str()) == 0 ? bytesOf(folder + "/out") : "did not run";
  };
  std::filesystem::copy_file(POSIX_ENVIRONMENT, program);
  EXPECT_EQ(output(), "ordinary\n/h /d t f c p s n k i z ");
  ASSERT_EQ(chown(program.c_str(), geteuid(), *group), 0);
  ASSERT_EQ(chmod(program.c_str(), 02755), 0);
  if (output().starts_with("ordinary")) GTEST_SKIP() << "the temporary folder is mounted without such rights";
  const passwd* const record = getpwuid(geteuid());
  const std::string home = record ? record->pw_dir : "";
  EXPECT_EQ(output(), "raised\n" + home + " " + home + "/.local/share          ");
  if (geteuid() != 0) return;
  // The home is the effective user's; this one has no record.
  ASSERT_EQ(chown(program.c_str(), kAnother, 0), 0);
  ASSERT_EQ(chmod(program.c_str(), 04755), 0);
  ASSERT_EQ(chmod(folder.c_str(), 0755), 0);
  const std::string raised = output();
  if (raised == "did not run") GTEST_SKIP() << "another user cannot read the libraries of this build";
  EXPECT_EQ(raised, "raised\n           ");
}

}  // namespace
}  // namespace tidewell::posix
