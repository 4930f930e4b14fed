// SPDX-License-Identifier: Apache-2.0
#include "guest/Guest.h"

// Locale, environment and clocks.
namespace tidewell::guest {
namespace {

TEST_F(GuestTest, TheLocaleDoesNotAffectFilesOrRequests) {
  std::map<std::string, std::vector<std::string>> results;
  for (const std::string name : {"C", "de_DE", "tr_TR"}) {
    const std::string path = folder + "/" + name;
    if (name != "C" &&
        system(("localedef -i " + name + " -f UTF-8 '" + path + "' >/dev/null 2>&1").c_str()) != 0)
      GTEST_SKIP() << "no locale sources are installed";
    backend.clearRequests();
    fs::remove_all(data);
    const Outcome outcome =
        host({"start GUEST", "await 7", "drain",
              R"(merge-json {"i_s": "BLOCKED", "p_f_t": "86400.5", "e_b_c": 1.5e3, "b_e": ["Iıİi"]})",
              "answers", "localized", "send 1", "ended", "locale"},
             {"LOCPATH=" + folder, "LC_ALL=" + name})
            .end();
    const auto end = outcome.out.rfind('\n', outcome.out.size() - 2) + 1;
    EXPECT_EQ(outcome.out.substr(end), name + "\n");
    std::vector<std::string>& result = results[name] = {outcome.out.substr(0, end), bytesOf(archive)};
    for (const auto& each : backend.requests())
      result.push_back(each.path + each.query + std::to_string(each.body.size()));
    EXPECT_EQ(result, results["C"]) << name;
  }
}

TEST_F(GuestTest, TheEnvironmentIsReadOnlyAtInstallation) {
  std::vector<std::string> commands{"start GUEST", "await 7", "send 4", "ended", "user user"};
  for (const char* name :
       {"https_proxy", "all_proxy", "SSL_CERT_FILE", "SSL_CERT_DIR", "XDG_DATA_HOME", "HOME"})
    commands.insert(commands.begin(), std::string("setenv ") + name);
  const Outcome outcome = host(commands).end();
  EXPECT_EQ(count(outcome.out, "\n4 succeeded\n"), 1) << outcome.out << outcome.err;
  EXPECT_TRUE(fs::exists(defaults));
}

TEST_F(GuestTest, ModulesAreFoundAfterTheWorkingFolderChanges) {
  fs::create_directories(folder + "/lib/" TIDEWELL_MODULE_FOLDER);
  for (const fs::path library : std::vector<const char*>{GUEST_LIBRARIES}) {
    // A SONAME has no minor version; a module has no version at all.
    const std::string name = library.filename();
    const auto end = name.find(".so.");
    fs::create_symlink(
        library,
        folder + "/lib/" + (end == name.npos ? TIDEWELL_MODULE_FOLDER "/" + name : name.substr(0, end + 5)));
  }
  EXPECT_EQ(host({"chdir /", "fetch"}, {"LD_LIBRARY_PATH=../lib"}).end().out, "done\narrived\n");
}

TEST_F(GuestTest, WallClockStepsDoNotEndRequests) {
  setFault("kind=delay:400,service=2");
  Child one = host();
  one.ask({"start GUEST", "await 7"});
  for (const auto& [step, due] : {std::pair("10000000", "due"), std::pair("-10000000", "recent")}) {
    const auto begin = std::chrono::steady_clock::now();
    one.ask({"send 1", std::string("step ") + step, "ended"});
    EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(400));
    EXPECT_EQ(one.ask("due"), due) << "a time in the future counts as recent";
  }
  EXPECT_EQ(one.ask("ended"), "2 succeeded");
}

TEST_F(GuestTest, ASuspendedProcessDoesNotRepeatRequests) {
  setFault("kind=delay:1000,service=2");
  Child one = host();
  one.ask({"start GUEST", "await 7", "send 3"});
  ASSERT_TRUE(backend.waitForRequests(4, std::chrono::seconds(100)));
  one.send(SIGSTOP);
  sleep(isLong() ? 60 : 2);
  one.send(SIGCONT);
  EXPECT_EQ(one.ask("ended"), "3 succeeded") << "the replies were buffered in the sockets";
  backend.clearFaults();
  EXPECT_EQ(one.ask({"send 1", "ended"}), "4 succeeded");
  EXPECT_EQ(backend.requestCount(), 5u) << "a request was resent";
}

}  // namespace
}  // namespace tidewell::guest
