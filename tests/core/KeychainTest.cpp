#include "tidewell/core/TWUtils/KeychainServices/TWKeychain.h"

#include <thread>

#include "core/CoreFixture.h"
#include "tidewell/base/formats/KeyedArchive.h"
#include "tidewell/core/TWNetwork/Utils/TWNetworkUtils.h"
#include "tidewell/core/TWUtils/TWCoreUtils.h"
#include "tidewell/core/TWUtils/TWLogger/TWLogger.h"

namespace tidewell {
namespace {

constexpr std::string_view kService = "com.tidewell.org.example.shop";

class KeychainTest : public CoreFixture {};

TEST_F(KeychainTest, AnItemIsReplacedAndRemovedAndAnArchiveUnderServiceAndAccount) {
  EXPECT_EQ(TWKeychain::keychainItem("s"), "");
  TWKeychain::save("s", "first");
  TWKeychain::save("s", "second");
  TWKeychain::save("t", 7);
  EXPECT_EQ(platform->testKeychain().itemCount(), 2u);
  EXPECT_EQ(TWKeychain::load("s"), base::Value("second"));
  EXPECT_EQ(TWKeychain::keychainItem("s"), "second");
  EXPECT_EQ(TWKeychain::keychainItem("t"), "") << "no text";
  const base::Dictionary query{{"class", "genp"}, {"svce", "s"}, {"acct", "s"}, {"pdmn", "ck"}};
  EXPECT_EQ(TWKeychain::getKeychainQuery("s"), query);
  base::Data data;
  ASSERT_EQ(platform->keychain().itemCopyMatching(query, data), platform::errSecSuccess);
  EXPECT_EQ(base::unarchiveObjectWithData(data.view()), base::Value("second"));
  TWKeychain::remove("s");
  EXPECT_TRUE(TWKeychain::load("s").isNil());
  EXPECT_EQ(platform->testKeychain().itemCount(), 1u);
}

TEST_F(KeychainTest, AnItemThatIsNoArchiveIsLoggedAndReadsAsNothing) {
  TWLogger::debug(1);
  base::Dictionary item = TWKeychain::getKeychainQuery("a%@b");
  item.setObject(base::Data("garbage"), platform::kSecValueData);
  platform->keychain().itemAdd(item);
  EXPECT_TRUE(TWKeychain::load("a%@b").isNil());
  const auto logged = lines();
  ASSERT_EQ(logged.size(), 1u);
  EXPECT_TRUE(logged[0].starts_with(
      "Tidewell - <file - TWKeychain, line number - 34 , method - 'load:'> Unarchive of a%@b failed: "))
      << logged[0];
}

TEST_F(KeychainTest, TheDeviceIDIsAnsweredAtOnceSavedLaterAndKeptForTheProcess) {
  const Text made = TWNetworkUtils::getDeviceUniqueID();
  EXPECT_EQ(made, Text("P-6F9619FF-8B86-D011-B42D-00C04FC964FF-1542042309"));
  EXPECT_FALSE(TWNetworkUtils::isDeviceUniqueIDPresentInKeyChain());
  platform->testGlobalQueue().runAll();
  EXPECT_EQ(TWKeychain::load(kService), base::Value(made));
  TWKeychain::save(kService, "P-other");
  EXPECT_EQ(TWCoreUtils::getDeviceUniqueID(), made);
}

TEST_F(KeychainTest, NoDeviceIDIsAskedForAgain) {
  platform->testKeychain().setStatus(platform::errSecInteractionNotAllowed);
  platform->testDevice().identifierForVendorValue = std::nullopt;
  EXPECT_EQ(TWNetworkUtils::getDeviceUniqueID(), Text());
  EXPECT_FALSE(TWNetworkUtils::isDeviceUniqueIDPresentInKeyChain());
  platform->testKeychain().setStatus(0);
  TWKeychain::save(kService, "P-late");
  EXPECT_EQ(TWNetworkUtils::getDeviceUniqueID(), Text("P-late"));
}

TEST_F(KeychainTest, TwoThreadsThatAskFirstGetOneDeviceID) {
  Text other;
  std::thread thread([&] { other = TWNetworkUtils::getDeviceUniqueID(); });
  const Text mine = TWNetworkUtils::getDeviceUniqueID();
  thread.join();
  EXPECT_TRUE(mine);
  EXPECT_EQ(mine, other);
}

}  // namespace
}  // namespace tidewell
