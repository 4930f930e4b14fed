// SPDX-License-Identifier: Apache-2.0
#include "guest/Guest.h"

// Process exit.
namespace tidewell::guest {
namespace {

TEST_F(GuestTest, AProcessMayExitAtAnyTime) {
  const char* const faults[] = {"", "kind=drip:1", "kind=silence", "kind=silent-handshake"};
  const char* const ways[] = {"return", "exit", "quick_exit", "thread"};
  for (unsigned run = 0; run < (isLong() ? 200 : 20); ++run) {
    backend.clearFaults();
    if (run % 4 != 0) setFault(faults[run % 4]);
    const std::string way = ways[run / 4 % 4];
    SCOPED_TRACE(way + ", run " + std::to_string(run));
    Child one = host({}, {"XDG_DATA_HOME=" + data + std::to_string(run), run % 5 == 0 ? "HOST_LOOP=1" : ""});
    ASSERT_EQ(one.ask({"start GUEST", "busy"}), "done");
    usleep(run * 7919 % 60'000);
    one.say("exit " + way);
    const auto begin = std::chrono::steady_clock::now();
    const Outcome outcome = one.end();
    ASSERT_EQ(outcome.status, 7) << outcome.err;
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(30));
  }
}

TEST_F(GuestTest, OperationsWorkInExitHandlersAndStaticDestructors) {
  for (int run = 0; run < (isLong() ? 20 : 1); ++run) {
    for (const std::string way : {"return", "exit", "thread", "quick_exit"}) {
      for (const bool first : {false, true}) {
        std::vector<std::string> commands{"use-at-end", "start GUEST", "await 7", "use", "exit " + way};
        // First use after the underlying libraries have cleaned up.
        if (first) commands = {"use-at-end", "fetch", "exit " + way};
        SCOPED_TRACE(way + (first ? " first" : ""));
        const Outcome outcome =
            host(commands, {"XDG_DATA_HOME=" + data + way + std::to_string(run * 2 + first)}).end();
        EXPECT_EQ(outcome.status, 7) << outcome.err;
        EXPECT_EQ(outcome.out.substr(outcome.out.find("used")),
                  way == "quick_exit" ? "used by a quick handler\n"
                                      : "used by a handler\nused by a static destructor\n");
      }
    }
  }
}

}  // namespace
}  // namespace tidewell::guest
