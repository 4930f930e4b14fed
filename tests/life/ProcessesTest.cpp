#include <random>
#include <thread>

#include "life/LifeTest.h"

namespace tidewell::life {
namespace {

constexpr int kKills = 30;

TEST_F(LifeTest, AKillAtAnyInstantLeavesTheLastRecordOrTheNext) {
  std::mt19937 random{std::random_device()()};
  int acknowledged = 0;
  {
    App app(backend, environment());
    app.say("merge 1");
    acknowledged = std::stoi(app.line());
  }
  for (int round = 0; round < kKills; ++round) {
    App app(backend, environment());
    const int found = std::stoi(app.ask("merged"));
    EXPECT_TRUE(found == acknowledged || found == acknowledged + 1) << found << " after " << acknowledged;
    EXPECT_EQ(app.ask("count kept aside"), "0");
    acknowledged = found;
    app.say("merge " + std::to_string(found + 1));
    // An instant of a write, not an event that could be waited for.
    for (auto merges = random() % 8; merges > 0; --merges) acknowledged = std::stoi(app.line());
    std::this_thread::sleep_for(std::chrono::microseconds(random() % 3000));
    app.kill();
    for (std::string line = app.line(); line != "(ended)"; line = app.line()) {
      if (line != "merged") acknowledged = std::stoi(line);
    }
  }
  // What the killed ones left behind is swept away.
  App app(backend, environment());
  app.ask("merge-json {}");
  for (const auto& entry :
       std::filesystem::directory_iterator(std::filesystem::path(archive).parent_path())) {
    EXPECT_EQ(entry.path().string().substr(0, archive.size()), archive);
  }
}

TEST_F(LifeTest, TwoProcessesOfOneApplicationLoseNothingOfEachOther) {
  {
    App one(backend, environment());
    App two(backend, environment());
    EXPECT_EQ(one.ask("answers"), kDefaultAnswers);
    EXPECT_EQ(two.ask("answers"), kDefaultAnswers);
    for (const char* command : {"set-defaults a", "opt-out-push", "merge 1"}) one.say(command);
    for (const char* command : {"set-defaults b", "region 1", "opt-out-inapp", "merge 1000"})
      two.say(command);
    EXPECT_EQ(one.end(), 0);
    EXPECT_EQ(two.end(), 0);
  }
  App app(backend, environment());
  EXPECT_EQ(app.ask("count-defaults a"), "25");
  EXPECT_EQ(app.ask("count-defaults b"), "25");
  const std::string answers = app.ask("answers");
  EXPECT_EQ(answers.substr(0, 13), R"(["ynnnnynynn")");
  EXPECT_EQ(answers.substr(answers.size() - 3), ",1]");
  const int merged = std::stoi(app.ask("merged"));
  EXPECT_TRUE(merged == 200 || merged == 1199) << merged;
}

TEST_F(LifeTest, WhatTheUserChoseSurvivesAProcessThatIsStoppedWithTheLock) {
  App stopped(backend, environment());
  ASSERT_EQ(stopped.ask("hold-archive"), "held");
  stopped.stop();
  constexpr std::string_view kChosen = R"(["ynnnnynynn")";
  {
    App app(backend, environment());
    for (const char* command : {"opt-out-push", "opt-out-inapp", "region 1"}) app.ask(command);
    EXPECT_EQ(app.ask("count waits"), "1");
    app.kill();
  }
  {
    App app(backend, environment());
    const std::string answers = app.ask("answers");
    EXPECT_EQ(answers.substr(0, kChosen.size()), kChosen);
    EXPECT_EQ(answers.substr(answers.size() - 3), ",1]");
  }
  stopped.resume();
  EXPECT_EQ(stopped.ask("release-archive"), "released");
  stopped.ask("merge-json {}");
  EXPECT_EQ(stopped.ask("answers").substr(0, kChosen.size()), kChosen);
  EXPECT_EQ(stopped.end(), 0);
  for (const auto& entry :
       std::filesystem::directory_iterator(std::filesystem::path(archive).parent_path())) {
    EXPECT_EQ(entry.path().string().find(".change-"), std::string::npos) << entry.path();
  }
  EXPECT_EQ(App(backend, environment()).ask("answers").substr(0, kChosen.size()), kChosen);
}

TEST_F(LifeTest, AWriterThatIsStoppedAtAnyInstantUndoesNoChoice) {
  std::mt19937 random{std::random_device()()};
  for (const char* region : {"0", "1", "0", "1", "0", "1"}) {
    App writer(backend, environment());
    writer.say("merge 1");
    for (auto merges = random() % 8; merges > 0; --merges) writer.line();
    // An instant of a write, not an event that could be waited for.
    std::this_thread::sleep_for(std::chrono::microseconds(random() % 3000));
    writer.stop();
    {
      App app(backend, environment());
      app.ask(std::string("region ") + region);
      EXPECT_EQ(app.end(), 0);
    }
    writer.resume();
    EXPECT_EQ(writer.end(), 0);
    const std::string answers = App(backend, environment()).ask("answers");
    EXPECT_EQ(answers.substr(answers.size() - 3), std::string(",") + region + "]");
  }
}

}  // namespace
}  // namespace tidewell::life
