#include <set>
#include <sstream>

#include "guest/Guest.h"

// Locale, environment, clocks.
namespace tidewell::guest {
namespace {

/// Makes a locale in a folder of the test's own; NO where the machine has no sources for it.
bool makeLocale(const std::string& folder, const std::string& name) {
  const std::string command =
      "localedef -i " + name + " -f UTF-8 '" + folder + "/" + name + ".UTF-8' >/dev/null 2>&1";
  static_cast<void>(!system(command.c_str()));
  return std::filesystem::exists(folder + "/" + name + ".UTF-8");
}

/// The lines of the console without time, process and identifiers, in an order of their own: two threads
/// write.
std::multiset<std::string> linesOf(const std::string& console) {
  std::multiset<std::string> result;
  std::istringstream lines(console);
  for (std::string line; std::getline(lines, line);) {
    const bool differs =
        line.find("unique_id") != std::string::npos || line.find("device_ts") != std::string::npos;
    const auto place = line.find("] Tidewell - ");
    if (!differs) result.insert(place == std::string::npos ? line : line.substr(place));
  }
  return result;
}

TEST_F(GuestTest, TheSameBytesWhateverTheLocale) {
  struct Life {
    std::string out, wire, archive;
    std::multiset<std::string> log;
  };
  std::map<std::string, Life> lives;
  std::filesystem::create_directory(folder + "/locales");
  for (const std::string name : {"C", "de_DE", "tr_TR"}) {
    if (name != "C" && !makeLocale(folder + "/locales", name)) GTEST_SKIP() << "no sources of locales";
    backend.clearRequests();
    std::filesystem::remove_all(data);
    const Outcome outcome =
        host({"locale", name == "C" ? name : name + ".UTF-8"}, {"LOCPATH=" + folder + "/locales", "LC_ALL=C"})
            .end();
    ASSERT_EQ(outcome.status, 0) << name << outcome.last();
    Life& life = lives[name];
    life.out = outcome.out;
    life.log = linesOf(outcome.err);
    for (const auto& request : backend.requests())
      life.wire += request.method + request.path + request.query + request.body + "\n";
    life.archive = bytesOf(archive);
  }
  for (const auto& [name, life] : lives) {
    EXPECT_EQ(life.out, lives["C"].out) << name;
    EXPECT_EQ(life.log, lives["C"].log) << name;
    EXPECT_EQ(life.archive, lives["C"].archive) << name;
    EXPECT_EQ(life.wire.size(), lives["C"].wire.size()) << name;  // identifiers differ
  }
  EXPECT_NE(lives["C"].out.find("1234567.25"), std::string::npos) << lives["C"].out;
}

TEST_F(GuestTest, TheEnvironmentIsReadAtInstallationAndNeverAgain) {
  const Outcome outcome = host({"setenv"}, {"https_proxy=", "SSL_CERT_FILE="}).end();
  EXPECT_EQ(outcome.status, 0) << outcome.last();
  EXPECT_TRUE(std::filesystem::exists(defaults));
}

TEST_F(GuestTest, ModulesComeFromWhereTheLibrariesWereLoadedWhateverTheWorkingFolderIsLater) {
  std::filesystem::create_directory(folder + "/lib");
  for (const std::filesystem::path library : std::vector<const char*>{GUEST_LIBRARIES}) {
    // As in the library's own name: without minor versions.
    const std::string name = library.filename();
    const auto end = name.find(".so.");
    std::filesystem::create_symlink(
        library, folder + "/lib/" + name.substr(0, end == std::string::npos ? end : end + 5));
  }
  const Outcome outcome = host({"chdir"}, {"LD_LIBRARY_PATH=../lib"}).end();
  EXPECT_EQ(outcome.status, 0) << outcome.last();
}

TEST_F(GuestTest, StepsOfTheWallClockMoveNoTimeOut) {
  std::string problem;
  backend.setFault(*testing::StandInFault::parse("kind=delay:400,service=2", problem));
  Host one = host({"clock"});
  for (const char* expected : {"due", "recent"}) {  // an hour has passed by the wall clock, or none
    const int milliseconds = std::stoi(one.line());
    EXPECT_GE(milliseconds, 400);
    EXPECT_LT(milliseconds, 5000);
    EXPECT_EQ(one.line(), expected);
  }
  EXPECT_EQ(one.end().status, 0);
}

TEST_F(GuestTest, AfterASuspensionNothingFiresInABurst) {
  std::string problem;
  backend.setFault(*testing::StandInFault::parse("kind=delay:1000,service=2", problem));
  Host one = host({"requests"});
  ASSERT_EQ(one.line(), "ready");
  one.say("3");
  ASSERT_TRUE(backend.waitForRequests(4));
  kill(one.process(), SIGSTOP);
  sleep(isLong() ? 60 : 2);
  kill(one.process(), SIGCONT);
  EXPECT_EQ(one.line(), "3 succeeded") << "the replies waited in the sockets";
  backend.clearFaults();
  EXPECT_EQ(one.ask("1"), "4 succeeded");
  EXPECT_EQ(backend.requestCount(), 5u) << "nothing was sent again";
  EXPECT_EQ(one.end().status, 0);
}

}  // namespace
}  // namespace tidewell::guest
