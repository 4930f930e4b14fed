// SPDX-License-Identifier: Apache-2.0
#include "guest/Guest.h"

// Forks, exec, signals, threads and descriptors.
namespace tidewell::guest {
namespace {

TEST_F(GuestTest, ForkedChildrenKeepTheConfiguration) {
  if (kAddressSanitizer) GTEST_SKIP() << "the sanitizer's allocator may stay locked in the child";
  const std::string forks = isLong() ? "200" : "30";
  const Outcome outcome = host({"start GUEST", "await 7", "fork " + forks}).end();
  EXPECT_EQ(outcome.status, 0) << outcome.err;
  EXPECT_EQ(count(outcome.err, "Requests fail in this process"), std::stoi(forks)) << "one line per child";
}

TEST_F(GuestTest, NoOperationHangsInTheChildOfAFork) {
  if (kIsSanitized) GTEST_SKIP() << "a sanitizer's locks may stay locked in the child";
  // A random sample of the pairs; `make fork-matrix` runs all.
  const std::string command =
      "fork-matrix " + std::string(isLong() ? "300 " : "4 ") + std::to_string(getpid());
  const Outcome outcome = host({command}, {"HOST_UNINSTALLED=1", "HOST_LOOP=1", "HOST_PORT=1"}).end();
  EXPECT_EQ(outcome.status, 0) << outcome.out;
}

TEST_F(GuestTest, OperationsSurviveCancellationAndSmallStacks) {
  for (const std::string& command : {"cancel " + std::string(isLong() ? "1000" : "80"),
                                     "stack " + std::to_string((kIsSanitized ? 1024 : 128) << 10)}) {
    const Outcome outcome = host({"start GUEST", command}, {"HOST_LOOP=1"}).end();
    EXPECT_EQ(outcome.status, 0) << command << outcome.err;
  }
}

TEST_F(GuestTest, SnapshotsAreFreedAfterASandboxRefusesMembarrier) {
  if (kIsSanitized) GTEST_SKIP() << "measures the system allocator";
  Child one = host();
  const auto memoryAfterMerges = [&](int first) {
    one.say("merge " + std::to_string(first));
    while (one.line() != "done") continue;
    return std::stol(one.ask("memory"));
  };
  memoryAfterMerges(1);
  EXPECT_EQ(one.ask("refuse-barrier"), "done");
  const long before = memoryAfterMerges(201);
  EXPECT_LT(memoryAfterMerges(401), before + (50L << 10));
}

TEST_F(GuestTest, EveryDescriptorIsClosedByExec) {
  Child one = host();
  ASSERT_EQ(one.ask({"start GUEST", "await 7", "busy", "send 20"}), "done");
  for (int i = 0; i < 200; ++i) {
    for (const auto& each : fs::directory_iterator(one.proc("fdinfo"))) {
      const std::string flags = Child::statusIn(each.path(), "flags");
      if (flags.empty() || std::stoi(each.path().filename()) < 3) continue;  // closed meanwhile
      ASSERT_TRUE(std::stol(flags, nullptr, 8) & O_CLOEXEC) << flags;
    }
  }
}

constexpr std::uint64_t kOfTheCLibrary = 3ull << 31;  ///< signals 32 and 33

TEST_F(GuestTest, EarlyClosesRaiseNoSignalAndHandlersAreUnchanged) {
  for (const char* kind : {"close", "reset", "truncation:2"}) {
    setFault(std::string("service=2,kind=") + kind);
    int closed[2];
    ASSERT_EQ(pipe2(closed, O_CLOEXEC), 0);
    close(closed[0]);  // standard error has no reader
    Child one = host({"gates"}, {"HOST_UNINSTALLED=1", "XDG_DATA_HOME=" + data + kind}, closed[1]);
    close(closed[1]);
    one.line();
    const auto signals = [&] {
      std::vector<std::uint64_t> all;
      for (const char* key : {"SigBlk", "SigIgn", "SigCgt"})
        all.push_back(std::stoull(Child::statusIn(one.proc("status"), key), nullptr, 16) & ~kOfTheCLibrary);
      return all;
    };
    const auto before = signals();
    EXPECT_EQ(one.ask({"install", "start GUEST", "await 7", "use", "send 20", "ended"}), "0 succeeded")
        << kind;
    EXPECT_EQ(signals(), before);
    const auto blocked = one.threads("SigBlk");
    EXPECT_GE(blocked.size(), 3u);
    constexpr std::uint64_t kUnblockable = 1u << (SIGKILL - 1) | 1u << (SIGSTOP - 1);
    for (const auto& [name, mask] : blocked)
      EXPECT_EQ(std::stoull(mask, nullptr, 16), ~kOfTheCLibrary & ~kUnblockable) << name;
    EXPECT_EQ(one.end().status, 0);
  }
}

TEST_F(GuestTest, AnIdleHostHasNoContextSwitches) {
  Child one = host();
  ASSERT_EQ(one.ask({"start GUEST", "await 7", "use", "send 20", "ended"}), "20 succeeded");
  const auto switches = [&] { return one.threads("ctxt_switches"); };
  EXPECT_GE(switches().size(), 3u);
  // The threads need a moment to become idle.
  EXPECT_TRUE(eventually([&] {
    const auto before = switches();
    sleep(isLong() ? 60 : 3);
    return switches() == before;
  }));
}

}  // namespace
}  // namespace tidewell::guest
