#include <fstream>
#include <thread>

#include "VectorFile.h"
#include "core/CoreFixture.h"
#include "tidewell/base/formats/KeyedArchive.h"
#include "tidewell/core/TWNetwork/Utils/TWNetworkUtils.h"
#include "tidewell/core/TWUtils/KeychainServices/TWKeychain.h"

namespace tidewell {
namespace {

class IdentityTest : public CoreFixture {};

TEST_F(IdentityTest, IdentifiersAreWrittenThroughAndRemovedWithNil) {
  const struct {
    void (*save)(std::optional<std::string_view>);
    Text (*read)();
    std::string_view key;
  } cases[] = {
      {&TWCoreUtils::saveAppId, &TWCoreUtils::getTidewellAppId, "TW_appId"},
      {&TWCoreUtils::saveDeviceToken, &TWCoreUtils::getDeviceToken, "TW_deviceToken"},
      {&TWCoreUtils::saveUniqueId, &TWCoreUtils::getUniqueId, "TW_uniqueServiceId"},
  };
  for (const auto& [save, read, key] : cases) {
    for (const Text& value : {Text("value"), Text()}) {
      save(value);
      EXPECT_EQ(stored(key), base::Value(value));
      EXPECT_EQ(read(), value);
    }
  }
  EXPECT_FALSE(TWCoreUtils::installRegistered());
  TWCoreUtils::registerInstall();
  EXPECT_TRUE(TWCoreUtils::installRegistered());
  EXPECT_EQ(stored("TW_APP_INSTALL"), base::Value(true));
}

TEST_F(IdentityTest, TheUniqueIDIsMadeOnceAndTheDeviceIDIsMadeFromIt) {
  platform->testDefaults().setObject("", "TW_identifierForVendor");
  platform->testDevice().identifierForVendorValue = std::nullopt;
  platform->testKeychain().setStatus(platform::errSecInteractionNotAllowed);
  EXPECT_EQ(TWCoreUtils::getSDKUniqueIdForUser(), Text());
  EXPECT_EQ(TWNetworkUtils::getDeviceUniqueID(), Text());
  EXPECT_FALSE(TWNetworkUtils::isDeviceUniqueIDPresentInKeyChain());

  platform->testKeychain().setStatus(platform::errSecSuccess);
  platform->testDevice().identifierForVendorValue = "V";
  platform->testClock().setNow({1542000000.6});
  Text other;
  std::thread thread([&] { other = TWNetworkUtils::getDeviceUniqueID(); });
  EXPECT_EQ(TWNetworkUtils::getDeviceUniqueID(), Text("P-V-1542000001"));
  thread.join();
  EXPECT_EQ(other, Text("P-V-1542000001"));
  EXPECT_EQ(stored("TW_identifierForVendor"), base::Value("V-1542000001"));
  EXPECT_FALSE(TWNetworkUtils::isDeviceUniqueIDPresentInKeyChain()) << "saved on the global queue";
  platform->testGlobalQueue().runAll();
  EXPECT_EQ(TWKeychain::keychainItem("com.tidewell.org.example.shop"), "P-V-1542000001");

  platform->testClock().advance(1000);
  platform = platform->restart();
  TWKeychain::save("com.tidewell.org.example.shop", "P-other");
  EXPECT_EQ(TWCoreUtils::getSDKUniqueIdForUser(), Text("V-1542000001"));
  EXPECT_EQ(TWCoreUtils::getDeviceUniqueID(), Text("P-V-1542000001")) << "fixed for the process";
}

TEST_F(IdentityTest, KeychainItemsAreReplacedRemovedAndArchived) {
  TWLogger::debug(1);
  TWKeychain::save("s", "first");
  TWKeychain::save("s", "second");
  TWKeychain::save("t", 7);
  EXPECT_EQ(platform->testKeychain().itemCount(), 2u);
  EXPECT_EQ(TWKeychain::load("s"), base::Value("second"));
  EXPECT_EQ(TWKeychain::keychainItem("t"), "") << "not a text";
  base::Dictionary query{{"class", "genp"}, {"svce", "s"}, {"acct", "s"}, {"pdmn", "ck"}};
  EXPECT_EQ(TWKeychain::getKeychainQuery("s"), query);
  base::Data data;
  ASSERT_EQ(platform->keychain().itemCopyMatching(query, data), platform::errSecSuccess);
  EXPECT_EQ(base::unarchiveObjectWithData(data.view()), base::Value("second"));
  TWKeychain::remove("s");
  EXPECT_TRUE(TWKeychain::load("s").isNil());
  EXPECT_EQ(lines(), Lines());

  base::Dictionary garbage = TWKeychain::getKeychainQuery("a%@b");
  garbage.setObject(base::Data("garbage"), platform::kSecValueData);
  platform->keychain().itemAdd(garbage);
  EXPECT_TRUE(TWKeychain::load("a%@b").isNil());
  expectLinesBeginning({caughtLine("TWKeychain", 34, "load:", "Unarchive of a%@b failed: ")});
}

TEST_F(IdentityTest, TheSDKDirectoryIsMadeOnceAndMayBeMissing) {
  const Text path = TWCoreUtils::getSDKLibraryDirectoryPath();
  ASSERT_TRUE(path);
  EXPECT_TRUE(path->ends_with("/Tidewell")) << *path;
  EXPECT_TRUE(files().fileExistsAtPath(*path).isDirectory);
  EXPECT_EQ(TWCoreUtils::getSDKLibraryDirectoryPath(), path);
  EXPECT_EQ(files().count(testing::FileOperation::createDirectory), 1u);
  files().removeTree(*path);
  files().failCall(testing::FileOperation::createDirectory, 1,
                   std::make_error_code(std::errc::read_only_file_system));
  EXPECT_EQ(TWCoreUtils::getSDKLibraryDirectoryPath(), path);
  files().setLibraryPath(std::nullopt);
  EXPECT_EQ(TWCoreUtils::getSDKLibraryDirectoryPath(), Text());
}

TEST_F(IdentityTest, DevicesHaveTheirMarketingName) {
  std::vector<vectors::Row> devices = vectors::tableFile("device_names.tsv");
  EXPECT_EQ(devices.size(), 55u);
  for (const auto& [machine, name] : std::map<std::string, std::string>{{"iPhone13,2", "iPhone"},
                                                                        {"iPad7,5", "iPad"},
                                                                        {"iPod9,1", "iPod Touch"},
                                                                        {"Watch3,1", "Unknown"},
                                                                        {"iphone10,3", "Unknown"},
                                                                        {"x iPad iPod", "iPod Touch"},
                                                                        {"", "Unknown"}})
    devices.push_back({{"machine", machine}, {"name", name}});
  for (vectors::Row& device : devices) {
    platform->testDevice().machineValue = device["machine"];
    EXPECT_EQ(TWCoreUtils::getDeviceName(), device["name"]) << device["machine"];
  }
}

}  // namespace
}  // namespace tidewell
