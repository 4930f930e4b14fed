#include <pwd.h>
#include <sys/utsname.h>

#include <map>

#include "posix/PosixTest.h"
#include "tidewell/base/formats/PropertyList.h"

// What the platform learns from the host, its environment and the machine.
namespace tidewell::posix {
namespace {

using base::Dictionary;
using base::Value;

class InstallTest : public PosixTest {
 protected:
  template <class Function>
  static std::string errorOutput(Function function) {
    testing::internal::CaptureStderr();
    function();
    return testing::internal::GetCapturedStderr();
  }
  /// Options of a machine made of files in the test's folder.
  [[nodiscard]] Options machine(std::string_view bundleIdentifier = "org.example.shop") const {
    Options result = options(bundleIdentifier);
    result.systemRoot = folder + "/";
    return result;
  }
  /// What hosts/environment.cpp prints: the rights, then what it takes from the environment.
  [[nodiscard]] std::string environment(const std::string& program, const std::string& variables,
                                        const std::string& arguments = "") const {
    const std::string command =
        "env -i " + variables + " '" + program + "' " + arguments + " > '" + folder + "/out'";
    return std::system(command.c_str()) == 0 ? bytesOf(folder + "/out") : "did not run";
  }
};

TEST_F(InstallTest, UnsoundOptionsAreRefusedWithOneLine) {
  Options withoutBundle = options(""), withoutVersion = options(), relative = options();
  withoutVersion.version.clear();
  relative.dataHome = "data";
  for (const auto& [given, word] :
       {std::pair{withoutBundle, "bundle identifier"}, {withoutVersion, "version"}, {relative, "absolute"}}) {
    const std::string output = errorOutput([&, given = given] { EXPECT_EQ(install(given), nullptr); });
    EXPECT_NE(output.find(word), std::string::npos) << output;
    EXPECT_EQ(output.find('\n'), output.size() - 1) << output;
    EXPECT_FALSE(platform::Platform::isInstalled());
  }
}

TEST_F(InstallTest, AUserWithoutAHomeWorksInMemory) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can become a user without a record";
  EXPECT_EQ(inChild([&] {
              unsetenv("XDG_DATA_HOME");
              unsetenv("HOME");
              ASSERT_EQ(setuid(54321), 0);
              Options without = options();
              without.dataHome.clear();
              PosixPlatform platform(without);
              using Directory = platform::SearchPathDirectory;
              for (const Directory each : {Directory::library, Directory::document})
                EXPECT_FALSE(platform.fileManager().pathForDirectory(each));
              platform.standardUserDefaults().setObject("value", "key");
              EXPECT_FALSE(platform.standardUserDefaults().synchronize());
              EXPECT_EQ(platform.standardUserDefaults().objectForKey("key"), Value("value"));
              const base::Dictionary query{{platform::kSecClass, platform::kSecClassGenericPassword}};
              base::Data found;
              EXPECT_EQ(platform.keychain().itemDelete(query), platform::errSecNotAvailable);
              EXPECT_EQ(platform.keychain().itemCopyMatching(query, found), platform::errSecNotAvailable);
              EXPECT_TRUE(platform.device().identifierForVendor());
            }),
            0);
}

TEST_F(InstallTest, ValuesInCodeWinOverThoseOfTheInfoPlist) {
  Options with = options();
  with.infoPlistPath = folder + "/Info.plist";
  with.infoDictionary = {{"InCode", 1}, {"InBoth", "code"}};
  const Dictionary inFile{{"InBoth", "file"}, {"InFile", true}, {"CFBundleIdentifier", "x"}};
  writeFile(with.infoPlistPath, base::dataWithPropertyList(inFile, base::PropertyListFormat::xml));
  PosixPlatform platform(with);
  EXPECT_EQ(Value(platform.bundles().mainInfoDictionary()),
            Value(Dictionary{{"InBoth", "code"},
                             {"InFile", true},
                             {"InCode", 1},
                             {"CFBundleIdentifier", "org.example.shop"},
                             {"CFBundleShortVersionString", "2.5"}}));
  EXPECT_FALSE(platform.bundles().infoDictionaryForIdentifier("org.example.none"));
  with.infoPlistPath = folder + "/none.plist";
  const std::string output = errorOutput([&] { PosixPlatform without(with); });
  EXPECT_NE(output.find("none.plist"), std::string::npos) << output;
}

TEST_F(InstallTest, ProxiesAndCertificatesAreThoseOfTheOptionsElseTheEnvironmentElseTheSystem) {
  const std::string file = folder + "/etc/ssl/cert.pem";
  writeFile(file, "PEM");
  std::filesystem::create_directories(folder + "/etc/ssl/certs");
  const std::string proxies = "https_proxy=p:1 no_proxy=example.org";
  // Variables, CA file and proxy of the options, and what is printed.
  const std::string cases[][4] = {
      {"", "-", "", file + " - - - -"},
      {"SSL_CERT_DIR=/b", "-", "", "- /b - - -"},
      {"SSL_CERT_FILE=/etc/ssl/cert.pem SSL_CERT_DIR=/etc/ssl/certs", "-", "", "/etc/ssl/cert.pem - - - -"},
      {"SSL_CERT_FILE=/a.pem SSL_CERT_DIR=/b", "/own.pem", "", "/own.pem - - - -"},
      {proxies, "/c", "", "/c - - p:1 example.org"},
      {proxies, "/c", "-", "/c - - - -"},
      {proxies, "/c", "socks5://o:9", "/c - socks5://o:9 socks5://o:9 -"},
      {"ALL_PROXY=a:2 HTTPS_PROXY=s:3 HTTP_PROXY=request-header http_proxy=", "/c", "", "/c - a:2 s:3 -"},
  };
  for (const auto& [variables, caFile, proxy, expected] : cases) {
    const std::string output =
        environment(POSIX_ENVIRONMENT, variables, "'" + folder + "' " + caFile + " '" + proxy + "'");
    EXPECT_TRUE(output.starts_with("ordinary\n" + expected + " \n")) << output;
  }
}

TEST_F(InstallTest, AProcessWithRaisedRightsTrustsNothingOfItsEnvironment) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can raise rights";
  const std::string program = folder + "/environment";
  const auto output = [&] {
    return environment(program,
                       "HOME=/h XDG_DATA_HOME=/d TZ=t SSL_CERT_FILE=f SSL_CERT_DIR=c http_proxy=p "
                       "https_proxy=s no_proxy=n SSLKEYLOGFILE=k ICU_DATA=i ICU_TIMEZONE_FILES_DIR=z",
                       "/none - ''");
  };
  std::filesystem::copy_file(POSIX_ENVIRONMENT, program);
  EXPECT_EQ(output(), "ordinary\nf c p s n \n /h /d t k i z ");
  ASSERT_EQ(chown(program.c_str(), 0, 54321), 0);
  ASSERT_EQ(chmod(program.c_str(), 02755), 0);
  if (output().starts_with("ordinary")) GTEST_SKIP() << "the temporary folder is mounted without such rights";
  const std::string home = getpwuid(0)->pw_dir;
  EXPECT_EQ(output(), "raised\n- - - - - \n " + home + " " + home + "/.local/share - - - - ");
}

TEST_F(InstallTest, TheVendorIdentifierFollowsFromTheMachineIdOrIsKeptInAFile) {
  const auto identifier = [&](std::string_view bundleIdentifier = "org.example.shop") {
    return PosixPlatform(machine(bundleIdentifier)).device().identifierForVendor().value_or("none");
  };
  writeFile(folder + "/etc/machine-id", "3d1219c7c4c5404aaa1f6d2a48adfda4\n");
  // printf %s MACHINE_ID | openssl dgst -sha256 -hmac org.example, the first sixteen bytes
  EXPECT_EQ(identifier(), "095AF34A-8409-4F12-A1F3-5F6C38BB9733");
  EXPECT_FALSE(std::filesystem::exists(data));
  writeFile(folder + "/etc/machine-id", "uninitialized\n");
  const std::string kept = identifier(), file = data + "/.tidewell-keychain/org.example.vendor";
  EXPECT_EQ(kept.size(), 36u) << kept;
  EXPECT_EQ(identifier("org.example.other"), kept);
  EXPECT_NE(identifier("org.sample.shop"), kept);
  EXPECT_EQ(modeOf(file), 0600u);
  std::filesystem::remove(file);
  std::filesystem::create_directory(file);  // cannot be read, and is not replaced
  EXPECT_EQ(identifier().size(), 36u);
  EXPECT_EQ(countReports(), 1u);
}

TEST_F(InstallTest, ModelAndVersionComeFromTheSystemsFiles) {
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
  int machines = 0;
  for (const Case& each : cases) {
    Options with = options();
    with.systemRoot = folder + "/" + std::to_string(++machines);
    for (const auto& [path, content] : each.files) writeFile(with.systemRoot + path, content);
    PosixPlatform platform(with);
    EXPECT_EQ(platform.device().model(), each.model);
    EXPECT_EQ(platform.device().machine(), each.model == "Linux" ? kernel.machine : each.model);
    EXPECT_EQ(platform.device().systemVersion(), each.version);
  }
}

TEST_F(InstallTest, TheTimeZoneIsTheVariablesOrElseTheSystemsAndItsChangesShow) {
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
  const std::string place = folder + "/etc/localtime";
  const auto link = [&](const char* target) {
    std::filesystem::remove(place);
    std::filesystem::create_symlink(target, place);
  };
  std::filesystem::create_directories(folder + "/etc");
  link("/usr/share/zoneinfo/America/New_York");
  for (const auto& [text, seconds] : cases) {
    setenv("TZ", text, 1);
    EXPECT_EQ(PosixPlatform(machine()).clock().systemTimeZone().secondsFromGMTForDate(kSummer), seconds)
        << text;
  }
  unsetenv("TZ");
  PosixPlatform platform(machine());
  setenv("TZ", "Asia/Tokyo", 1);  // after the installation
  const auto name = [&] { return platform.clock().systemTimeZone().name(); };
  EXPECT_EQ(name(), "America/New_York");
  link("../usr/share/zoneinfo/posix/Asia/Kolkata");
  EXPECT_EQ(name(), "Asia/Kolkata");
  std::filesystem::remove(place);
  EXPECT_EQ(name(), "UTC");
  writeFile(place, std::string("TZif2") + std::string(60, '\0') + "\n<-0330>3:30\n");
  EXPECT_EQ(platform.clock().systemTimeZone().secondsFromGMTForDate({0}), -12600);
  writeFile(folder + "/etc/timezone", "America/New_York\n");
  EXPECT_EQ(name(), "America/New_York");
}

}  // namespace
}  // namespace tidewell::posix
