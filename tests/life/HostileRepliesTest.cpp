#include "life/LifeTest.h"
#include "tidewell/testing/StandInFault.h"

namespace tidewell::life {
namespace {

/// What a sync makes of a reply. Before it the batch count is 77, and no time of a sync is known.
enum class Outcome {
  fails,     ///< nothing changes
  merges,    ///< the reply's batch count is 5
  defaults,  ///< a reply without content: everything is a default, archived
  stops,     ///< the merge stops before the batch count; the time is kept, the archive untouched
};

struct Reply {
  std::string fault;
  Outcome outcome;
};

std::string withBody(std::string_view json) {
  return R"({"kind": "reply", "body": ")" + std::string(json) + "\"}";
}

const Reply kReplies[] = {
    {"kind=status:500", Outcome::fails},
    {"kind=status:201", Outcome::fails},
    {"kind=status:204", Outcome::fails},
    {"kind=truncation:5", Outcome::fails},
    {"kind=oversized:67108864", Outcome::fails},
    {"kind=oversized:3145729", Outcome::fails},  // more than a configuration may have
    {"kind=gzip-bomb:1073741824", Outcome::fails},
    {"kind=encoding:gzip,bytes=12", Outcome::fails},
    {"kind=wrong-authority", Outcome::fails},
    {"kind=drip:1", Outcome::merges},
    {"kind=encoding:gzip", Outcome::merges},
    {"kind=surplus:7", Outcome::merges},
    {R"({"kind": "late-reply", "interval": 0, "status": 200, "body": "{\"e_b_c\": 6}"})", Outcome::merges},
    {withBody(R"({\"e_b_c\": 5, \"e_b_c\": 6, \"e_b_c\": []})"), Outcome::merges},  // the first counts
    {withBody(R"({\"a_s\": 7, \"b_e\": \"x\", \"le_tkn\": {}, \"e_b_c\": \"5x\"})"), Outcome::merges},
    {"kind=not-json", Outcome::defaults},
    {"kind=empty", Outcome::defaults},
    {"kind=nesting:100000", Outcome::defaults},
    {withBody(R"({\"e_b_c\": 5)"), Outcome::defaults},
    {withBody("null"), Outcome::defaults},
    {withBody(R"([{\"e_b_c\": 5}])"), Outcome::stops},
    {withBody(R"({\"p_f_t\": [], \"e_b_c\": 5})"), Outcome::stops},
};

TEST_F(LifeTest, WhateverTheBackendRepliesTheRecordIsWholeAndEachRequestEndsOnce) {
  backend.setConfiguration(R"({"e_b_c": 5})");
  App app(backend, environment());
  ASSERT_EQ(app.ask("start A"), "synced");
  const auto descriptors = app.descriptors();
  int stopped = 0;
  for (const auto& [text, outcome] : kReplies) {
    SCOPED_TRACE(text);
    std::string problem;
    const auto fault = testing::StandInFault::parse(text, problem);
    ASSERT_TRUE(fault) << problem;
    app.ask(R"(merge-json {"e_b_c": 77})");
    app.ask("reset");
    const std::string before = bytesOf(archive);
    backend.setFault(*fault);

    EXPECT_EQ(app.ask("call 0 A").substr(0, 3), outcome == Outcome::fails ? "no " : "yes");
    EXPECT_EQ(app.ask("update"), outcome == Outcome::fails ? "failed" : "synced");
    EXPECT_EQ(app.ask("stamped"), outcome == Outcome::fails ? "no" : "yes");
    EXPECT_EQ(app.ask("batch"), outcome == Outcome::merges     ? "5"
                                : outcome == Outcome::defaults ? "30"
                                                               : "77");
    EXPECT_EQ(bytesOf(archive) == before, outcome == Outcome::fails || outcome == Outcome::stops);
    if (outcome == Outcome::stops) ++stopped;
    EXPECT_EQ(app.ask("count merge stopped"), std::to_string(stopped));
    backend.clearFaults();
  }
  app.ask("reset");
  EXPECT_EQ(app.ask("update"), "synced");
  EXPECT_EQ(app.ask("count completed"), std::to_string(std::size(kReplies)));
  EXPECT_EQ(app.descriptors(), descriptors);
  // Bodies are refused while they arrive.
  std::ifstream status(app.proc("status"));
  std::string word;
  while (status >> word && word != "VmHWM:") continue;
  long peakKilobytes = 0;
  status >> peakKilobytes;
  EXPECT_GT(peakKilobytes, 0);
  EXPECT_LT(peakKilobytes, guest::kIsSanitized ? 2'000'000 : 200'000);
  EXPECT_EQ(app.end(), 0);
}

}  // namespace
}  // namespace tidewell::life
