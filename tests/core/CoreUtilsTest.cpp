#include <cmath>
#include <thread>

#include "VectorFile.h"
#include "core/CoreFixture.h"
#include "tidewell/base/formats/KeyedArchive.h"
#include "tidewell/core/TWNetwork/Utils/TWNetworkUtils.h"
#include "tidewell/core/TWUtils/KeychainServices/TWKeychain.h"

namespace tidewell {
namespace {

using namespace std::string_view_literals;

class CoreUtilsTest : public CoreFixture {};

TEST_F(CoreUtilsTest, IdentifiersAreWrittenThroughAndRemovedWithNil) {
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

TEST_F(CoreUtilsTest, TheUniqueIDIsMadeOnceAndTheDeviceIDIsMadeFromIt) {
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

TEST_F(CoreUtilsTest, KeychainItemsAreReplacedRemovedAndArchived) {
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

TEST_F(CoreUtilsTest, TheSDKDirectoryIsMadeOnceAndMayBeMissing) {
  const Text path = TWCoreUtils::getSDKLibraryDirectoryPath();
  ASSERT_TRUE(path && path->ends_with("/Tidewell"));
  EXPECT_EQ(TWCoreUtils::getSDKLibraryDirectoryPath(), path);
  EXPECT_EQ(files().count(testing::FileOperation::createDirectory), 1u);
  EXPECT_TRUE(files().fileExistsAtPath(*path).isDirectory);
  files().removeTree(*path);
  files().failCall(testing::FileOperation::createDirectory, 1, std::make_error_code(std::errc::io_error));
  EXPECT_EQ(TWCoreUtils::getSDKLibraryDirectoryPath(), path);
  files().setLibraryPath(std::nullopt);
  EXPECT_EQ(TWCoreUtils::getSDKLibraryDirectoryPath(), Text());
}

TEST_F(CoreUtilsTest, DevicesHaveTheirMarketingName) {
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

// Encoders

TEST_F(CoreUtilsTest, BytesAreWrittenInHexAndTextsHashedAndSearched) {
  std::string bytes;
  for (char byte = 0; byte < 40; ++byte) bytes += byte;
  EXPECT_EQ(TWCoreUtils::hexTokenForData(base::Data(bytes)),
            "000102030405060708090a0b0c0d0e0f101112131415161718191a1b1c1d1e1f")
      << "the first 32 bytes";
  EXPECT_EQ(TWCoreUtils::hexTokenForData(base::Data("\xFF\x80")), "ff80");
  EXPECT_EQ(TWCoreUtils::hexTokenForData(std::nullopt), "");
  // RFC 1321, A.5
  EXPECT_EQ(TWCoreUtils::MD5hashForString(std::nullopt), "d41d8cd98f00b204e9800998ecf8427e");
  EXPECT_EQ(TWCoreUtils::MD5hashForString("abc\0def"sv), "900150983cd24fb0d6963f7d28e17f72");
  EXPECT_TRUE(TWCoreUtils::checkIfString("a.b", "."));
  EXPECT_FALSE(TWCoreUtils::checkIfString("axb", "."));
  EXPECT_FALSE(TWCoreUtils::checkIfString("abc", ""));
  EXPECT_FALSE(TWCoreUtils::checkIfString("abc", std::nullopt));
  EXPECT_TRUE(TWCoreUtils::checkIfString(std::nullopt, "x"));
}

TEST_F(CoreUtilsTest, ADictionaryBecomesPrettyJSONOrALogLine) {
  TWLogger::debug(1);
  EXPECT_EQ(TWCoreUtils::getJSONStringFromDictionary(base::Dictionary{{"b", "a/b"}, {"a", base::Array{1}}}),
            Text("{\n  \"b\" : \"a\\/b\",\n  \"a\" : [\n    1\n  ]\n}"));
  EXPECT_EQ(TWCoreUtils::getJSONStringFromDictionary(std::nullopt), Text());
  EXPECT_EQ(lines(), Lines());
  EXPECT_EQ(TWCoreUtils::getJSONStringFromDictionary(base::Dictionary{{"k", NAN}}), Text());
  expectLinesBeginning({"Tidewell - Error while constructing JSON String: "});
}

TEST_F(CoreUtilsTest, ColoursAreReadBehindTheFirstCharacter) {
  const struct {
    std::optional<std::string_view> text;
    int red, green, blue;
  } cases[] = {
      {std::nullopt, 0, 0, 0}, {"", 0, 0, 0},        {"#", 0, 0, 0},          {"#FF8000", 255, 128, 0},
      {"FF8000", 15, 128, 0},  {"#F80", 0, 15, 128}, {"#12zz", 0, 0, 18},     {"#80FF8000", 255, 128, 0},
      {"😀FF8000", 0, 0, 0},    {"#zz", 0, 0, 0},     {"éFF8000", 255, 128, 0}};
  for (const auto& [text, red, green, blue] : cases) {
    EXPECT_EQ(TWCoreUtils::getColorFromHexValue(text), (TWColor{red / 255.0, green / 255.0, blue / 255.0, 1}))
        << text.value_or("nil");
  }
}

TEST_F(CoreUtilsTest, APayloadIsConvertedForJSONDownToItsDeepestLevel) {
  const auto transform = &TWCoreUtils::transformPayloadForIncompatibleTypes;
  const base::Dictionary payload{
      {"null", base::Value::null()},         {"nested", base::Dictionary{{"date", base::Date{1.5}}}},
      {"data", base::Data("\x01\xFF")},      {"url", base::Url::URLWithString("https://h.example/a?b=c")},
      {"array", base::Array{base::Date{1}}}, {"number", 7}};
  const base::Dictionary expected{{"null", ""},
                                  {"nested", base::Dictionary{{"date", 1500.0}}},
                                  {"data", "01ff"},
                                  {"url", "https://h.example/a?b=c"},
                                  {"array", base::Array{base::Date{1}}},
                                  {"number", 7}};
  EXPECT_EQ(transform(payload).description(), expected.description());

  TWLogger::debug(1);
  base::Dictionary nested{{"leaf", "x"}};
  for (int depth = 1; depth < 512; ++depth) nested = {{"k", nested}};
  EXPECT_EQ(transform(nested), nested);
  EXPECT_EQ(lines(), Lines());
  EXPECT_EQ(transform({{"k", nested}}).count(), 1u);
  expectLinesBeginning({caughtLine(
      "TWCoreUtils", 529, "transformPayloadForIncompatibleTypes:", "error while transforming data is ")});
}

}  // namespace
}  // namespace tidewell
