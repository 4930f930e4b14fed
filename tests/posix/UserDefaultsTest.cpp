#include <sys/mount.h>
#include <sys/resource.h>

#include <atomic>
#include <chrono>
#include <random>
#include <thread>

#include "posix/PosixTest.h"
#include "tidewell/base/Exception.h"
#include "tidewell/base/PropertyList.h"

namespace tidewell::posix {
namespace {

using base::Value;

class UserDefaultsTest : public PosixTest {
 protected:
  /// Puts a value into the domain as an earlier process would have.
  void store(std::string_view key, const Value& value) const {
    ASSERT_EQ(inChild([&] {
                PosixPlatform platform(options());
                platform.standardUserDefaults().setObject(value, key);
                return platform.standardUserDefaults().synchronize() ? 0 : 1;
              }),
              0);
  }
};

TEST_F(UserDefaultsTest, ValuesComeBackInTheNextProcessAndInOtherTools) {
  const base::Dictionary stored{{"text", "Grüße"},
                                {"yes", true},
                                {"number", -7},
                                {"date", base::Date{1542000000.5}},
                                {"data", base::Data(std::string("\0\1", 2))},
                                {"list", base::Array{1, "two"}}};
  for (const auto& [key, value] : stored) store(key, value);
  PosixPlatform platform(options());
  for (const auto& [key, value] : stored) {
    EXPECT_EQ(platform.standardUserDefaults().objectForKey(key), value) << key;
    EXPECT_EQ(platform.standardUserDefaults().objectForKey(key).kind(), value.kind()) << key;
  }
  if (std::system("python3 -c 'import plistlib' 2>/dev/null") != 0) GTEST_SKIP() << "no python3 to read with";
  const std::string script = "python3 -c \"import plistlib; d = plistlib.load(open('" + domainPath() +
                             "', 'rb')); assert d['text'] == 'Gr\\u00fc\\u00dfe' and d['yes'] is True and "
                             "d['number'] == -7 and d['list'] == [1, 'two'] and len(d) == 6, d\"";
  EXPECT_EQ(std::system(script.c_str()), 0);
}

TEST_F(UserDefaultsTest, ProcessesThatWriteDifferentKeysLoseNone) {
  constexpr int kProcesses = 4;
  constexpr int kKeys = 25;
  std::vector<pid_t> children;
  for (int process = 0; process < kProcesses; ++process) {
    children.push_back(fork());
    if (children.back() != 0) continue;
    PosixPlatform platform(options());
    for (int key = 0; key < kKeys; ++key) {
      platform.standardUserDefaults().setObject(key, std::to_string(process) + "." + std::to_string(key));
      if (!platform.standardUserDefaults().synchronize()) _exit(1);
    }
    _exit(0);
  }
  for (const pid_t child : children) {
    int status = -1;
    waitpid(child, &status, 0);
    EXPECT_EQ(status, 0);
  }
  const Value all = base::propertyListWithData(bytesOf(domainPath()));
  ASSERT_TRUE(all.dictionary());
  EXPECT_EQ(all.dictionary()->count(), static_cast<std::size_t>(kProcesses * kKeys));
}

TEST_F(UserDefaultsTest, OfThreadsThatSynchronizeAtOnceTheLastChangeStays) {
  PosixPlatform platform(options());
  platform::UserDefaults& defaults = platform.standardUserDefaults();
  std::mutex counting;
  int count = 0;
  std::vector<std::thread> threads;
  for (int thread = 0; thread < 4; ++thread) {
    threads.emplace_back([&] {
      for (int i = 0; i < 50; ++i) {
        {
          const std::lock_guard lock(counting);
          defaults.setObject(++count, "count");
        }
        EXPECT_TRUE(defaults.synchronize());
        const std::lock_guard lock(counting);
        EXPECT_EQ(defaults.objectForKey("count"), Value(count));
      }
    });
  }
  for (std::thread& each : threads) each.join();
  EXPECT_EQ(base::propertyListWithData(bytesOf(domainPath())), Value(base::Dictionary{{"count", count}}));
}

TEST_F(UserDefaultsTest, AKillAtAnyInstantLeavesTheOldOrTheNewValuesWhole) {
  std::mt19937 random(7);
  for (int round = 0; round < 40; ++round) {
    const pid_t child = fork();
    if (child == 0) {
      PosixPlatform platform(options());
      for (int i = 0;; ++i) {
        platform.standardUserDefaults().setObject(i, "first");
        platform.standardUserDefaults().setObject(std::string(20000, 'x'), "filler" + std::to_string(i % 3));
        platform.standardUserDefaults().setObject(i, "last");
        platform.standardUserDefaults().synchronize();
      }
    }
    std::this_thread::sleep_for(std::chrono::microseconds(random() % 12000));
    kill(child, SIGKILL);
    waitpid(child, nullptr, 0);
    if (!std::filesystem::exists(domainPath())) continue;  // killed before the first write
    const Value found = base::propertyListWithData(bytesOf(domainPath()));
    ASSERT_TRUE(found.dictionary()) << "round " << round;
    EXPECT_EQ(found.dictionary()->objectForKey("first"), found.dictionary()->objectForKey("last"));
  }
  store("after", true);
  for (const auto& file :
       std::filesystem::directory_iterator(folder + "/data/org.example.shop/Library/Preferences")) {
    EXPECT_NE(file.path().extension(), ".tmp") << "left behind by a killed process";
  }
}

TEST_F(UserDefaultsTest, AFileThatMakesNoSenseCountsAsMissingAndIsKeptAside) {
  const std::string whole = base::dataWithPropertyList(base::Dictionary{{"key", "value"}, {"other", 5}},
                                                       base::PropertyListFormat::binary);
  std::vector<std::string> contents{"garbage", std::string(100000, '\0'), "<plist><array/></plist>"};
  for (std::size_t length = 0; length < whole.size(); ++length) contents.push_back(whole.substr(0, length));
  for (const std::string& content : contents) {
    writeFile(domainPath(), content);
    const std::size_t before = reportCount();
    PosixPlatform platform(options());
    EXPECT_TRUE(platform.standardUserDefaults().objectForKey("key").isNil());
    EXPECT_EQ(reportCount(), before + 1);
    EXPECT_EQ(bytesOf(domainPath() + ".corrupt"), content);
    EXPECT_FALSE(std::filesystem::exists(domainPath()));
  }
}

TEST_F(UserDefaultsTest, WhatAnotherProcessWroteShowsAtTheNextReadAndOwnChangesStay) {
  PosixPlatform platform(options());
  platform::UserDefaults& defaults = platform.standardUserDefaults();
  EXPECT_TRUE(defaults.objectForKey("theirs").isNil());
  defaults.setObject("mine", "ours");
  for (int value = 1; value < 20; ++value) {
    store("theirs", value);
    EXPECT_EQ(defaults.objectForKey("theirs"), Value(value));
    EXPECT_EQ(defaults.objectForKey("ours"), Value("mine"));
  }
  EXPECT_TRUE(defaults.synchronize());
  const Value all = base::propertyListWithData(bytesOf(domainPath()));
  EXPECT_EQ(all, Value(base::Dictionary{{"theirs", 19}, {"ours", "mine"}}));
}

TEST_F(UserDefaultsTest, NothingIsWrittenWithoutAChange) {
  PosixPlatform platform(options());
  EXPECT_TRUE(platform.standardUserDefaults().objectForKey("key").isNil());
  EXPECT_TRUE(platform.standardUserDefaults().synchronize());
  EXPECT_FALSE(std::filesystem::exists(folder + "/data"));

  store("key", 1);
  struct stat before {};
  struct stat after {};
  stat(domainPath().c_str(), &before);
  platform.standardUserDefaults().setObject(1, "key");
  EXPECT_TRUE(platform.standardUserDefaults().synchronize());
  stat(domainPath().c_str(), &after);
  EXPECT_EQ(before.st_ino, after.st_ino);
  EXPECT_EQ(before.st_ctim.tv_nsec, after.st_ctim.tv_nsec);

  platform.standardUserDefaults().setObject(true, "key");  // equal to 1, but stored otherwise
  EXPECT_TRUE(platform.standardUserDefaults().synchronize());
  EXPECT_EQ(platform.standardUserDefaults().objectForKey("key").kind(), base::ValueKind::boolean);
}

TEST_F(UserDefaultsTest, AValueThatNoPropertyListCarriesIsRefusedAndNothingElseIsLost) {
  Value deep = 1;
  for (int level = 0; level < 600; ++level) deep = base::Array{deep};
  PosixPlatform platform(options());
  platform::UserDefaults& defaults = platform.standardUserDefaults();
  defaults.setObject("kept", "key");
  for (const Value& value : {Value::null(), Value(base::Array{Value::null()}), deep}) {
    EXPECT_THROW(defaults.setObject(value, "key"), base::Exception);
  }
  defaults.setObject("\xFF\xFE not UTF-8", "odd");
  defaults.setObject("", "");
  EXPECT_TRUE(defaults.synchronize());
  EXPECT_EQ(PosixPlatform(options()).standardUserDefaults().objectForKey("key"), Value("kept"));
}

/// Something that keeps the domain from being read or written for a while.
struct Fault {
  const char* name;
  std::function<bool(const std::string& path)> begin;  ///< whether the system let it
  std::function<void(const std::string& path)> end;
};

rlim_t descriptorLimit(rlim_t limit) {
  rlimit limits{};
  getrlimit(RLIMIT_NOFILE, &limits);
  std::swap(limits.rlim_cur, limit);
  setrlimit(RLIMIT_NOFILE, &limits);
  return limit;
}

/// A small disk of its own, with what lies in a folder now.
bool mountSmallDisk(const std::string& place) {
  const std::string content = bytesOf(place + "/org.example.shop.plist");
  if (unshare(CLONE_NEWNS) != 0 || mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0)
    return false;
  if (mount("tmpfs", place.c_str(), "tmpfs", 0, "size=32k") != 0) return false;
  writeFile(place + "/org.example.shop.plist", content);
  return true;
}

std::string folderOfPath(const std::string& path) { return std::filesystem::path(path).parent_path(); }

const Fault kFaults[] = {
    {"no descriptor left", [](const std::string&) { return !kAddressSanitizer && descriptorLimit(3) != 0; },
     [](const std::string&) { descriptorLimit(256); }},
    {"a folder in its place",
     [](const std::string& path) {
       std::filesystem::rename(path, path + ".away");
       return std::filesystem::create_directory(path);
     },
     [](const std::string& path) {
       std::filesystem::remove(path);
       std::filesystem::rename(path + ".away", path);
     }},
    {"a FIFO in its place",
     [](const std::string& path) {
       std::filesystem::rename(path, path + ".away");
       return mkfifo(path.c_str(), 0600) == 0;
     },
     [](const std::string& path) { std::filesystem::rename(path + ".away", path); }},
    {"no right to read",
     [](const std::string& path) {
       // The folders are the user's, the file is another's.
       std::string place = path + ".lock";
       for (; place.find("/tidewell-posix-") != std::string::npos; place = folderOfPath(place)) {
         if (chown(place.c_str(), 12345, 12345) != 0) return false;
       }
       return seteuid(12345) == 0;
     },
     [](const std::string&) { EXPECT_EQ(seteuid(0), 0); }},
    {"a full disk",
     [](const std::string& path) {
       if (!mountSmallDisk(folderOfPath(path))) return false;
       writeFile(folderOfPath(path) + "/filler", std::string(1 << 20, 'x'));
       return true;
     },
     [](const std::string& path) { std::filesystem::remove(folderOfPath(path) + "/filler"); }},
    {"a read-only disk",
     [](const std::string& path) {
       const std::string place = folderOfPath(path);
       return mountSmallDisk(place) &&
              mount("tmpfs", place.c_str(), "tmpfs", MS_REMOUNT | MS_RDONLY, "") == 0;
     },
     [](const std::string& path) {
       EXPECT_EQ(mount("tmpfs", folderOfPath(path).c_str(), "tmpfs", MS_REMOUNT, ""), 0);
     }},
};

TEST_F(UserDefaultsTest, AFaultIsReportedLosesNothingAndIsMadeGoodByTheNextSynchronize) {
  std::string skipped;
  for (const Fault& fault : kFaults) {
    for (const bool wasReadBefore : {false, true}) {
      SCOPED_TRACE(fault.name);
      std::filesystem::remove_all(folder + "/data");
      store("old", "value");
      const int status = inChild([&] {
        PosixPlatform platform(options());
        platform::UserDefaults& defaults = platform.standardUserDefaults();
        if (wasReadBefore && defaults.objectForKey("old") != Value("value")) return 2;
        const std::string before = bytesOf(domainPath());
        if (!fault.begin(domainPath())) return kSkipped;
        const auto start = std::chrono::steady_clock::now();
        const std::size_t reported = reports.size();
        defaults.setObject(std::string(3000, 'n'), "new");
        EXPECT_FALSE(defaults.synchronize());
        EXPECT_EQ(reports.size(), reported + 1);
        EXPECT_EQ(defaults.objectForKey("new").length(), 3000u);
        EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(1));
        fault.end(domainPath());
        EXPECT_EQ(bytesOf(domainPath()), before);
        EXPECT_TRUE(defaults.synchronize());
        const Value all = base::propertyListWithData(bytesOf(domainPath()));
        EXPECT_EQ(all, Value(base::Dictionary{{"old", "value"}, {"new", std::string(3000, 'n')}}));
        return exitStatus();
      });
      if (status == kSkipped) {
        skipped += std::string(" ") + fault.name;
      } else {
        EXPECT_EQ(status, 0) << (wasReadBefore ? "read before" : "not read before");
      }
    }
  }
  if (!skipped.empty()) GTEST_SKIP() << "this machine does not let a test make:" << skipped;
}

TEST_F(UserDefaultsTest, ASuiteIsOneObjectAndAFileThatExtensionsRead) {
  PosixPlatform platform(options());
  const auto suite = platform.userDefaultsWithSuiteName("group.org.example/../shop");
  EXPECT_EQ(platform.userDefaultsWithSuiteName("group.org.example/../shop"), suite);
  EXPECT_EQ(platform.userDefaultsWithSuiteName(""), nullptr);
  suite->setObject("shared", "key");
  EXPECT_TRUE(suite->synchronize());
  const std::string name = "group.org.example%2F..%2Fshop";
  EXPECT_EQ(base::propertyListWithData(
                bytesOf(folder + "/data/" + name + "/Library/Preferences/" + name + ".plist")),
            Value(base::Dictionary{{"key", "shared"}}));
  Options extension = options();
  extension.bundleIdentifier = "org.example.shop.extension";
  EXPECT_EQ(
      PosixPlatform(extension).userDefaultsWithSuiteName("group.org.example/../shop")->objectForKey("key"),
      Value("shared"));
}

TEST_F(UserDefaultsTest, AChildForkedAtAnyInstantReadsAndWrites) {
  if (kAddressSanitizer)
    GTEST_SKIP() << "AddressSanitizer's allocator may be locked for ever in such a child";
  PosixPlatform platform(options());
  platform::UserDefaults& defaults = platform.standardUserDefaults();
  defaults.setObject("value", "key");
  ASSERT_TRUE(defaults.synchronize());
  std::atomic<bool> isDone{false};
  std::thread writer([&] {
    for (int i = 0; !isDone; ++i) {
      defaults.setObject(i, "counter");
      defaults.synchronize();
      for (int read = 0; read < 200; ++read) static_cast<void>(defaults.objectForKey("counter"));
    }
  });
  for (int i = 0; i < 30; ++i) {
    EXPECT_EQ(inChild([&] {
                if (defaults.objectForKey("key") != Value("value")) return 1;
                defaults.setObject(i, "child" + std::to_string(i));
                return defaults.synchronize() ? 0 : 2;
              }),
              0);
  }
  isDone = true;
  writer.join();
  for (int i = 0; i < 30; ++i) EXPECT_EQ(defaults.objectForKey("child" + std::to_string(i)), Value(i));
}

}  // namespace
}  // namespace tidewell::posix
