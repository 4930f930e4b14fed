#include <random>

#include "life/LifeTest.h"

namespace tidewell::life {
namespace {

/// Whether these are the answers of the record of this number that the command `merge` makes.
bool isRecord(const std::string& answers, int number) {
  const std::string text = std::to_string(number), quoted = '"' + text + '"';
  return answers == R"(["yyyynyyyyy",[2592000,)" + text + ",10800,1800,1800," + text + R"(],"nnnnn",[)" +
                        quoted + "," + quoted + "],[],[],[],[]," + quoted + ",2]";
}

TEST_F(LifeTest, AKillAtAnyInstantLeavesTheLastRecordOrTheNext) {
  std::mt19937 random{std::random_device()()};
  host({"merge 1"}).end();
  int written = 200;
  for (int round = 0; round < 30; ++round) {
    Child app = host();
    const std::string answers = app.ask("answers");
    if (isRecord(answers, written + 1)) ++written;
    EXPECT_TRUE(isRecord(answers, written)) << answers << " after " << written;
    EXPECT_EQ(count(app.errors(), kKeptAside), 0);
    app.say("merge " + std::to_string(written + 1));
    for (auto merges = random() % 8; merges > 0; --merges) written = std::stoi(app.line());
    usleep(random() % 3000);  // an instant of a write is no event that could be waited for
    app.send(SIGKILL);
    for (std::string line = app.line(); line != "(ended)"; line = app.line()) {
      if (line != "done") written = std::stoi(line);
    }
  }
  host({"merge-json {}"}).end();
  const fs::directory_iterator files(fs::path(archive).parent_path());
  EXPECT_EQ(std::distance(begin(files), end(files)), 2) << "the next write removes what the killed ones left";
}

TEST_F(LifeTest, TwoProcessesOfOneApplicationLoseNothingOfEachOther) {
  Child one = host(), two = host();
  EXPECT_EQ(one.ask("answers") + two.ask("answers"),
            std::string(kDefaultAnswers) + std::string(kDefaultAnswers));
  for (int i = 0; i < 25; ++i) {
    one.say("store a" + std::to_string(i) + " kept by one: " + std::to_string(i));
    two.say("store b" + std::to_string(i) + " kept by two: " + std::to_string(i));
  }
  for (const char* command : {"opt-out-push", "merge 1"}) one.say(command);
  for (const char* command : {"region 1", "opt-out-inapp", "merge 1000"}) two.say(command);
  EXPECT_EQ(one.end().status, 0);
  EXPECT_EQ(two.end().status, 0);
  EXPECT_EQ(host({"known"}).end().out, "ynn 1 nil nil nil\n");
  EXPECT_EQ(count(bytesOf(defaults), "kept by"), 50);
  const std::string batch = host({"batch"}).end().out;
  EXPECT_TRUE(batch == "200\n" || batch == "1199\n") << batch;
}

}  // namespace
}  // namespace tidewell::life
