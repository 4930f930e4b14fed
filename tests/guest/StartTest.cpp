// SPDX-License-Identifier: Apache-2.0
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
  const Outcome outcome = Child({GUEST_LOADER, "twice", GUEST_PLUGIN_A, GUEST_PLUGIN_B}, environment()).end();
  EXPECT_EQ(outcome.out, "7 7\n");
  EXPECT_EQ(outcome.err.substr(outcome.err.find("] ") + 2),
            "Tidewell: not installed: a platform is installed already\n");
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
    EXPECT_NE(system(("nm '" + library + "' | grep -E '_Z[A-Z]*(3fmt|9rapidjson)'").c_str()), 0) << library;
}

}  // namespace
}  // namespace tidewell::guest
