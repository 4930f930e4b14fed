#include <sys/resource.h>

#include <algorithm>
#include <atomic>
#include <thread>

#include "posix/PosixTest.h"
#include "tidewell/base/Exception.h"
#include "tidewell/base/formats/PropertyList.h"

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

TEST_F(UserDefaultsTest, ValuesComeBackInTheNextProcess) {
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
  }
  EXPECT_EQ(defaults.objectForKey("ours"), Value("mine"));
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
  const auto before = std::filesystem::last_write_time(domainPath());
  platform.standardUserDefaults().setObject(1, "key");
  EXPECT_TRUE(platform.standardUserDefaults().synchronize());
  EXPECT_EQ(std::filesystem::last_write_time(domainPath()), before);

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

TEST_F(UserDefaultsTest, AFaultIsReportedLosesNothingAndIsMadeGoodByTheNextSynchronize) {
  const std::string path = domainPath();
  const auto limitFiles = [](rlim_t bytes) {
    rlimit limits{};
    getrlimit(RLIMIT_FSIZE, &limits);
    limits.rlim_cur = std::min(bytes, limits.rlim_max);
    setrlimit(RLIMIT_FSIZE, &limits);
  };
  for (const std::string fault : {"a folder in its place", "a FIFO in its place", "no room"}) {
    const bool isInItsPlace = fault != "no room";
    for (const bool wasReadBefore : {false, true}) {
      SCOPED_TRACE(fault + (wasReadBefore ? ", read before" : ""));
      std::filesystem::remove_all(folder + "/data");
      store("old", "value");
      const std::string before = bytesOf(path);
      EXPECT_EQ(inChild([&] {
                  std::signal(SIGXFSZ, SIG_DFL);
                  PosixPlatform platform(options());
                  platform::UserDefaults& defaults = platform.standardUserDefaults();
                  if (wasReadBefore && defaults.objectForKey("old") != Value("value")) return 2;
                  if (isInItsPlace) std::filesystem::rename(path, path + ".away");
                  if (fault[2] == 'f') std::filesystem::create_directory(path);
                  if (fault[2] == 'F') mkfifo(path.c_str(), 0600);
                  if (!isInItsPlace) limitFiles(1000);
                  const std::size_t reported = reports.size();
                  defaults.setObject(std::string(3000, 'n'), "new");
                  EXPECT_FALSE(defaults.synchronize());
                  EXPECT_EQ(reports.size(), reported + 1);
                  EXPECT_EQ(defaults.objectForKey("new").length(), 3000u);
                  limitFiles(RLIM_INFINITY);
                  if (isInItsPlace) std::filesystem::remove(path);
                  if (isInItsPlace) std::filesystem::rename(path + ".away", path);
                  EXPECT_EQ(bytesOf(path), before);
                  EXPECT_TRUE(defaults.synchronize());
                  return exitStatus();
                }),
                0);
      EXPECT_EQ(base::propertyListWithData(bytesOf(path)),
                Value(base::Dictionary{{"old", "value"}, {"new", std::string(3000, 'n')}}));
    }
  }
}

TEST_F(UserDefaultsTest, ASuiteIsOneObjectAndOneFileWhateverItsName) {
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
