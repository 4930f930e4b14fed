#include "posix/PosixTest.h"
#include "tidewell/base/formats/PropertyList.h"

namespace tidewell::posix {
namespace {

class InstallTest : public PosixTest {
 protected:
  /// What a function writes to standard error.
  std::string errorOutput(const std::function<void()>& function) const {
    testing::internal::CaptureStderr();
    function();
    return testing::internal::GetCapturedStderr();
  }
};

TEST_F(InstallTest, UnsoundOptionsAreRefusedWithOneLine) {
  Options withoutBundle = options();
  withoutBundle.bundleIdentifier.clear();
  Options withoutVersion = options();
  withoutVersion.version.clear();
  Options relative = options();
  relative.dataHome = "data";
  for (const auto& [given, word] :
       {std::pair{withoutBundle, "bundle identifier"}, {withoutVersion, "version"}, {relative, "absolute"}}) {
    const std::string output = errorOutput([&, given = given] { EXPECT_EQ(install(given), nullptr); });
    EXPECT_NE(output.find(word), std::string::npos) << output;
    EXPECT_EQ(std::count(output.begin(), output.end(), '\n'), 1) << output;
    EXPECT_FALSE(platform::Platform::isInstalled());
  }
}

TEST_F(InstallTest, AMachineWithoutAHomeWorksInMemory) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can become a user without a record";
  EXPECT_EQ(inChild([&] {
              unsetenv("XDG_DATA_HOME");
              unsetenv("HOME");
              if (setuid(54321) != 0) return kSkipped;
              Options without = options();
              without.dataHome.clear();
              PosixPlatform platform(without);
              EXPECT_FALSE(platform.fileManager().pathForDirectory(platform::SearchPathDirectory::library));
              platform.standardUserDefaults().setObject("value", "key");
              EXPECT_FALSE(platform.standardUserDefaults().synchronize());
              EXPECT_EQ(platform.standardUserDefaults().objectForKey("key"), base::Value("value"));
              base::Data data;
              EXPECT_EQ(platform.keychain().itemCopyMatching(
                            {{platform::kSecClass, platform::kSecClassGenericPassword}}, data),
                        platform::errSecNotAvailable);
              EXPECT_TRUE(platform.device().identifierForVendor());
              return exitStatus();
            }),
            0);
}

TEST_F(InstallTest, ValuesInCodeWinOverThoseOfTheInfoPlist) {
  Options with = options();
  with.infoPlistPath = folder + "/Info.plist";
  with.infoDictionary = {{"InCode", 1}, {"InBoth", "code"}};
  writeFile(with.infoPlistPath,
            base::dataWithPropertyList(
                base::Dictionary{{"InBoth", "file"}, {"InFile", true}, {"CFBundleIdentifier", "x"}},
                base::PropertyListFormat::xml));
  PosixPlatform platform(with);
  EXPECT_EQ(base::Value(platform.bundles().mainInfoDictionary()),
            base::Value(base::Dictionary{{"InBoth", "code"},
                                         {"InFile", true},
                                         {"InCode", 1},
                                         {"CFBundleIdentifier", "org.example.shop"},
                                         {"CFBundleShortVersionString", "2.5"}}));
  const auto sdk = platform.bundles().infoDictionaryForIdentifier("com.tidewell.TidewellSDK");
  ASSERT_TRUE(sdk);
  EXPECT_EQ(sdk->objectForKey("CFBundleShortVersionString"), base::Value(TIDEWELL_VERSION_STRING));
  EXPECT_FALSE(platform.bundles().infoDictionaryForIdentifier("org.example.none"));

  with.infoPlistPath = folder + "/none.plist";
  const std::string output = errorOutput([&] { PosixPlatform without(with); });
  EXPECT_NE(output.find("none.plist"), std::string::npos) << output;
}

}  // namespace
}  // namespace tidewell::posix
