#include "guest/Guest.h"

// The end of a host's process.
namespace tidewell::guest {
namespace {

TEST_F(GuestTest, AProcessEndsAtAnyInstantWithoutACrashAndWithoutWaiting) {
  const int runs = isLong() ? 200 : 20;
  for (int run = 0; run < runs; ++run) {
    backend.clearFaults();
    std::string problem;
    if (run % 3 == 1) backend.setFault(*testing::StandInFault::parse("kind=drip:1", problem));
    if (run % 3 == 2) backend.setFault(*testing::StandInFault::parse("kind=silence", problem));
    const std::string way =
        std::array{"return", "exit", "quick_exit", "thread"}[static_cast<std::size_t>(run % 4)];
    Host one = host({"end", way, std::to_string(run * 7919 % 60'000)},
                    {"XDG_DATA_HOME=" + data + std::to_string(run)});
    ASSERT_EQ(one.line(), "ending") << one.errors();
    const auto begin = std::chrono::steady_clock::now();
    const Outcome outcome = one.end();
    ASSERT_EQ(outcome.status, 7) << way << ", run " << run << "\n" << outcome.last();
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(10)) << way;
  }
}

TEST_F(GuestTest, EveryOperationServesHandlersDestructorsAndThreadsWhileTheProcessEnds) {
  const std::map<std::string, std::string> usedBy{
      {"return", "used by a handler\nused by a static destructor\n"},
      {"exit", "used by a handler\nused by a static destructor\n"},
      {"thread", "used by a handler\nused by a static destructor\n"},
      {"quick_exit", "used by a quick handler\n"}};
  for (int run = 0; run < (isLong() ? 20 : 1); ++run) {
    for (const auto& [way, used] : usedBy) {
      for (const bool first : {false, true}) {
        std::vector<std::string> arguments{"use-at-end", way};
        if (first) arguments.emplace_back("first");
        const std::string name = way + (first ? " first " : " ") + std::to_string(run);
        const Outcome outcome = host(arguments, {"XDG_DATA_HOME=" + data + name}).end();
        EXPECT_EQ(outcome.status, 7) << name << "\n" << outcome.last();
        EXPECT_EQ(outcome.out, used) << name;
      }
    }
  }
}

}  // namespace
}  // namespace tidewell::guest
