// SPDX-License-Identifier: Apache-2.0
#include <array>

#include "guest/Guest.h"

// Starting late, twice or never, and plug-ins.
namespace tidewell::guest {
namespace {

TEST_F(GuestTest, DefaultsApplyUntilInstallationAndALateStartWorks) {
  const Outcome outcome =
      host({"gates", "image", "use", "wait", "install", "start GUEST", "await 7", "gates"},
           {"HOST_UNINSTALLED=1", "HOST_DEBUG="})
          .end();
  EXPECT_EQ(outcome.out, "yyyynyyyyy\ndone\ndone\nnever tried\ndone\ndone\ndone\nynyynyyyyy\n");
  EXPECT_EQ(outcome.err, "");
}

TEST_F(GuestTest, AShortLivedProgramWaitsForItsSyncAndKeepsTheStatus) {
  setFault("kind=delay:300,times=1");
  EXPECT_EQ(host({"start GUEST", "wait", "gates", "exit return"}).end().out,
            "done\nsynced 200\nynyynyyyyy\n");
  EXPECT_EQ(host({"start GUEST", "status"}).end().out, "done\nnot due, synced 200\n");
  // The calling thread would have to run the main queue.
  setFault("kind=silence");
  EXPECT_EQ(host({"reset", "start GUEST", "wait"}, {"HOST_LOOP=1"}).end().out,
            "done\ndone\nrefused, in flight, synced 200\n");
}

TEST_F(GuestTest, TheFirstOfTwoPluginsInstallsThePlatform) {
  if (!TIDEWELL_TEST_SHARED) GTEST_SKIP() << "each plug-in has a core of its own in a static build";
  const Outcome outcome = Child({GUEST_LOADER, "twice", GUEST_PLUGIN_A, GUEST_PLUGIN_B}, environment()).end();
  EXPECT_EQ(outcome.out, "7 7\n");
  EXPECT_EQ(outcome.err.substr(outcome.err.find("] ") + 2),
            "Tidewell: not installed: a platform is installed already\n");
}

TEST_F(GuestTest, OptionsAndEnvironmentTurnTheSdkOff) {
  const std::string threads = host({"threads"}, {"HOST_UNINSTALLED=1"}).end().out;
  for (const auto& [variable, option, isOff, lines] :
       {std::tuple("TIDEWELL_DISABLED=Yes", "", true, ""), std::tuple("", "HOST_DISABLED=yes", true, ""),
        std::tuple("TIDEWELL_DISABLED=0", "HOST_DISABLED=yes", true, ""),
        std::tuple("TIDEWELL_DISABLED=1", "HOST_DISABLED=no", false, ""),
        std::tuple(
            "TIDEWELL_DISABLED=maybe", "", false,
            R"(Tidewell: TIDEWELL_DISABLED: "maybe" is ignored; it is not 1, true, yes, 0, false or no)")}) {
    fs::remove_all(data);
    const Outcome outcome = host({"start GUEST", "user name", "threads", "gates"}, {variable, option}).end();
    EXPECT_EQ(outcome.out == "done\ndone\n" + threads + "yyyynyyyyy\n", isOff) << variable << outcome.out;
    EXPECT_EQ(outcome.err.empty(), isOff) << variable << outcome.err;
    EXPECT_EQ(fs::exists(data), !isOff) << variable;
    EXPECT_EQ(count(outcome.err, "is ignored"), count(lines, "is ignored")) << outcome.err;
    EXPECT_NE(outcome.err.find(lines), outcome.err.npos) << outcome.err;
  }
}

TEST_F(GuestTest, TheEnvironmentChoosesTheLogLevel) {
  for (const auto& [variable, level, hasLines] : {std::tuple("TIDEWELL_LOG=debug", "HOST_DEBUG=", true),
                                                  std::tuple("TIDEWELL_LOG=", "HOST_DEBUG=", false),
                                                  std::tuple("TIDEWELL_LOG=off", "HOST_DEBUG=1", false),
                                                  std::tuple("TIDEWELL_LOG=errors", "HOST_DEBUG=1", false)}) {
    EXPECT_EQ(host({"start GUEST"}, {variable, level}).end().err.empty(), !hasLines) << variable;
  }
  const Outcome outcome = host({"gates"}, {"TIDEWELL_LOG=loud", "HOST_DEBUG="}).end();
  EXPECT_EQ(count(outcome.err, "TIDEWELL_LOG: \"loud\" is ignored"), 1) << outcome.err;
}

TEST_F(GuestTest, OfflineAndBeforeConsentEveryRequestIsRefused) {
  ASSERT_EQ(host({"start GUEST", "await 7", "drain"}).end().status, 0);  // the archive is written
  const std::size_t before = backend.requestCount();
  for (const auto& [variable, error] : {std::pair("TIDEWELL_OFFLINE=true", "appears to be offline"),
                                        std::pair("HOST_CONSENT=1", "has not given consent")}) {
    const Outcome outcome =
        host({"reset", "start GUEST", "call 2", "image", "gates", "loaded UrlSession"}, {variable}).end();
    EXPECT_EQ(outcome.out, "done\ndone\nno nil\ndone\nynyynyyyyy\nno\n") << variable;
    EXPECT_GE(count(outcome.err, error), 1) << outcome.err;
  }
  EXPECT_EQ(backend.requestCount(), before);

  Child one = host({}, {"HOST_CONSENT=1"});
  one.ask({"reset", "start GUEST", "consent"});
  ASSERT_TRUE(backend.waitForRequests(before + 1, std::chrono::seconds(100))) << "the sync that waited";
  EXPECT_EQ(one.ask("call 2").substr(0, 3), "yes");
  for (const auto& [command, answer] : {std::pair("gates", "yes"), std::pair("revoke", "no ")}) {
    const std::string out = host({command, "call 2"}, {"HOST_CONSENT=1"}).end().out;
    EXPECT_EQ(out.substr(out.find('\n') + 1, 3), answer) << command;
  }
  EXPECT_EQ(one.ask("call 2").substr(0, 3), "no ") << "another process revoked the consent";
}

TEST_F(GuestTest, HostsAreChosenByTheOptionsAndInDevelopmentByTheEnvironment) {
  const std::string local = "localhost:" + std::to_string(backend.port());
  const std::string builtIn = "api.tidewell.example";
  const std::array<std::string, 4> rows[] = {
      {"HOST_US=" + local, "", "", local},
      {"", "HOST_DEVELOPMENT=1", local, local},
      {"HOST_US=staging.example.com", "HOST_DEVELOPMENT=1", local, local},
      {"", "", local, builtIn},
      {"", "HOST_DEVELOPMENT=1", "a/b", builtIn}};
  for (const auto& [option, permission, variable, expected] : rows) {
    fs::remove_all(data);
    backend.clearRequests();
    const Outcome outcome =
        host({"start GUEST", "await 7"}, {option, permission, "TIDEWELL_HOST_US=" + variable}).end();
    ASSERT_EQ(backend.requestCount(), 1u) << expected;
    EXPECT_EQ(backend.requests()[0].host, expected);
    EXPECT_EQ(count(outcome.err, "TIDEWELL_HOST_US: \"a/b\" is ignored"), variable == "a/b") << outcome.err;
  }
}

TEST_F(GuestTest, EachFatalConditionWritesOneLine) {
  if (!TIDEWELL_TEST_SHARED) GTEST_SKIP() << "a static build has no modules";
  fs::create_directories(folder + "/one/" TIDEWELL_MODULE_FOLDER);
  fs::create_directory(folder + "/lib");
  for (const fs::path library : std::vector<const char*>{GUEST_LIBRARIES}) {
    const std::string name = library.filename();
    const auto end = name.find(".so.");
    if (end == name.npos) {
      fs::create_symlink(library, folder + "/one/" TIDEWELL_MODULE_FOLDER "/" + name);
      continue;
    }
    for (const char* place : {"/lib/", "/one/"})
      fs::create_symlink(library, folder + place + name.substr(0, end + 5));
  }
  const std::array<std::string, 3> rows[] = {
      {"LD_LIBRARY_PATH=" + folder + "/lib", "", "Tidewell: the URL session cannot be loaded: "},
      {"LD_LIBRARY_PATH=" + folder + "/one", "TZ=Asia/Nowhere", "/one/tidewell/1/libTidewellUnicode.so: "},
      {"HOST_CA=", "HOST_ROOT=/nowhere", "no trusted certificates were found in the usual places"},
      {"SSL_CERT_FILE=" + folder + "/none.pem", "HOST_CA=", "found: " + folder + "/none.pem cannot be read"},
      {"XDG_DATA_HOME=/dev/null/data", "", "kept in memory and lost at the end: the folder /dev/null/data/"}};
  for (const auto& [variable, more, line] : rows) {
    fs::remove_all(data);
    const Outcome outcome =
        host({"start GUEST", "fetch", "fetch", "identity", "loaded libicu"}, {variable, more, "HOST_DEBUG="})
            .end();
    // A configuration's expressions need ICU, and so does a zone that is not in the system's database.
    EXPECT_TRUE(!variable.starts_with("SSL_") || outcome.out.ends_with("no\n")) << outcome.out;
    EXPECT_EQ(count(outcome.err, "\n"), 1) << outcome.err;
    EXPECT_EQ(count(outcome.err, line), 1) << line << outcome.err;
  }
}

TEST_F(GuestTest, APluginMayBeClosedDuringItsRequests) {
  setFault("kind=delay:300,service=2");
  Child one({GUEST_LOADER, "closed", GUEST_PLUGIN_A, GUEST_PLUGIN_A}, environment());
  EXPECT_EQ(one.line(), "closed");
  for (int i = 1; i <= 8; ++i) EXPECT_EQ(one.line(), "completed " + std::to_string(i));
  EXPECT_EQ(one.end().status, 0);
}

TEST_F(GuestTest, LibrariesDoNotExportBundledCode) {
  for (const std::string library : {GUEST_LIBRARIES})
    for (const auto& [name, isThere] : {std::pair("8tidewell", true), {"_Z[A-Z]*(3fmt|9rapidjson)", false}})
      EXPECT_EQ(system(("nm '" + library + "' | grep -qE '" + name + "'").c_str()) == 0, isThere) << library;
}

}  // namespace
}  // namespace tidewell::guest
