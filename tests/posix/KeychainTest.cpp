#include "posix/PosixTest.h"
#include "tidewell/base/formats/PropertyList.h"

namespace tidewell::posix {
namespace {

using namespace platform;
using base::Data;
using base::Dictionary;

Dictionary query(std::string_view service) {
  return {{kSecClass, kSecClassGenericPassword},
          {kSecAttrService, service},
          {kSecAttrAccount, service},
          {kSecAttrAccessible, kSecAttrAccessibleAfterFirstUnlock}};
}

Dictionary with(Dictionary dictionary, std::string_view key, base::Value value) {
  dictionary.setObject(std::move(value), key);
  return dictionary;
}

Dictionary item(std::string_view service, std::string bytes) {
  return with(query(service), kSecValueData, Data(std::move(bytes)));
}

class KeychainTest : public PosixTest {
 protected:
  const std::string store = folder + "/data/.tidewell-keychain/org.example.shop.plist";
  PosixPlatform platform{options()};
  Keychain& keychain = platform.keychain();

  std::string load(std::string_view service) {
    Data data(std::string("untouched"));
    const auto status = keychain.itemCopyMatching(with(query(service), kSecReturnData, true), data);
    return status == errSecSuccess ? std::string(data.view()) : std::to_string(status);
  }
};

TEST_F(KeychainTest, AnItemIsAddedOnceFoundReplacedAndDeleted) {
  EXPECT_EQ(load("one"), std::to_string(errSecItemNotFound));
  EXPECT_EQ(keychain.itemDelete(query("one")), errSecItemNotFound);
  EXPECT_EQ(keychain.itemAdd(item("one", "first")), errSecSuccess);
  EXPECT_EQ(keychain.itemAdd(item("two", "other")), errSecSuccess);
  EXPECT_EQ(keychain.itemAdd(item("one", "second")), errSecDuplicateItem);
  EXPECT_EQ(load("one"), "first");
  EXPECT_EQ(keychain.itemDelete(query("one")), errSecSuccess);
  EXPECT_EQ(keychain.itemAdd(item("one", std::string("\0second", 7))), errSecSuccess);
  EXPECT_EQ(load("one"), std::string("\0second", 7));
  EXPECT_EQ(load("two"), "other");
  EXPECT_EQ(keychain.itemAdd(with(item("x", "y"), kSecClass, "inet")), errSecParam);
  EXPECT_EQ(keychain.itemAdd(with(item("x", "y"), kSecAttrAccount, 5)), errSecParam);
}

TEST_F(KeychainTest, ItemsOutliveTheContainerAndBelongToTheUserAndTheApplication) {
  ASSERT_EQ(keychain.itemAdd(item("one", "kept")), errSecSuccess);
  platform.standardUserDefaults().setObject(1, "key");
  platform.standardUserDefaults().synchronize();
  std::filesystem::remove_all(folder + "/data/org.example.shop");
  PosixPlatform next(options());
  Data data;
  EXPECT_EQ(next.keychain().itemCopyMatching(with(query("one"), kSecReturnData, true), data), errSecSuccess);
  EXPECT_EQ(data.view(), "kept");
  EXPECT_EQ(modeOf(store), 0600u);
  EXPECT_EQ(modeOf(folder + "/data/.tidewell-keychain"), 0700u);
  Options other = options();
  other.bundleIdentifier = "org.example.other";
  EXPECT_EQ(PosixPlatform(other).keychain().itemCopyMatching(query("one"), data), errSecItemNotFound);
}

TEST_F(KeychainTest, AStoreThatCannotBeReadIsNotOverwrittenAndOneWithoutSenseIsKept) {
  ASSERT_EQ(keychain.itemAdd(item("one", "kept")), errSecSuccess);
  std::filesystem::rename(store, store + ".away");
  std::filesystem::create_directory(store);
  EXPECT_EQ(load("one"), std::to_string(errSecIO));
  EXPECT_EQ(keychain.itemAdd(item("two", "new")), errSecIO);
  std::filesystem::remove(store);
  std::filesystem::rename(store + ".away", store);
  EXPECT_EQ(load("one"), "kept");

  writeFile(store, "garbage");
  EXPECT_EQ(load("one"), std::to_string(errSecItemNotFound));
  EXPECT_EQ(keychain.itemAdd(item("two", "new")), errSecSuccess);
  EXPECT_EQ(bytesOf(store + ".corrupt"), "garbage");
  EXPECT_EQ(load("two"), "new");
}

TEST_F(KeychainTest, ProcessesThatAddAtOnceLoseNoItem) {
  std::vector<pid_t> children;
  for (int process = 0; process < 4; ++process) {
    children.push_back(fork());
    if (children.back() != 0) continue;
    for (int i = 0; i < 10; ++i) {
      const std::string service = std::to_string(process) + "." + std::to_string(i);
      if (keychain.itemAdd(item(service, "x")) != errSecSuccess) _exit(1);
    }
    _exit(0);
  }
  for (const pid_t child : children) {
    int status = -1;
    waitpid(child, &status, 0);
    EXPECT_EQ(status, 0);
  }
  const base::Value all = base::propertyListWithData(bytesOf(store));
  EXPECT_EQ(all.dictionary()->objectForKey("items").array()->count(), 40u);
}

}  // namespace
}  // namespace tidewell::posix
