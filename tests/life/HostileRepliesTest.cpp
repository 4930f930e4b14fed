// SPDX-License-Identifier: Apache-2.0
#include "life/LifeTest.h"

namespace tidewell::life {
namespace {

/// The effect of a reply to a sync, and the beginning of the status. Before the sync, the batch count is 77
/// and no sync time is stored.
enum class Effect {
  fails,     ///< no change
  merges,    ///< the reply's batch count is 5
  defaults,  ///< a reply without content: every property gets its default and is archived
  stops,     ///< the merge stops before the batch count; the sync time is stored, the archive unchanged
};

std::string withBody(std::string_view json) {
  return R"({"kind": "reply", "body": ")" + std::string(json) + "\"}";
}

const std::tuple<std::string, Effect, std::string> kReplies[] = {
    {"kind=status:500", Effect::fails, "failed 500: HTTP status 500"},
    {"kind=status:201", Effect::fails, "failed 201: HTTP status 201"},
    {"kind=status:204", Effect::fails, "failed 204: HTTP status 204"},
    {"kind=truncation:5", Effect::fails, "failed 200: The network connection was lost. (-1005)"},
    {"kind=oversized:67108864", Effect::fails, "failed 200: resource exceeds maximum size (-1103)"},
    {"kind=oversized:3145729", Effect::fails,
     "failed 200: resource exceeds maximum size (3145729 bytes"},  // above the limit for configurations
    {"kind=gzip-bomb:1073741824", Effect::fails, "failed 200: resource exceeds maximum size (-1103)"},
    {"kind=encoding:gzip,bytes=12", Effect::fails, "failed 200: cannot decode content data"},
    {"kind=wrong-authority", Effect::fails, "failed: The certificate for this server is invalid."},
    {"kind=close", Effect::fails, "failed: The network connection was lost. (-1005)"},
    {"kind=reset", Effect::fails, "failed: The network connection was lost. (-1005)"},
    {"kind=garbage", Effect::fails, "failed: An SSL error has occurred"},
    {"kind=drip:1", Effect::merges, "synced 200"},
    {"kind=encoding:gzip", Effect::merges, "synced 200"},
    {"kind=surplus:7", Effect::merges, "synced 200"},
    {R"({"kind": "late-reply", "interval": 0, "status": 200, "body": "{\"e_b_c\": 6}"})", Effect::merges,
     "synced 200"},
    {withBody(R"({\"e_b_c\": 5, \"e_b_c\": 6, \"e_b_c\": []})"), Effect::merges,
     "synced 200"},  // the first counts
    {withBody(R"({\"a_s\": 7, \"b_e\": \"x\", \"le_tkn\": {}, \"e_b_c\": \"5x\"})"), Effect::merges,
     "synced 200"},
    {"kind=not-json", Effect::defaults, "unusable reply 200: not JSON"},
    {"kind=empty", Effect::defaults, "unusable reply 200: empty"},
    {"kind=nesting:100000", Effect::defaults, "unusable reply 200: not JSON"},
    {withBody(R"({\"e_b_c\": 5)"), Effect::defaults, "unusable reply 200: not JSON"},
    {withBody("null"), Effect::defaults, "unusable reply 200: not JSON"},
    {withBody(R"([{\"e_b_c\": 5}])"), Effect::stops, "unusable reply 200: not an object"},
    {withBody(R"({\"p_f_t\": [], \"e_b_c\": 5})"), Effect::stops, "merge stopped 200: p_f_t"},
};

TEST_F(LifeTest, EveryReplyLeavesAWholeRecordAndCompletesOnce) {
  backend.setConfiguration(R"({"e_b_c": 5})");
  Child app = host();
  ASSERT_EQ(sync(app, "start A"), "synced");
  const std::size_t descriptors = app.descriptorCount();
  int stopped = 0;
  const auto throughAll = [&] {
    for (const auto& [text, effect, status] : kReplies) {
      SCOPED_TRACE(text);
      app.ask({R"(merge-json {"e_b_c": 77})", "reset"});
      const std::string before = bytesOf(archive);
      setFault(text);
      const bool fails = effect == Effect::fails;
      EXPECT_EQ(app.ask("call 0 A").substr(0, 3), fails ? "no " : "yes");
      EXPECT_EQ(sync(app, "update"), fails ? "failed" : "synced");
      EXPECT_EQ(app.ask("stamped"), fails ? "no" : "yes");
      EXPECT_EQ(app.ask("status").substr(0, status.size()), status);
      EXPECT_EQ(app.ask("batch"), effect == Effect::merges ? "5" : effect == Effect::defaults ? "30" : "77");
      EXPECT_EQ(bytesOf(archive) == before, fails || effect == Effect::stops);
      EXPECT_EQ(count(app.errors(), "line number - 118 "), stopped += effect == Effect::stops);
      backend.clearFaults();
    }
    app.ask("reset");
    EXPECT_EQ(sync(app, "update"), "synced");
    EXPECT_TRUE(eventually([&] { return app.descriptorCount() <= descriptors; }));
    return kIsSanitized ? 0 : std::stol(app.ask("memory"));
  };
  std::size_t rounds = 1;  // until memory no longer grows
  for (long before = -(1L << 20), now = throughAll(); rounds < 6 && now > before + (64L << 10); ++rounds)
    before = std::exchange(now, throughAll());
  EXPECT_LT(rounds, 6u);
  EXPECT_EQ(app.ask("completed"), std::to_string(rounds * std::size(kReplies)));
  EXPECT_LE(app.threads("Pid").size(), 4u);
  for (const auto& [name, id] : app.threads("Pid")) EXPECT_EQ(name.substr(0, 3), "tw-");
  // Bodies are refused while being received.
  EXPECT_LT(std::stol(Child::statusIn(app.proc("status"), "VmHWM")), kIsSanitized ? 2'000'000 : 200'000);
  EXPECT_EQ(app.end().status, 0);
}

}  // namespace
}  // namespace tidewell::life
