#include <fstream>

#include "core/CoreFixture.h"
#include "tidewell/core/TWCoreConstants.h"
#include "tidewell/core/TWUtils/TWCoreUtils.h"

namespace tidewell {
namespace {

using testing::FileOperation;

class IdentifiersTest : public CoreFixture {
 protected:
  base::Value stored(std::string_view key) {
    return platform->testDefaults().synchronized().objectForKey(key);
  }
};

TEST_F(IdentifiersTest, SaversWriteThroughAndNilRemoves) {
  const struct {
    void (*save)(std::optional<std::string_view>);
    Text (*read)();
    std::string_view key;
  } cases[] = {
      {&TWCoreUtils::saveAppId, &TWCoreUtils::getTidewellAppId, "TW_appId"},
      {&TWCoreUtils::saveDeviceToken, &TWCoreUtils::getDeviceToken, "TW_deviceToken"},
      {&TWCoreUtils::saveUniqueId, &TWCoreUtils::getUniqueId, "TW_uniqueServiceId"},
  };
  for (const auto& each : cases) {
    EXPECT_EQ(each.read(), Text());
    each.save("value");
    EXPECT_EQ(stored(each.key), base::Value("value"));
    EXPECT_EQ(each.read(), Text("value"));
    each.save(std::nullopt);
    EXPECT_EQ(stored(each.key), base::Value());
    EXPECT_EQ(each.read(), Text());
  }
  EXPECT_FALSE(TWCoreUtils::installRegistered());
  TWCoreUtils::registerInstall();
  EXPECT_EQ(stored("TW_APP_INSTALL"), base::Value(true));
  EXPECT_TRUE(TWCoreUtils::installRegistered());
}

TEST_F(IdentifiersTest, TheUniqueIdIsMadeOnceOfVendorAndTimeAndSurvives) {
  platform->testDefaults().setObject("", kUserDefaultsKeySDKUniqueId);
  platform->testDevice().identifierForVendorValue = std::nullopt;
  EXPECT_EQ(TWCoreUtils::getSDKUniqueIdForUser(), Text());
  platform->testDevice().identifierForVendorValue = "V";
  platform->testClock().setNow({1542000000.6});
  EXPECT_EQ(TWCoreUtils::getSDKUniqueIdForUser(), Text("V-1542000001"));
  EXPECT_EQ(stored(kUserDefaultsKeySDKUniqueId), base::Value("V-1542000001"));
  platform->testClock().advance(1000);
  restart();
  EXPECT_EQ(TWCoreUtils::getSDKUniqueIdForUser(), Text("V-1542000001"));
}

TEST_F(IdentifiersTest, TheSDKDirectoryIsMadeOnceAndMayBeMissing) {
  auto& files = platform->testFiles();
  const Text path = TWCoreUtils::getSDKLibraryDirectoryPath();
  ASSERT_TRUE(path);
  EXPECT_TRUE(path->ends_with("/Tidewell")) << *path;
  EXPECT_TRUE(files.fileExistsAtPath(*path).isDirectory);
  EXPECT_EQ(TWCoreUtils::getSDKLibraryDirectoryPath(), path);
  EXPECT_EQ(files.count(FileOperation::createDirectory), 1u);

  files.removeTree(*path);
  files.failCall(FileOperation::createDirectory, 1, std::make_error_code(std::errc::read_only_file_system));
  EXPECT_EQ(TWCoreUtils::getSDKLibraryDirectoryPath(), path);
  files.setLibraryPath(std::nullopt);
  EXPECT_EQ(TWCoreUtils::getSDKLibraryDirectoryPath(), Text());
}

TEST_F(IdentifiersTest, DevicesBearTheirMarketingName) {
  std::ifstream table(TIDEWELL_TEST_DATA "/device_names.tsv");
  std::string machine, name;
  std::getline(table, machine);  // the heading
  int known = 0;
  while (std::getline(table, machine, '\t') && std::getline(table, name)) {
    platform->testDevice().machineValue = machine;
    EXPECT_EQ(TWCoreUtils::getDeviceName(), name) << machine;
    ++known;
  }
  EXPECT_EQ(known, 55);
  const std::pair<const char*, const char*> others[] = {
      {"iPhone13,2", "iPhone"},      {"iPad7,5", "iPad"},     {"iPod9,1", "iPod Touch"},
      {"arm64", "Unknown"},          {"Watch3,1", "Unknown"}, {"iphone10,3", "Unknown"},
      {"x iPad iPod", "iPod Touch"}, {"", "Unknown"},
  };
  for (const auto& [code, expected] : others) {
    platform->testDevice().machineValue = code;
    EXPECT_EQ(TWCoreUtils::getDeviceName(), expected) << code;
  }
}

}  // namespace
}  // namespace tidewell
