#include "guest/Guest.h"

// Forks, programs that the host starts, signals, threads, descriptors.
namespace tidewell::guest {
namespace {

#if defined(__SANITIZE_ADDRESS__)
constexpr bool kAddressSanitizer = true;
#elif defined(__has_feature)
constexpr bool kAddressSanitizer = __has_feature(address_sanitizer);
#else
constexpr bool kAddressSanitizer = false;
#endif

TEST_F(GuestTest, AForkedChildAnswersFromItsRecordAndTheParentGoesOn) {
  if (kAddressSanitizer)
    GTEST_SKIP() << "its allocator may be locked for ever in the child of a process with threads";
  const Outcome outcome = host({"fork", isLong() ? "200" : "30"}).end();
  EXPECT_EQ(outcome.status, 0) << outcome.last();
  EXPECT_EQ(count(outcome.err, "Requests fail in this process"), isLong() ? 200 : 30) << "one line a child";
}

TEST_F(GuestTest, NoOperationHangsInTheChildOfAForkBesideAnyOtherInItsParent) {
  if (kIsSanitized) GTEST_SKIP() << "a sanitizer's locks may be held for ever in the child";
  // A sample of the pairs, another one each time; `make fork-matrix` runs all.
  Host matrix({GUEST_FORK_MATRIX, isLong() ? "300" : "4", std::to_string(getpid())}, environment());
  const Outcome outcome = matrix.end(std::chrono::seconds(600));
  EXPECT_EQ(outcome.status, 0) << outcome.out << outcome.last();
}

TEST_F(GuestTest, ACancelledThreadEndsAfterTheOperationThatItIsIn) {
  const Outcome outcome = host({"cancel", isLong() ? "1000" : "80"}).end();
  EXPECT_EQ(outcome.status, 0) << outcome.last();
}

TEST_F(GuestTest, SnapshotsAreFreedInASandboxThatIsEnteredLate) {
  if (kIsSanitized) GTEST_SKIP() << "counts what the system's allocator holds";
  Host one = host({"late-sandbox"});
  const std::string line = one.line();
  EXPECT_EQ(one.end().status, 0) << one.errors();
  EXPECT_LT(std::atol(line.c_str()), 10L << 20) << line;
}

TEST_F(GuestTest, AProgramThatTheHostStartsInheritsNoDescriptor) {
  if (kAddressSanitizer)
    GTEST_SKIP() << "its allocator may be locked for ever in the child of a process with threads";
  const Outcome outcome = host({"exec"}).end();
  EXPECT_EQ(outcome.status, 0) << outcome.last();
}

TEST_F(GuestTest, PeersThatCloseEarlyRaiseNoSignalAndNoHandlerIsChanged) {
  std::string problem;
  for (const char* kind : {"close", "reset", "truncation:2"}) {
    backend.setFault(*testing::StandInFault::parse(std::string("service=2,kind=") + kind, problem));
    std::array<int, 2> closed{};
    ASSERT_EQ(pipe2(closed.data(), O_CLOEXEC), 0);
    close(closed[0]);  // standard error has no reader
    Host one({GUEST_HOST, "signals", "20"}, environment({"XDG_DATA_HOME=" + data + kind}), closed[1]);
    close(closed[1]);
    EXPECT_EQ(one.line(), "same") << kind;
    const auto blocked = one.threads("SigBlk");
    EXPECT_GE(blocked.size(), 3u);
    for (const auto& [name, mask] : blocked) {
      // Not SIGKILL and SIGSTOP, and not 32 and 33, which are the C library's.
      EXPECT_EQ(mask, "\tfffffffe7ffbfeff") << name;
    }
    EXPECT_EQ(one.end().status, 0) << kind;
  }
}

TEST_F(GuestTest, AThousandRequestsThroughEveryFaultLeaveDescriptorsThreadsAndMemoryAsTheyWere) {
  Host one = host({"requests"});
  ASSERT_EQ(one.line(), "ready");
  std::string problem;
  const auto throughEveryFault = [&] {
    for (const char* kind :
         {"status:500", "close", "reset", "truncation:2", "oversized:4194304", "gzip-bomb:33554432",
          "not-json", "nesting:100000", "wrong-authority", "garbage"}) {
      backend.setFault(*testing::StandInFault::parse(std::string("kind=") + kind, problem));
      for (int i = 0; i < (isLong() ? 5 : 1); ++i) EXPECT_NE(one.ask("10"), "(silent)") << kind;
    }
    backend.clearFaults();
  };
  // How many connections are kept for later depends on how many requests overlapped: the backend closes all.
  // libcurl looks at most once a second for those that have died, and only when a request begins.
  const auto quietDescriptors = [&] {
    backend.setFault(*testing::StandInFault::parse("kind=close", problem));
    for (int i = 0; i < 100 && backend.openConnectionCount() > 0; ++i) one.ask("1");
    backend.clearFaults();
    sleep(2);
    one.ask("1");
    return one.descriptors();
  };
  throughEveryFault();
  const auto descriptors = quietDescriptors();
  const auto threads = one.threads("Pid");
  const long memory = std::stol(one.ask("memory"));
  for (int i = 0; i < 2; ++i) throughEveryFault();
  EXPECT_EQ(quietDescriptors(), descriptors);
  EXPECT_EQ(one.threads("Pid"), threads);
  for (const auto& [name, ids] : threads) EXPECT_EQ(name.substr(0, 3), "tw-");
  EXPECT_LE(threads.size(), 4u);
  if (!kIsSanitized) {
    // With what threads keep aside for their next piece.
    EXPECT_LT(std::stol(one.ask("memory")), memory + (256L << 10));
  }
  EXPECT_EQ(one.end().status, 0);
}

TEST_F(GuestTest, ASmallStackOfTheHostsSuffices) {
  const Outcome outcome = host({"small-stack", std::to_string((kIsSanitized ? 1024 : 128) << 10)}).end();
  EXPECT_EQ(outcome.status, 0) << outcome.last();
}

TEST_F(GuestTest, NothingWakesUpAnIdleHost) {
  Host one = host({"idle"});
  ASSERT_EQ(one.line(), "idle");
  usleep(300'000);  // the threads have gone to sleep, and the kept connection is quiet
  const auto before = one.threads("ctxt_switches");
  EXPECT_GE(before.size(), 4u);
  sleep(isLong() ? 60 : 3);
  EXPECT_EQ(one.threads("ctxt_switches"), before);
  EXPECT_EQ(one.end().status, 0);
}

}  // namespace
}  // namespace tidewell::guest
