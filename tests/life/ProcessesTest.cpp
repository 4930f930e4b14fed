#include "life/LifeTest.h"

namespace tidewell::life {
namespace {

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
