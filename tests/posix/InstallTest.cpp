// SPDX-License-Identifier: Apache-2.0
#include <pwd.h>
#include <sys/utsname.h>

#include <map>

#include "posix/PosixTest.h"
#include "tidewell/base/formats/PropertyList.h"

// What the platform reads from its options, the environment and the system.
namespace tidewell::posix {
namespace {

using base::Dictionary;

class InstallTest : public PosixTest {
 protected:
  /// Options that read system files below the test's folder.
  [[nodiscard]] Options machine(std::string_view bundleIdentifier = "org.example.shop") const {
    Options result = options(bundleIdentifier);
    result.setSystemRoot(folder + "/");
    return result;
  }
  /// The output of hosts/environment.cpp: its privileges, then what it reads from the environment.
  [[nodiscard]] std::string environment(const std::string& program, const std::string& variables,
                                        const std::string& arguments = "") const {
    const std::string command =
        "env -i " + variables + " '" + program + "' " + arguments + " > '" + folder + "/out'";
    return std::system(command.c_str()) == 0 ? bytesOf(folder + "/out") : "did not run";
  }
};

TEST_F(InstallTest, InvalidOptionsAreRefusedWithOneLine) {
  using Change = void (*)(Options&);
  const std::pair<Change, std::string> rows[] = {
      {[](Options& o) { o.setBundleIdentifier(""); }, R"(setBundleIdentifier: "" is not)"},
      {[](Options& o) { o.setVersion(""); }, R"(setVersion: "" is not)"},
      {[](Options& o) { o.setDataHome("data"); }, R"(setDataHome: "data" is not an absolute path)"},
      {[](Options& o) { o.setSystemRoot("."); }, R"(setSystemRoot: "." is not an absolute path)"},
      {[](Options& o) { o.setCaFile("/none.pem"); }, R"(setCaFile: "/none.pem" is not a readable)"},
      {[](Options& o) { o.setProxyCaFile("/tmp"); }, R"(setProxyCaFile: "/tmp" is not a readable)"},
      {[](Options& o) { o.addConnectionOverride("a", 0, "::1", 1); }, R"("0" is not a port from 1)"},
      {[](Options& o) { o.addConnectionOverride("a", 1, "b", 1); }, R"("b" is not an IP address)"},
      {[](Options& o) { o.addConnectionOverride("", 1, "::1", 1); }, R"("" is not a host name)"},
      {[](Options& o) { o.setMaximumBodyBytes(0); }, R"(setMaximumBodyBytes: "0" is not)"},
      {[](Options& o) {
         o.setScreenSize({-1, 1});
       },
       R"(setScreenSize: "-1)"}};
  std::vector<std::pair<Options, std::string>> cases;
  for (const auto& [change, complaint] : rows) {
    cases.emplace_back(options(), complaint);
    change(cases.back().first);
  }
  for (const std::string host :
       {"https://a.example", "a.example/x", "a..b", "-a", "a b", "a:0", "a:70000", ":1", "a:"})
    cases.emplace_back(options().setServiceHost(ServiceHost::eu, host),
                       "setServiceHost: \"" + host + "\" is not a host name with an optional port");
  EXPECT_EQ(complaintAbout(options().setServiceHost(ServiceHost::eu, "a-1.example:65535")), "");
  for (const auto& [given, words] : cases) {
    ::testing::internal::CaptureStderr();
    EXPECT_EQ(install(given), nullptr);
    const std::string output = ::testing::internal::GetCapturedStderr();
    EXPECT_NE(output.find(words), std::string::npos) << words << output;
    EXPECT_EQ(output.find('\n'), output.size() - 1) << output;
    EXPECT_FALSE(platform::Platform::isInstalled());
  }
}

TEST_F(InstallTest, ValuesInCodeOverrideTheInfoPlist) {
  Options with = options();
  with.setInfoPlistPath(folder + "/Info.plist");
  with.setInfoDictionary({{"InCode", 1}, {"InBoth", "code"}});
  const Dictionary inFile{{"InBoth", "file"}, {"InFile", true}, {"CFBundleIdentifier", "x"}};
  writeFile(folder + "/Info.plist", base::dataWithPropertyList(inFile, base::PropertyListFormat::xml));
  PosixPlatform platform(with);
  const Dictionary merged{{"InBoth", "code"},
                          {"InFile", true},
                          {"InCode", 1},
                          {"CFBundleIdentifier", "org.example.shop"},
                          {"CFBundleShortVersionString", "2.5"}};
  EXPECT_EQ(platform.bundles().mainInfoDictionary(), merged);
  EXPECT_FALSE(platform.bundles().infoDictionaryForIdentifier("org.example.none"));
  with.setInfoPlistPath(folder + "/none.plist");
  ::testing::internal::CaptureStderr();
  const PosixPlatform without(with);
  const std::string output = ::testing::internal::GetCapturedStderr();
  EXPECT_NE(output.find("none.plist"), std::string::npos) << output;
}

TEST_F(InstallTest, OptionsOverrideTheEnvironmentAndHttpProxyIsIgnored) {
  const std::string proxies = "https_proxy=p:1 no_proxy=example.org SSL_CERT_FILE=/a.pem SSL_CERT_DIR=/b ";
  // Variables, CA file and proxy in the options, and the expected output.
  const std::string cases[][4] = {
      {proxies, "/own.pem", "-", "/own.pem - - - -"},
      {proxies, "/c", "socks5://o:9", "/c - socks5://o:9 socks5://o:9 -"},
      {"ALL_PROXY=a:2 HTTPS_PROXY=s:3 HTTP_PROXY=request-header http_proxy=", "/c", "", "/c - a:2 s:3 -"},
  };
  for (const auto& [variables, caFile, proxy, expected] : cases) {
    const std::string output =
        environment(POSIX_ENVIRONMENT, variables, "/none " + caFile + " '" + proxy + "'");
    EXPECT_TRUE(output.starts_with("ordinary\n" + expected + " \n")) << output;
  }
}

TEST_F(InstallTest, APrivilegedProcessIgnoresItsEnvironment) {
  if (geteuid() != 0) GTEST_SKIP() << "needs root to make a set-group-ID program";
  const std::string program = folder + "/environment";
  const auto output = [&] {
    return environment(program,
                       "HOME=/h XDG_DATA_HOME=/d TZ=t SSL_CERT_FILE=f SSL_CERT_DIR=c http_proxy=p "
                       "https_proxy=s no_proxy=n SSLKEYLOGFILE=k ICU_DATA=i ICU_TIMEZONE_FILES_DIR=z "
                       "TIDEWELL_DISABLED=1 TIDEWELL_OFFLINE=1 TIDEWELL_LOG=off TIDEWELL_HOST_US=us",
                       "/none - ''");
  };
  std::filesystem::copy_file(POSIX_ENVIRONMENT, program);
  EXPECT_EQ(output(), "ordinary\nf c p s n \n /h /d t us off k i z ");
  ASSERT_EQ(chown(program.c_str(), 0, 54321), 0);
  ASSERT_EQ(chmod(program.c_str(), 02755), 0);
  if (output().starts_with("ordinary")) GTEST_SKIP() << "the temporary folder is mounted nosuid";
  const std::string home = getpwuid(0)->pw_dir;
  EXPECT_EQ(output(), "raised\n- - - - - \n " + home + " " + home + "/.local/share - - - - - - ");
}

TEST_F(InstallTest, TheVendorIdentifierComesFromTheMachineIdOrAFile) {
  const auto identifier = [&](std::string_view bundleIdentifier = "org.example.shop") {
    return PosixPlatform(machine(bundleIdentifier)).device().identifierForVendor().value_or("none");
  };
  writeFile(folder + "/etc/machine-id", "3d1219c7c4c5404aaa1f6d2a48adfda4\n");
  // The first 16 bytes of: printf %s MACHINE_ID | openssl dgst -sha256 -hmac org.example
  EXPECT_EQ(identifier(), "095AF34A-8409-4F12-A1F3-5F6C38BB9733");
  EXPECT_FALSE(std::filesystem::exists(data));
  writeFile(folder + "/etc/machine-id", "uninitialized\n");
  const std::string kept = identifier(), file = data + "/.tidewell-keychain/org.example.vendor";
  EXPECT_EQ(kept.size(), 36u) << kept;
  EXPECT_EQ(identifier("org.example.other"), kept);
  EXPECT_NE(identifier("org.sample.shop"), kept);
  EXPECT_EQ(modeOf(file), 0600u);
  std::filesystem::remove(file);
  std::filesystem::create_directory(file);  // unreadable, and not replaced
  EXPECT_EQ(identifier().size(), 36u);
  EXPECT_EQ(countReports(), 1u);
}

TEST_F(InstallTest, ModelAndVersionComeFromSystemFiles) {
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
    const std::string root = folder + "/" + std::to_string(++machines);
    with.setSystemRoot(root);
    for (const auto& [path, content] : each.files) writeFile(root + path, content);
    PosixPlatform platform(with);
    EXPECT_EQ(platform.device().model(), each.model);
    EXPECT_EQ(platform.device().machine(), each.model == "Linux" ? kernel.machine : each.model);
    EXPECT_EQ(platform.device().systemVersion(), each.version);
  }
}

TEST_F(InstallTest, TheTimeZoneComesFromTzOrTheSystemAndFollowsChanges) {
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

  // The offset of a zone file counts while it lasts; then ICU knows the zone.
  const auto number = [](std::uint64_t value, int bytes) {
    std::string text;
    while (bytes-- > 0) text += static_cast<char>(value >> 8 * bytes);
    return text;
  };
  const auto zoneFile = [&](std::uint64_t transition, const std::string& footer) {
    const std::string types = number(1234, 4) + number(0, 2) + number(4321, 4) + number(0, 2);
    return "TZif2" + std::string(39, '\0') + "TZif2" + std::string(27, '\0') + number(1, 4) + number(2, 4) +
           number(1, 4) + number(transition, 8) + number(1, 1) + types + number(0, 1) + "\n" + footer + "\n";
  };
  std::filesystem::create_directories(folder + "/usr/share/zoneinfo/Asia");
  setenv("TZ", "Asia/Kolkata", 1);
  const std::string file = folder + "/usr/share/zoneinfo/Asia/Kolkata";
  const std::string tooFew = zoneFile(1, "X").substr(0, 100);
  std::string tooFar = zoneFile(1, "X");
  tooFar.replace(tooFar.find(number(4321, 4)), 4, number(0x80000000, 4));
  for (const auto& [content, offset] : {std::pair(zoneFile(1, "IST-5:30"), 4321),
                                        {zoneFile(1ull << 40, ""), 1234},
                                        {zoneFile(1, "CET-1CEST,M3.5.0,M10.5.0/3"), 19800},
                                        {"TZif2" + std::string(39, '\xff') + zoneFile(1, "X"), 19800},
                                        {tooFew, 19800},
                                        {tooFar, 19800}}) {
    writeFile(file, content);
    EXPECT_EQ(PosixPlatform(machine()).clock().systemTimeZone().secondsFromGMTForDate({1e9 + 8e8}), offset);
  }
}

}  // namespace
}  // namespace tidewell::posix
