// SPDX-License-Identifier: Apache-2.0
#include "tidewell/core/TWConfigManager/Explanation.h"

#include "core/CoreFixture.h"

namespace tidewell {
namespace {

// That explanations agree with answers is part of the comparison with the model (ConfigModel.h).
class ExplanationTest : public CoreFixture {
 protected:
  ExplanationTest() { manager.emplace(); }

  void merge(std::string_view json) { manager->updateConfigFromResponse(base::JSONObjectWithData(json)); }
  std::string pathOf(std::string_view name) {
    const std::string archive = *manager->getFilePathForConfig();
    return archive.substr(0, archive.rfind('/') + 1).append(name);
  }
  std::optional<std::string> originsFile() {
    const platform::FileContents file = files().contentsOfFile(pathOf(kConfigOriginsFileName));
    return file.error ? std::nullopt : std::optional(file.contents);
  }
  /// "key origin; " for each of these keys, by the current record and the file of origins.
  std::string origins(const std::vector<std::string>& keys) {
    const base::Dictionary all = originsOf(*manager->tdwConfig(), originsFile());
    std::string text;
    for (const std::string& key : keys) {
      const base::Dictionary origin = *all.objectForKey(key).dictionary();
      text += key + " " + *origin.objectForKey("origin").string();
      if (const base::Value time = origin.objectForKey("originTime"))
        text += "@" + time.string()->substr(11, 5);
      text += "; ";
    }
    return text;
  }
  std::string explained(std::string_view question, std::optional<std::string_view> argument = std::nullopt) {
    return base::dataWithJSONObject(manager->explanation(question, argument)->dictionary());
  }

  std::optional<TWConfigManager> manager;
};

TEST_F(ExplanationTest, NamesEachStepAndItsOrigin) {
  manager->setUserPushNotificationOptedOut(true);
  merge(R"({"a_s":7,"b_e":["x",1],"b_uid_r":["(a+)+b","a+","("]})");
  TWLogger::debug(TWLogLevelDebug);
  EXPECT_EQ(
      explained("isGeofenceServiceActive"),
      R"({"question":"isGeofenceServiceActive","answer":"no","steps":[)"
      R"({"key":"a_s","value":7,"origin":"last-reply","originTime":"2018-11-12 17:05:09 +0000",)"
      R"("outcome":"raises","decides":false},)"
      R"({"key":"g_s","value":"allowed","origin":"left-out","originTime":"2018-11-12 17:05:09 +0000",)"
      R"("outcome":"passes","decides":false},)"
      R"({"key":"user_push_opt_out","value":true,"origin":"device",)"
      R"("originTime":"2018-11-12 17:05:09 +0000","outcome":"refuses","decides":true}],"omittedSteps":0})");
  const auto outcomes = [&](std::string_view question, std::optional<std::string_view> argument) {
    std::string text;
    for (const ExplanationStep& step : manager->explanation(question, argument)->steps()) {
      const base::Dictionary each = step.dictionary();
      text += *each.objectForKey("outcome").string() + (step.decides() ? "! " : " ");
    }
    return text;
  };
  EXPECT_EQ(outcomes("isEventBlackListed", "x"), "passes passes matches! ");
  EXPECT_EQ(outcomes("isEventBlackListed", "y"), "passes passes differs raises! ");
  EXPECT_EQ(outcomes("isEventBlackListed", ""), "refuses! ");
  EXPECT_EQ(outcomes("isUniqueIDRestricted", std::nullopt), "matches! ");
  EXPECT_EQ(outcomes("isUniqueIDRestricted", std::string(60, 'a')), "passes passes not-evaluated matches! ");
  EXPECT_EQ(outcomes("isUniqueIDRestricted", "c"), "passes passes differs differs raises! ");
  EXPECT_TRUE(lines().empty()) << "an explanation logs nothing";
  EXPECT_TRUE(manager->isUniqueIDRestricted(std::string(60, 'a')));
  EXPECT_EQ(lines().size(), 1u) << "nor does it take a line from the question";
  EXPECT_FALSE(manager->explanation("isAnything"));
}

TEST_F(ExplanationTest, OriginsAreKeptAcrossLaunches) {
  const std::vector<std::string> keys = {"a_s", "p_f_t", "b_e", "d_r_r", "d_t_opt_out"};
  struct Step {
    const char* what;
    std::function<void()> act;
    std::string expected;
    std::string afterRestart = expected;
  };
  const std::string large = "[\"" + std::string(66'000, 'x') + "\"]";
  const std::string manyKeys =
      "{\"a_s\":\"blocked\",\"zz\":\"" + std::string(kMaximumKeptReplyBytes, 'z') + "\"}";
  const std::string unknown = "a_s unknown; p_f_t unknown; b_e unknown; d_r_r unknown; d_t_opt_out unknown; ";
  const std::string device = "d_r_r not-set-on-device; d_t_opt_out device@17:05; ";
  const Step steps[] = {
      {"a setter", [&] { manager->setDataTrackingOptedOut(true); },
       "a_s nothing-downloaded; p_f_t nothing-downloaded; b_e nothing-downloaded; " + device},
      {"a reply", [&] { merge(R"({"a_s":"allowed","p_f_t":30,"b_e":null})"); },
       "a_s last-reply@17:06; p_f_t last-reply@17:06; b_e left-out@17:06; " + device},
      {"one that stops", [&] { merge(R"({"a_s":"blocked","p_f_t":[]})"); },
       "a_s last-reply@17:07; p_f_t before-last-reply; b_e before-last-reply; " + device,
       "a_s before-last-reply; p_f_t before-last-reply; b_e before-last-reply; " + device},
      {"one with a large value", [&] { merge("{\"b_e\":" + large + "}"); },
       "a_s left-out@17:08; p_f_t left-out@17:08; b_e before-last-reply; " + device},
      {"a large reply", [&] { merge(manyKeys); },
       "a_s last-reply@17:09; p_f_t left-out@17:09; b_e left-out@17:09; " + device},
      {"a value of the host's", [&] { manager->tdwConfig()->setPeriodicSyncInterval(9); },
       "a_s last-reply@17:09; p_f_t unknown; b_e left-out@17:09; " + device,
       "a_s last-reply@17:09; p_f_t left-out@17:09; b_e left-out@17:09; " + device},
      {"a broken file", [&] { files().setContents(pathOf(kConfigOriginsFileName), "bplist00"); }, unknown},
  };
  for (const Step& step : steps) {
    SCOPED_TRACE(step.what);
    step.act();
    EXPECT_EQ(origins(keys), step.expected);
    manager.emplace();
    EXPECT_EQ(origins(keys), step.afterRestart) << "after a restart";
    platform->testClock().advance(60);
  }
  EXPECT_EQ(manager->explanation("isAccountActive")->steps().at(0).origin(), ValueOrigin::unknown);
  manager->setDataRedirectionRegion(TWDataRegionEurope);
  EXPECT_EQ(origins({"a_s", "d_r_r"}), "a_s earlier-version; d_r_r device@17:12; ");
}

}  // namespace
}  // namespace tidewell
