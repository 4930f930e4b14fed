// SPDX-License-Identifier: Apache-2.0
#include "tidewell/core/TWConfigManager/ConfigurationLint.h"

#include <set>

#include "LintClaims.h"
#include "core/CoreFixture.h"
#include "tidewell/core/TWConfigManager/internal/LintRules.h"

namespace tidewell {
namespace {

std::string repeated(const std::string& unit, int times) {
  std::string text;
  while (times-- > 0) text += unit;
  return text;
}

/// With a byte-order mark.
std::string utf16(const std::string& text) {
  std::string units = "\xFF\xFE";
  for (const char byte : text) units += {byte, '\0'};
  return units;
}

/// A reply with every key, and one value replaced or added. Findings about it concern that value only.
std::string replyWith(const std::string& member) {
  std::string reply = "{" + member;
  const std::string key = member.substr(0, member.find(':') + 1);
  for (const char* each :
       {R"("a_s":"allowed")", R"("i_s":"blocked")", R"("in_s":"allowed")", R"("g_s":"allowed")",
        R"("le_s":"blocked")", R"("d_t":"allowed")", R"("p_f_s":"allowed")", R"("p_f_t":61)",
        R"("i_d_e":3600)", R"("dt_s_t":60)", R"("u_a_c_t":60)", R"("s_i_d":60)", R"("b_e":["b"])",
        R"("f_e":["f"])", R"("d_t_w_e":["w"])", R"("src_ext":["s"])", R"j("b_uid_r":["guest-[0-9]+"])j",
        R"("le_tkn":"t")", R"("e_b_c":5)"}) {
    if (!std::string(each).starts_with(key)) reply += std::string(",") + each;
  }
  return reply + "}";
}

/// "rule@line:column pointer" for each finding.
Lines findingsOf(const std::string& reply) {
  Lines found;
  for (const LintFinding& finding : lintConfiguration(reply).findings()) {
    found.push_back(std::string(finding.rule()) + "@" + std::to_string(finding.line()) + ":" +
                    std::to_string(finding.column()) + " " + std::string(finding.pointer()));
  }
  return found;
}

using ConfigurationLintTest = CoreFixture;

TEST_F(ConfigurationLintTest, FindsEachRuleAtItsPlace) {
  const std::string costly = repeated("[\\\\p{L}]", 64);
  std::string manyCostly, nested;
  for (int i = 0; i < 100; ++i) manyCostly += ",\"" + costly + std::to_string(i) + "\"";
  for (int i = 0; i < 900; ++i) nested += ",\"(x+y)+" + std::to_string(i) + "\"";
  const struct {
    std::string reply;
    Lines findings;
    bool andMore = false;  ///< and others after these
  } rows[] = {
      {replyWith(R"("a_s":"allowed")"), {}},
      {R"({"a_s":"allowed",)" + replyWith(R"("a_s":"x")").substr(1), {"duplicate-key@1:18 /a_s"}},
      {std::string(4 << 20, ' '), {"reply-too-large@0:0 "}},
      {"", {"not-json@1:1 "}},
      {"{\"a_s\":\n \"\xC3\xBC\" oops}", {"not-json@2:6 "}},
      {"{\"a_s\":\n \"x\xFF\"}", {"not-json@2:4 "}},
      {"{\"a_s\":\"\\uD800\"}", {"not-json@1:9 "}},
      {"{\"p_f_t\":1e999}", {"not-json@1:10 "}},
      {repeated("[", 600), {"not-json@1:513 "}},
      {utf16("{\"b_e\":\n[1]}"), {"entry-not-text@2:2 /b_e/0", "absent-keys@0:0 "}},
      {"3", {"not-container@1:1 "}},
      {" [{}]", {"not-object@1:1 "}},
      {replyWith("\"in_x\":1"), {"misspelled-key@1:2 /in_x"}},
      {replyWith("\"A/~completely_other\":1"), {"unknown-key@1:2 /A~1~0completely_other"}},
      {replyWith("\"d_r_r\":\"Europe\""), {"device-key@1:2 /d_r_r"}},
      {replyWith("\"d_t\":null"), {"absent-keys@0:0 "}},
      {replyWith(R"("dt_s_t": [60])"), {"merge-stops@1:12 /dt_s_t"}},
      {replyWith(R"("le_tkn":")" + std::string(20000, 'x') + "\""), {"value-too-large@1:11 /le_tkn"}},
      {replyWith(R"("g_s":1)"), {"status-not-text@1:8 /g_s"}},
      {replyWith(R"("g_s":"Blocked")"), {"status-unknown@1:8 /g_s"}},
      {replyWith(R"("le_tkn":7)"), {"token-not-text@1:11 /le_tkn"}},
      {replyWith(R"("le_s":"allowed","le_tkn":"")"),
       {"token-missing@1:28 /le_tkn", "duplicate-key@1:273 /le_tkn"}},
      {replyWith(R"("p_f_t":0)"), {"duration-zero@1:10 /p_f_t"}},
      {replyWith(R"("e_b_c":"0")"), {"number-as-text@1:10 /e_b_c", "count-zero@1:10 /e_b_c"}},
      {replyWith(R"("p_f_t":-60)"), {"number-negative@1:10 /p_f_t"}},
      {replyWith(R"("p_f_t":60.5)"), {"number-fractional@1:10 /p_f_t"}},
      {replyWith(R"("p_f_t":60.0)"), {}},
      {replyWith(R"("p_f_t":9223372036854775808)"), {"number-too-large@1:10 /p_f_t"}},
      {replyWith(R"("p_f_t":" -99999999999999999999")"), {"number-too-large@1:10 /p_f_t"}},
      {replyWith(R"("p_f_t":"60s")"), {"number-from-part-of-text@1:10 /p_f_t"}},
      {replyWith(R"("p_f_t":"soon")"), {"number-not-numeric@1:10 /p_f_t"}},
      {replyWith(R"("p_f_t":true)"), {"number-from-boolean@1:10 /p_f_t"}},
      {replyWith(R"("f_e":"f")"), {"list-not-array@1:8 /f_e"}},
      {replyWith(R"("b_e":["x",{"y":[0]},"x"])"), {"entry-not-text@1:13 /b_e/1"}},
      {replyWith(R"("src_ext":["x",{"y":[0]},"x"])"), {"entry-twice@1:27 /src_ext/2"}},
      {replyWith(R"("b_e":["b",""])"), {"event-empty@1:13 /b_e/1"}},
      {replyWith(R"("b_e":["f"])"), {"event-blocked@1:197 /f_e/0"}},
      {replyWith(R"("f_e":["w"])"), {"event-in-two-lists@1:213 /d_t_w_e/0"}},
      {replyWith(R"j("b_uid_r":["a","(","b[0-9]"])j"),
       {"expression-invalid@1:17 /b_uid_r/1", "expression-unreachable@1:21 /b_uid_r/2"}},
      {replyWith("\"b_uid_r\":[\"(?i)" + costly + "\"]"), {"expression-too-costly@1:13 /b_uid_r/0"}},
      {replyWith(R"j("b_uid_r":["(a+)+b"])j"), {"expression-slow@1:13 /b_uid_r/0"}},
      {replyWith(R"j("b_uid_r":["(.*)*x.*y"])j"), {"expression-slow@1:13 /b_uid_r/0"}},
      {replyWith(R"j("b_uid_r":["a^b","x$y","(?!)","[^\\s\\S]","(?=a)b"])j"),
       {"expression-matches-nothing@1:13 /b_uid_r/0", "expression-matches-nothing@1:19 /b_uid_r/1",
        "expression-matches-nothing@1:25 /b_uid_r/2", "expression-matches-nothing@1:32 /b_uid_r/3",
        "expression-matches-nothing@1:44 /b_uid_r/4"}},
      {replyWith(R"j("b_uid_r":[".+","(?s).*"])j"),
       {"expression-matches-everything@1:13 /b_uid_r/0", "expression-matches-everything@1:18 /b_uid_r/1"}},
      {replyWith(R"j("b_uid_r":["guest")j" + manyCostly + "]"),
       {"expression-beyond-limit@1:2601 /b_uid_r/6"},
       true},
      {replyWith(R"j("b_uid_r":["guest")j" + nested + "]"), {"expressions-untried@1:297 /b_uid_r/27"}, true},
      // Expressions without fault, of kinds that operators write.
      {replyWith(
           R"j("b_uid_r":["\\d{4,}",".*@example\\.(com|org)","[a-f0-9]{8}(-[a-f0-9]{4}){3}-[a-f0-9]{12}",)j"
           R"j("(?i)test.*","\\p{Greek}+","^(?=.*\\d)(?=.*[a-z]).{8,}$","(a|b)\\1","[\u0430-\u044F]+\\b"])j"),
       {}},
  };
  TWLogger::debug(TWLogLevelDebug);
  std::set<std::string> seen;
  for (const auto& row : rows) {
    SCOPED_TRACE(row.reply.substr(0, 100));
    Lines findings = findingsOf(row.reply);
    if (row.andMore && findings.size() > row.findings.size()) findings.resize(row.findings.size());
    EXPECT_EQ(findings, row.findings);
    EXPECT_EQ(differenceFromDevices(row.reply, *platform), "");
    for (const std::string& finding : row.findings) seen.insert(finding.substr(0, finding.find('@')));
  }
  for (const LintRule& rule : kLintRules) EXPECT_EQ(seen.count(std::string(rule.name)), 1u) << rule.name;
}

TEST_F(ConfigurationLintTest, GivesSentencesAndSizesForJson) {
  const LintReport report = lintConfiguration(replyWith(R"("g_s":{"\u001B]0;":1})"));
  EXPECT_EQ(
      base::dataWithJSONObject(report.findings().at(0).dictionary()),
      R"({"severity":"error","rule":"status-not-text","key":"g_s","pointer":"\/g_s","line":1,"column":8,)"
      R"("sentence":"The status is an object: it is stored, and each question that reads it raises; )"
      R"(the answers are then: isGeofenceServiceActive true.","advice":"Send \"blocked\" or \"allowed\"."})");
  EXPECT_GT(report.archiveBytes(), 500u);
  EXPECT_GT(report.compiledBytes(), 100u);
  EXPECT_EQ(report.dictionary().objectForKey("replyBytes"), base::Value(report.replyBytes()));

  const LintReport hostile = lintConfiguration("{\"a_s\":\"\x7F\\u0000\xC2\x9B" + std::string(999, 'x') +
                                               "\"" + repeated(",\"\":0", 100) + "}");
  EXPECT_EQ(hostile.omittedFindings(), 49u) << "99 duplicates";
  EXPECT_EQ(hostile.worst(), LintSeverity::warning);
  EXPECT_EQ(hostile.findings().at(0).sentence(), "The status \"???" + std::string(56, 'x') +
                                                     "\u2026\" is neither \"blocked\" nor \"allowed\", and "
                                                     "counts as allowed.");
}

TEST_F(ConfigurationLintTest, ComparesAReplyWithARecord) {
  TWConfig record;
  record.setInAppServiceStatus("blocked");
  record.setGeofenceServiceStatus(7);
  record.setUserPushOptedOut(true);
  record.setBlackListedEventsArray(base::Array{"kept", "gone"});
  record.setRestrictedUniqueIDRegexArray(base::Array{"a", "b"});
  base::Array changes;
  for (const ConfigurationChange& change : configurationChanges(
           R"({"b_e":["kept","new"],"f_e":1,"b_uid_r":["b","a"],"p_f_t":30,"le_s":"on"})", record))
    changes.addObject(change.dictionary());
  EXPECT_EQ(base::dataWithJSONObject(changes),
            R"([{"kind":"gate","name":"isInAppServiceActive","before":false,"after":true},)"
            R"({"kind":"gate","name":"isGeofenceServiceActive","before":true,"after":false},)"
            R"({"kind":"gate","name":"isLogentriesEnabled","before":false,"after":true},)"
            R"({"kind":"value","name":"i_s","before":"blocked","after":"allowed"},)"
            R"({"kind":"value","name":"g_s","before":7,"after":"allowed"},)"
            R"({"kind":"value","name":"le_s","before":"blocked","after":"on"},)"
            R"({"kind":"value","name":"p_f_t","before":60,"after":30},)"
            R"({"kind":"entryRemoved","name":"b_e","before":"gone","after":null},)"
            R"({"kind":"entryAdded","name":"b_e","before":null,"after":"new"},)"
            R"({"kind":"value","name":"f_e","before":[],"after":1},)"
            R"({"kind":"value","name":"b_uid_r","before":["a","b"],"after":["b","a"]}])");
  EXPECT_TRUE(configurationChanges("[]", record).empty());
  EXPECT_EQ(configurationChanges("<html>", record).size(), 8u) << "a reply that is not JSON resets";
}

}  // namespace
}  // namespace tidewell
