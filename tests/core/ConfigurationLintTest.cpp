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
        R"("f_e":["f"])", R"("d_t_w_e":["w"])", R"("src_ext":["s"])", R"("b_uid_r":["guest-[0-9]+"])",
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
  std::string costly, nested;
  for (int i = 0; i < 600; ++i) costly += ",\"(?i)" + repeated("[\\\\p{L}]", 64) + std::to_string(i) + "\"";
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
      {"{\"a_s\":\"\\uD800\"}", {"not-json@1:8 "}},
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
       {"token-missing@1:28 /le_tkn", "duplicate-key@1:0 /le_tkn"}},
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
      {replyWith(R"("b_e":["f"])"), {"event-blocked@1:229 /f_e/0"}},
      {replyWith(R"("f_e":["w"])"), {"event-in-two-lists@1:240 /d_t_w_e/0"}},
      {replyWith(R"("b_uid_r":["a","(","b[0-9]"])"),
       {"expression-invalid@1:17 /b_uid_r/1", "expression-unreachable@1:21 /b_uid_r/2"}},
      {replyWith(R"("b_uid_r":["[\\p{L}]{1000}","a"])"), {"expression-too-costly@1:13 /b_uid_r/0"}},
      {replyWith(R"("b_uid_r":["(a+)+b"])"), {"expression-slow@1:13 /b_uid_r/0"}},
      {replyWith(R"("b_uid_r":["(.*)*x.*y"])"), {"expression-slow@1:13 /b_uid_r/0"}},
      {replyWith(R"("b_uid_r":["a^b","x$y","(?!)","[^\\s\\S]","(?=a)b"])"),
       {"expression-matches-nothing@1:13 /b_uid_r/0", "expression-matches-nothing@1:19 /b_uid_r/1",
        "expression-matches-nothing@1:25 /b_uid_r/2", "expression-matches-nothing@1:32 /b_uid_r/3",
        "expression-matches-nothing@1:43 /b_uid_r/4"}},
      {replyWith(R"("b_uid_r":[".+","(?s).*"])"),
       {"expression-matches-everything@1:13 /b_uid_r/0", "expression-matches-everything@1:18 /b_uid_r/1"}},
      {replyWith(R"("b_uid_r":["guest")" + costly + "]"), {"expression-beyond-limit@1:0 /b_uid_r/1"}, true},
      {replyWith(R"("b_uid_r":["guest")" + nested + "]"), {"expressions-untried@1:0 /b_uid_r/1"}, true},
      // Expressions without fault, of kinds that operators write.
      {replyWith(R"("b_uid_r":["","\\d{4,}",".*@example\\.(com|org)","[a-f0-9]{8}(-[a-f0-9]{4}){3}-[a-f0-9]{12}",)"
                 R"("(?i)test.*","\\p{Greek}+","^(?=.*\\d)(?=.*[a-z]).{8,}$","(a|b)\\1","[\u0430-\u044F]+\\b"])"),
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

}  // namespace
}  // namespace tidewell
