// SPDX-License-Identifier: Apache-2.0
#include <regex>

#include "life/LifeTest.h"

// Runs host.c, which uses the C interface only and checks itself.
namespace tidewell::life {
namespace {

struct Row {
  std::vector<std::string> commands, environment;
  std::string output;  ///< a regular expression for each line, ended by a line feed
};

class CInterfaceTest : public LifeTest {
 protected:
  void check(const Row& row) const {
    const guest::Outcome outcome = host(row.commands, row.environment).end();
    EXPECT_EQ(outcome.status, 0) << outcome.out << outcome.err;
    EXPECT_TRUE(std::regex_match(outcome.out, std::regex(row.output))) << outcome.out << outcome.err;
  }
  static std::string literally(std::string_view text) {
    return std::regex_replace(std::string(text), std::regex(R"([\[\]{}+?*.|()^$\\])"), R"(\$&)") + "\n";
  }
};
const std::string kEnd = "contexts: each freed once, 0 late, 0 repeated\n";

TEST_F(CInterfaceTest, TheLifeOfAnApplication) {
  const std::string answers = literally(kConfigurationAnswers);
  std::string afterOptOut = answers;
  afterOptOut.replace(afterOptOut.find("ynnyyynyyy"), 10, "ynnyyynnyy");
  const std::string installed = "TDW_OK\nTDW_OK\n";
  const std::vector<Row> rows{
      {{"install", "start A", "sync", "answers", "explain", "request", "ids u", "opt-out 0", "answers",
        "install"},
       {"HOST_LOOP=1"},
       installed + "3 .\"outcome\":3,\"\n" + answers + ".\"question\":\"isDataTrackingEnabled\",.*\n" +
           "TDW_OK yes .\"messages\":..}\ntoken u\n1\n" + afterOptOut + "TDW_ALREADY_INSTALLED\n"},
      // A restart: not due; what the user chose and the reply are kept.
      {{"install", "start A", "sync", "answers", "desktop"},
       {},
       installed + "1 .\"outcome\":1,\"\n" + afterOptOut + "TDW_ALREADY_INSTALLED\n"},
      {{"install", "start A", "answers", "request"},
       {"HOST_OFFLINE=1"},
       installed + afterOptOut + "TDW_OK no null\n"},
      {{"install", "start A", "sync", "answers"},
       {"HOST_OFFLINE=1", "XDG_DATA_HOME=" + data + "-new"},
       installed + "6 .\"outcome\":6,\"\n" + literally(kDefaultAnswers)},
      {{"install", "start A", "answers", "request"},
       {"TIDEWELL_DISABLED=1"},
       installed + literally(kDefaultAnswers) + "TDW_NOT_INSTALLED \n"},
      {{"install", "start A", "request", "consent 1", "request", "reset", "sync", "consent 0", "request"},
       {"HOST_CONSENT=1"},
       installed + "TDW_OK no null\n1\nTDW_OK yes .\"messages\":..}\n\n3 .\"outcome\":3,\"\n0\n" +
           "TDW_OK no null\n"}};
  for (const Row& row : rows) check({row.commands, row.environment, row.output + kEnd});
  for (const auto& request : backend.requests()) {
    EXPECT_EQ(::testing::PrintToString(request.problems), "{}");
    if (request.service != 7) continue;
    EXPECT_EQ(request.query + request.header("X").value_or("") + request.body, "q=1y{\"k\":[1]}");
  }
  EXPECT_EQ(backend.requestCount(), 4u);
}

TEST_F(CInterfaceTest, MessagesReachTheFunctionsThatRespond) {
  check({{"install", "messages"}, {"HOST_LOOP=1"}, "TDW_OK\n\ncontexts: each freed once, 0 late, .*\n"});
}

TEST_F(CInterfaceTest, HostileArgumentsAreRefused) {
  check({{"arguments"}, {}, "\n" + kEnd});
  check({{"install", "arguments"}, {"HOST_OFFLINE=1"}, "TDW_OK\n\n" + kEnd});
}

TEST_F(CInterfaceTest, EveryContextIsFreedOnceWhenTheProcessEnds) {
  const std::vector<Row> rows{
      {{"install", "pending"}, {}, "TDW_OK\n\n"},
      {{"install", "pending", "end"}, {}, "TDW_OK\n\n\n"},
      // Offline: if a thread of the parent used OpenSSL, its exit handler could hang in the child.
      {{"install", "pending", "fork"},
       {"HOST_OFFLINE=1"},
       "TDW_OK\n\ncontexts: none freed once, 0 late.*\n\n"},
      {{"install", "late"}, {}, "TDW_OK\n\n"}};
  for (const char* const fault : {"", "kind=silence", "kind=drip:1"}) {
    if (*fault != '\0') setFault(fault);
    for (const char* const loop : {"HOST_LOOP=1", "HOST_LOOP="}) {
      SCOPED_TRACE(std::string(fault) + loop);
      for (Row row : rows) {
        row.environment.emplace_back(loop);
        row.output += kEnd;
        check(row);
        if (HasFailure()) return;
      }
    }
  }
}

}  // namespace
}  // namespace tidewell::life
