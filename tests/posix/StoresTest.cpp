// SPDX-License-Identifier: Apache-2.0
#include <chrono>
#include <thread>

#include "posix/PosixTest.h"
#include "tidewell/base/Exception.h"
#include "tidewell/base/formats/PropertyList.h"
#include "tidewell/testing/MemoryKeychain.h"

// The user defaults and the keychain.
namespace tidewell::posix {
namespace {

using base::Array;
using base::Dictionary;
using base::Value;
using platform::Keychain;
using platform::UserDefaults;

class StoresTest : public PosixTest {
 protected:
  static Dictionary item(std::string_view service, const Value& bytes = {}) {
    Dictionary made{{platform::kSecClass, platform::kSecClassGenericPassword},
                    {platform::kSecAttrService, service},
                    {platform::kSecAttrAccount, service},
                    {platform::kSecAttrAccessible, platform::kSecAttrAccessibleAfterFirstUnlock}};
    if (bytes) made.setObject(base::Data(bytes.description()), platform::kSecValueData);
    return made;
  }
  /// The bytes of an item, or the status of the failure.
  static std::string find(Keychain& keychain, std::string_view service) {
    Dictionary query = item(service);
    query.setObject(true, platform::kSecReturnData);
    base::Data data;
    const auto status = keychain.itemCopyMatching(query, data);
    return status == platform::errSecSuccess ? std::string(data.view()) : std::to_string(status);
  }
  static bool store(UserDefaults& into, std::string_view key, const Value& value) {
    into.setObject(value, key);
    return into.synchronize();
  }
  [[nodiscard]] Value domainContents() const { return base::propertyListWithData(bytesOf(domain)); }

  PosixPlatform platform{options()};
  UserDefaults& defaults = platform.standardUserDefaults();
  Keychain& keychain = platform.keychain();
};

TEST_F(StoresTest, UserDefaultsKeepTheTypesOfTheirValues) {
  EXPECT_TRUE(defaults.objectForKey("none").isNil());
  EXPECT_TRUE(defaults.synchronize());
  EXPECT_FALSE(std::filesystem::exists(data));
  const Dictionary stored{{"text", "Grüße"},
                          {"yes", true},
                          {"number", 1},
                          {"date", base::Date{1542000000.5}},
                          {"data", base::Data(std::string("\0\1", 2))},
                          {"list", Array{1, "two"}}};
  for (const auto& [key, value] : stored) EXPECT_TRUE(store(defaults, key, value)) << key;
  EXPECT_TRUE(store(defaults, "", "\xFF\xFE is not UTF-8"));
  PosixPlatform next(options());
  for (const auto& [key, value] : stored) {
    EXPECT_EQ(next.standardUserDefaults().objectForKey(key), value) << key;
    EXPECT_EQ(next.standardUserDefaults().objectForKey(key).kind(), value.kind()) << key;
  }
  EXPECT_TRUE(store(next.standardUserDefaults(), "number", true));  // equal, but of another type
  EXPECT_EQ(defaults.objectForKey("number").kind(), base::ValueKind::boolean);
  Value deep = 1;
  for (int level = 0; level < 600; ++level) deep = Array{deep};
  for (const Value& value : {Value::null(), Value(Array{Value::null()}), deep}) {
    EXPECT_THROW(defaults.setObject(value, "text"), base::Exception);
  }
  EXPECT_EQ(defaults.objectForKey("text"), Value("Grüße"));
}

TEST_F(StoresTest, ConcurrentProcessesAndThreadsLoseNoChange) {
  EXPECT_TRUE(defaults.objectForKey("theirs").isNil());
  for (int value = 1; value <= 20; ++value) {
    if (value == 20) {  // from now on, the file's times alone tell whether it has changed
      std::this_thread::sleep_for(std::chrono::milliseconds(50));
      EXPECT_EQ(defaults.objectForKey("theirs"), Value(19));
    }
    EXPECT_EQ(inChild([&] { store(PosixPlatform(options()).standardUserDefaults(), "theirs", value); }), 0);
    EXPECT_EQ(defaults.objectForKey("theirs"), Value(value));
  }
  std::mutex counting;  // guards `count`
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
  EXPECT_EQ(domainContents(), Value(Dictionary{{"theirs", 20}, {"count", count}}));
}

TEST_F(StoresTest, ACorruptFileCountsAsMissingAndIsKeptAside) {
  const std::string whole =
      base::dataWithPropertyList(Dictionary{{"key", "value"}}, base::PropertyListFormat::binary);
  for (const std::string& content :
       {std::string("garbage"), std::string(100000, '\0'), std::string("<plist><array/></plist>"),
        whole.substr(0, whole.size() - 1)}) {
    clearReports();
    writeFile(domain, content);
    EXPECT_TRUE(PosixPlatform(options()).standardUserDefaults().objectForKey("key").isNil());
    EXPECT_EQ(bytesOf(domain + ".corrupt"), content);
    EXPECT_FALSE(std::filesystem::exists(domain));
    EXPECT_EQ(countReports(), 1u);
  }
  writeFile(keychainFile, "garbage");
  std::filesystem::permissions(data + "/.tidewell-keychain", std::filesystem::perms::owner_all);
  EXPECT_EQ(find(keychain, "one"), std::to_string(platform::errSecItemNotFound));
  EXPECT_EQ(keychain.itemAdd(item("one", "new")), platform::errSecSuccess);
  EXPECT_EQ(bytesOf(keychainFile + ".corrupt"), "garbage");
  EXPECT_EQ(find(keychain, "one"), "new");
}

TEST_F(StoresTest, EachSuiteIsOneObjectAndOneFileForAnyName) {
  const auto suite = platform.userDefaultsWithSuiteName("group.org.example/../shop");
  EXPECT_EQ(platform.userDefaultsWithSuiteName("group.org.example/../shop"), suite);
  EXPECT_EQ(platform.userDefaultsWithSuiteName(""), nullptr);
  EXPECT_TRUE(store(*suite, "key", "shared"));
  const std::string name = "group.org.example%2F..%2Fshop";
  EXPECT_NE(bytesOf(data + "/" + name + "/Library/Preferences/" + name + ".plist").find("shared"),
            std::string::npos);
}

TEST_F(StoresTest, KeychainItemsAreAddedDeletedAndOutliveTheContainer) {
  testing::MemoryKeychain memory;  // must behave like the real one
  for (Keychain* each : std::initializer_list<Keychain*>{&keychain, &memory}) {
    EXPECT_EQ(each->itemDelete(item("one")), platform::errSecItemNotFound);
    EXPECT_EQ(each->itemAdd(item("one", "first")), platform::errSecSuccess);
    EXPECT_EQ(each->itemAdd(item("two", "other")), platform::errSecSuccess);
    Dictionary duplicate = item("one", "second");
    duplicate.setObject("ak", platform::kSecAttrAccessible);
    EXPECT_EQ(each->itemAdd(duplicate), platform::errSecDuplicateItem);
    EXPECT_EQ(find(*each, "one"), "first");
    EXPECT_EQ(each->itemDelete(item("one")), platform::errSecSuccess);
    EXPECT_EQ(find(*each, "one"), std::to_string(platform::errSecItemNotFound));
    EXPECT_EQ(each->itemAdd(item("one", std::string("\0second", 7))), platform::errSecSuccess);
    for (const auto& [key, value] : Dictionary{{platform::kSecClass, "inet"},
                                               {platform::kSecAttrAccount, 5},
                                               {platform::kSecValueData, "no data"}}) {
      Dictionary invalid = item("x", "y");
      invalid.setObject(value, key);
      EXPECT_EQ(each->itemAdd(invalid), platform::errSecParam) << key;
    }
    base::Data found;
    const Dictionary any{{platform::kSecClass, platform::kSecClassGenericPassword},
                         {platform::kSecReturnData, true}};
    EXPECT_EQ(each->itemCopyMatching(any, found), platform::errSecSuccess);
    EXPECT_EQ(found, base::Data("other"));
  }
  EXPECT_EQ(memory.itemCount(), 2u);
  ASSERT_TRUE(store(defaults, "key", 1));
  std::filesystem::remove_all(container);
  PosixPlatform next(options());
  EXPECT_EQ(find(next.keychain(), "one"), std::string("\0second", 7));
  EXPECT_EQ(find(next.keychain(), "two"), "other");
  EXPECT_EQ(modeOf(keychainFile), 0600u);
  PosixPlatform other(options("org.example.other"));
  EXPECT_EQ(find(other.keychain(), "one"), std::to_string(platform::errSecItemNotFound));

  std::filesystem::rename(keychainFile, keychainFile + ".away");
  std::filesystem::create_directory(keychainFile);  // unreadable, and not replaced
  EXPECT_EQ(find(keychain, "one"), std::to_string(platform::errSecIO));
  EXPECT_EQ(keychain.itemAdd(item("three", "new")), platform::errSecIO);
}

}  // namespace
}  // namespace tidewell::posix
