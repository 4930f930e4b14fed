#include "guest/Guest.h"

// Starting twice, late, or never; and plug-ins, which do all three.
namespace tidewell::guest {
namespace {

TEST_F(GuestTest, EveryOperationBeforeAPlatformAnswersAsAMachineThatKnowsNothingAndALateStartWorks) {
  Host one = host({"never"});
  EXPECT_EQ(one.line(), "yyyynyyyyy");  // the defaults
  EXPECT_EQ(one.line(), "used");
  EXPECT_EQ(one.line(), "ynyynyyyyy");  // the backend's
  const Outcome outcome = one.end();
  EXPECT_EQ(outcome.status, 0) << outcome.last();
  EXPECT_EQ(outcome.err, "");
}

TEST_F(GuestTest, OfTwoPluginsTheFirstOnesPlatformStaysAndTheSecondIsToldSo) {
  Host one({GUEST_LOADER, "twice", GUEST_PLUGIN_A, GUEST_PLUGIN_B}, environment());
  EXPECT_EQ(one.line(), "7 7");
  const Outcome outcome = one.end();
  EXPECT_EQ(outcome.status, 0);
  EXPECT_EQ(count(outcome.err, "Tidewell: not installed: a platform is installed already\n"), 1)
      << outcome.last();
  EXPECT_EQ(count(outcome.err, "\n"), 1) << outcome.last();
}

TEST_F(GuestTest, APluginThatIsClosedWhileItsRequestsRunHarmsNobody) {
  std::string problem;
  backend.setFault(*testing::StandInFault::parse("kind=delay:300,service=2", problem));
  Host one({GUEST_LOADER, "closed", GUEST_PLUGIN_A, GUEST_PLUGIN_A}, environment());
  EXPECT_EQ(one.line(), "sent");
  EXPECT_TRUE(backend.waitForRequests(3));
  EXPECT_EQ(one.ask("close"), "closed");
  for (int i = 1; i <= 8; ++i) EXPECT_EQ(one.line().substr(0, 11), "completed " + std::to_string(i));
  EXPECT_EQ(one.end().status, 0);
}

TEST_F(GuestTest, TheLibrariesExportTheirOwnNamesOnlyAndHideWhatIsBuiltIntoThem) {
  const std::string own =
      "^(vtable for |typeinfo for |typeinfo name for |non-virtual thunk to |guard variable for )*"
      "tidewell(::|_make_transfer_engine$)";
  int libraries = 0;
  for (const std::string library : {GUEST_LIBRARIES}) {
    if (library.find(".so") == std::string::npos) continue;
    ++libraries;
    const auto run = [](const std::string& command) {
      const std::unique_ptr<FILE, int (*)(FILE*)> output(popen(command.c_str(), "r"), pclose);
      std::array<char, 4096> bytes{};
      return std::string(bytes.data(), fread(bytes.data(), 1, bytes.size(), output.get()));
    };
    const std::string exported = "nm -DC --defined-only '" + library + "' | cut -d' ' -f3-";
    EXPECT_NE(run(exported + " | grep -E '" + own + "'"), "") << library;
    EXPECT_EQ(run(exported + " | grep -vE '" + own + "'"), "") << library;
    EXPECT_EQ(run("nm '" + library + "' | grep -E '_Z[A-Z]*(3fmt|9rapidjson)'"), "") << library;
  }
  if (libraries == 0) GTEST_SKIP() << "the libraries are static";
}

}  // namespace
}  // namespace tidewell::guest
