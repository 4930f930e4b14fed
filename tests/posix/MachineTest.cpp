#include <sys/utsname.h>

#include <map>

#include "posix/PosixTest.h"

namespace tidewell::posix {
namespace {

/// A machine made of files.
class MachineTest : public PosixTest {
 protected:
  [[nodiscard]] PosixPlatform machine(const std::string& bundleIdentifier = "org.example.shop") const {
    Options result = options();
    result.bundleIdentifier = bundleIdentifier;
    result.systemRoot = root + "/";
    return PosixPlatform(result);
  }
  [[nodiscard]] std::string vendorIdentifier(const std::string& bundleIdentifier) const {
    return machine(bundleIdentifier).device().identifierForVendor().value_or("none");
  }
  void link(const std::string& target) const {
    std::filesystem::create_directories(root + "/etc");
    std::filesystem::remove(root + "/etc/localtime");
    std::filesystem::create_symlink(target, root + "/etc/localtime");
  }

  const std::string root = folder + "/root";
};

const std::string kUuid("[0-9A-F]{8}-[0-9A-F]{4}-4[0-9A-F]{3}-[89AB][0-9A-F]{3}-[0-9A-F]{12}");

TEST_F(MachineTest, TheVendorIdentifierIsTheVendorsOnThisMachine) {
  writeFile(root + "/etc/machine-id", "3d1219c7c4c5404aaa1f6d2a48adfda4\n");
  const std::string shop = vendorIdentifier("org.example.shop");
  EXPECT_TRUE(matches(shop, kUuid)) << shop;
  // printf %s MACHINE_ID | openssl dgst -sha256 -hmac org.example, the first sixteen bytes
  EXPECT_EQ(shop, "095AF34A-8409-4F12-A1F3-5F6C38BB9733");
  EXPECT_EQ(vendorIdentifier("org.example.other"), shop);
  EXPECT_NE(vendorIdentifier("org.sample.shop"), shop);
  EXPECT_FALSE(std::filesystem::exists(folder + "/data")) << "nothing has to be kept";
  writeFile(root + "/etc/machine-id", "3d1219c7c4c5404aaa1f6d2a48adfda5\n");
  EXPECT_NE(vendorIdentifier("org.example.shop"), shop);
}

TEST_F(MachineTest, WithoutAMachineIdARandomVendorIdentifierIsKept) {
  writeFile(root + "/etc/machine-id", "uninitialized\n");
  const std::string shop = vendorIdentifier("org.example.shop");
  EXPECT_TRUE(matches(shop, kUuid)) << shop;
  EXPECT_EQ(vendorIdentifier("org.example.shop"), shop);
  EXPECT_EQ(vendorIdentifier("org.example.other"), shop);
  EXPECT_NE(vendorIdentifier("org.sample.shop"), shop);
  const std::string kept = folder + "/data/.tidewell-keychain/org.example.vendor";
  EXPECT_EQ(modeOf(kept), 0600u);

  std::filesystem::rename(kept, kept + ".away");
  std::filesystem::create_directory(kept);  // something that cannot be read
  EXPECT_TRUE(matches(vendorIdentifier("org.example.shop"), kUuid));
  EXPECT_EQ(reportCount(), 1u);
  EXPECT_TRUE(std::filesystem::is_directory(kept));
}

TEST_F(MachineTest, ModelAndVersionAreThePlatformsWhereItHasThem) {
  utsname kernel{};
  uname(&kernel);
  const std::string product = "/sys/class/dmi/id/product_name";
  struct Case {
    std::map<std::string, std::string> files;
    std::string model, version;
  };
  const Case cases[] = {
      {{}, "Linux", kernel.release},
      {{{product, "ThinkPad X1\n"}, {"/etc/os-release", "NAME=x\nVERSION_ID=\"12\"\n"}}, "ThinkPad X1", "12"},
      {{{product, "To Be Filled By O.E.M.\n"},
        {"/sys/firmware/devicetree/base/model", std::string("Raspberry Pi 4\0", 15)},
        {"/usr/lib/os-release", "VERSION_ID='4\\$2'\nVERSION=5"}},
       "Raspberry Pi 4",
       "4$2"},
      {{{product, "\x1b[31mred"}, {"/etc/os-release", "VERSION_ID=\n"}}, "Linux", kernel.release},
  };
  for (const Case& each : cases) {
    std::filesystem::remove_all(root);
    for (const auto& [path, content] : each.files) writeFile(root + path, content);
    PosixPlatform platform(machine());
    EXPECT_EQ(platform.device().model(), each.model);
    EXPECT_EQ(platform.device().machine(), each.model == "Linux" ? kernel.machine : each.model);
    EXPECT_EQ(platform.device().systemVersion(), each.version);
  }
}

TEST_F(MachineTest, AChangeOfTheSystemsTimeZoneShowsAtTheNextQuestion) {
  unsetenv("TZ");
  PosixPlatform platform(machine());
  EXPECT_EQ(platform.clock().systemTimeZone().name(), "UTC");
  link("/usr/share/zoneinfo/Europe/Berlin");
  EXPECT_EQ(platform.clock().systemTimeZone().name(), "Europe/Berlin");
  link("../usr/share/zoneinfo/posix/Asia/Kolkata");
  EXPECT_EQ(platform.clock().systemTimeZone().name(), "Asia/Kolkata");
  std::filesystem::remove(root + "/etc/localtime");
  writeFile(root + "/etc/localtime", std::string("TZif2") + std::string(60, '\0') + "\n<-0330>3:30\n");
  EXPECT_EQ(platform.clock().systemTimeZone().secondsFromGMTForDate({0}), -12600);
  writeFile(root + "/etc/timezone", "America/New_York\n");
  EXPECT_EQ(platform.clock().systemTimeZone().name(), "America/New_York");
  setenv("TZ", "Asia/Tokyo", 1);
  EXPECT_EQ(platform.clock().systemTimeZone().name(), "America/New_York") << "read after the installation";
}

TEST_F(MachineTest, TheVariableTZWinsOverTheSystem) {
  link("/usr/share/zoneinfo/Europe/Berlin");
  constexpr base::Date kSummer{1530000000};
  const std::pair<const char*, int> cases[] = {{":Europe/Paris", 7200},
                                               {"EST5EDT", -14400},
                                               {"", 0},
                                               {"<+0545>-5:45", 20700},
                                               {"Nowhere/Nothing", 0},
                                               {"XYZ-25", 0},
                                               {"/usr/share/zoneinfo/Asia/Tokyo", 32400},
                                               {"ABC-3:30:15DEF", 12615},
                                               {"../../etc/x", 0}};
  for (const auto& [text, seconds] : cases) {
    setenv("TZ", text, 1);
    EXPECT_EQ(machine().clock().systemTimeZone().secondsFromGMTForDate(kSummer), seconds) << text;
  }
}

}  // namespace
}  // namespace tidewell::posix
