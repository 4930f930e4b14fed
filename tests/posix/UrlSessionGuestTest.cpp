#include "UrlSessionTesting.h"

#include <dirent.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <malloc.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <map>
#include <set>

#include "tidewell/platform/Platform.h"

// What a host's process looks like with transfers in it.
namespace tidewell::posix {
namespace {

/// The backend's threads are in this process: one of them may hold a lock of the allocator when a child is
/// made.
constexpr const char* kForkBesideThreads =
    "AddressSanitizer's allocator may be locked for ever in the child of a process with threads";

using std::chrono::milliseconds;

std::set<std::string> entriesOf(const char* folder) {
  std::set<std::string> entries;
  DIR* const handle = opendir(folder);
  while (const dirent* entry = readdir(handle)) {
    if (entry->d_name[0] != '.') entries.insert(entry->d_name);
  }
  entries.erase(std::to_string(dirfd(handle)));  // this look itself
  closedir(handle);
  return entries;
}

/// The library's threads, by name and number.
std::map<std::string, std::string> ownThreads() {
  std::map<std::string, std::string> threads;
  for (const std::string& id : entriesOf("/proc/self/task")) {
    std::string name;
    std::getline(std::ifstream("/proc/self/task/" + id + "/comm"), name);
    if (name.rfind("tw-", 0) == 0) threads[name] += id + " ";
  }
  return threads;
}

std::string statusLine(const std::string& thread, const std::string& key) {
  std::ifstream file("/proc/self/task/" + thread + "/status");
  for (std::string line; std::getline(file, line);) {
    if (line.rfind(key, 0) == 0) return line.substr(line.find_last_of(" \t") + 1);
  }
  return {};
}

TEST_F(UrlSessionTest, ThreadsStartWithTheFirstRequestAndBlockAllSignals) {
  const auto session = makeSession();
  EXPECT_TRUE(ownThreads().empty());
  static_cast<void>(send(*session, request()).get());
  static_cast<void>(fetch());
  ASSERT_EQ(2u, ownThreads().size());
  for (const auto& [name, ids] : ownThreads()) {
    const std::string id = ids.substr(0, ids.find(' '));
    EXPECT_EQ(id + " ", ids) << name << ": more than one";
    // Signals 32 and 33 belong to the C library, which never lets them be blocked.
    EXPECT_EQ("fffffffe7ffbfeff", statusLine(id, "SigBlk")) << name;  // SIGKILL and SIGSTOP cannot be
  }
}

TEST_F(UrlSessionTest, NothingWakesUpWithoutWork) {
  static_cast<void>(fetch());
  const auto switches = [] {
    std::string text;
    for (const auto& [name, ids] : ownThreads()) {
      text += name + statusLine(ids.substr(0, ids.find(' ')), "voluntary_ctxt_switches") + " ";
    }
    return text;
  };
  usleep(100'000);  // both threads have gone to sleep
  const std::string before = switches();
  usleep(700'000);
  EXPECT_EQ(before, switches());
}

TEST_F(UrlSessionTest, NoDescriptorLivesOnInAProgramThatTheHostStarts) {
  backend.setFault(fault("kind=silence"));
  const std::set<std::string> before = entriesOf("/proc/self/fd");
  const auto session = makeSession();
  configuration.timeoutIntervalForRequest = 0.2;
  auto silent = send(*session, request());
  ASSERT_TRUE(backend.waitForRequests(1));
  int seen = 0;
  for (const std::string& entry : entriesOf("/proc/self/fd")) {
    const int flags = fcntl(std::atoi(entry.c_str()), F_GETFD);
    if (before.contains(entry) || flags < 0) continue;
    ++seen;
    EXPECT_TRUE(flags & FD_CLOEXEC) << entry;
  }
  EXPECT_GE(seen, 3);  // the connection and libcurl's two ends of its wake-up
}

TEST_F(UrlSessionTest, AThousandRequestsThroughEveryFaultLeaveNothingBehind) {
  configuration.timeoutIntervalForRequest = 0.2;
  configuration.timeoutIntervalForResource = 0.5;
  given.maximumBodyBytes = 1u << 20;
  const auto fortyOfEach = [&] {
    for (const char* text :
         {"kind=status:500", "kind=silence", "kind=delay:300", "kind=reset", "kind=truncation:2",
          "kind=drip:20", "kind=redirect", "kind=oversized:4194304", "kind=gzip-bomb:4194304",
          "kind=wrong-authority", "kind=garbage", "kind=silent-handshake", "kind=not-json", "kind=close"}) {
      backend.setFault(fault(text));
      std::vector<std::future<platform::UrlTaskResult>> replies;
      const auto session = makeSession();
      for (int i = 0; i < 40; ++i) replies.push_back(send(*session, request()));
      for (auto& reply : replies) static_cast<void>(reply.get());
    }
    backend.clearFaults();  // no connection is left but the one of the next request
    EXPECT_EQ("hello", bodyOf(fetch()));
    while (backend.openConnectionCount() > 1) usleep(1000);
    backend.clearRequests();
  };
  fortyOfEach();
  const std::size_t descriptors = entriesOf("/proc/self/fd").size();
  const auto threads = ownThreads();
  const std::size_t heap = mallinfo2().uordblks;
  for (int i = 0; i < 2; ++i) fortyOfEach();
  EXPECT_EQ(descriptors, entriesOf("/proc/self/fd").size());
  EXPECT_EQ(threads, ownThreads());
  EXPECT_LT(mallinfo2().uordblks, heap + (1u << 20));
}

/// The file that the platform's code lies in.
std::string platformLibrary() {
  Dl_info info{};
  return dladdr(reinterpret_cast<void*>(&install), &info) != 0 ? info.dli_fname : "";
}

TEST_F(UrlSessionTest, AMissingModuleFailsRequestsWithItsName) {
  if (kAddressSanitizer) GTEST_SKIP() << kForkBesideThreads;
  constexpr const char* kLonely = "TIDEWELL_TEST_LONELY";
  if (getenv(kLonely) == nullptr) {
    if (platformLibrary().find(".so") == std::string::npos) GTEST_SKIP() << "libcurl is linked";
    // The same program again, with a copy of the platform's library that has no module beside it.
    std::filesystem::copy(platformLibrary(), folder + "/libTidewellPosix.so.1");
    EXPECT_EQ(0, inChild([&] {
                setenv(kLonely, "1", 1);
                setenv("LD_LIBRARY_PATH", folder.c_str(), 1);
                execl("/proc/self/exe", "tests_posix", "--gtest_filter=*AMissingModule*", nullptr);
                return 99;
              }));
    return;
  }
  for (int i = 0; i < 2; ++i) {
    const platform::UrlTaskResult result = fetch();
    ASSERT_EQ(platform::kUrlErrorResourceUnavailable, codeOf(result));
    EXPECT_NE(std::string::npos, result.error->description().find("libTidewellUrlSession.so"));
  }
}

TEST_F(UrlSessionTest, InTheChildOfAForkARequestFailsAtOnceAndTheParentGoesOn) {
  if (kAddressSanitizer) GTEST_SKIP() << kForkBesideThreads;
  const auto session = makeSession();
  ASSERT_EQ("hello", bodyOf(send(*session, request()).get()));
  EXPECT_EQ(0, inChild([&] {
              for (int i = 0; i < 2; ++i) {
                std::int64_t code = 0;
                session->dataTaskWithRequest(
                    request(), [&](const platform::UrlTaskResult& result) { code = codeOf(result); });
                EXPECT_EQ(platform::kUrlErrorResourceUnavailable, code);
              }
              EXPECT_EQ(1u, reportCount());
              exit(exitStatus());
              return 0;
            }));
  EXPECT_EQ("hello", bodyOf(send(*session, request()).get()));
}

TEST_F(UrlSessionTest, ADaemonThatForksBeforeItsFirstRequestWorks) {
  if (kAddressSanitizer) GTEST_SKIP() << kForkBesideThreads;
  const auto session = makeSession();
  EXPECT_EQ(0, inChild([&] {
              EXPECT_EQ("hello", bodyOf(send(*session, request()).get()));
              return exitStatus();
            }));
}

TEST_F(UrlSessionTest, AProcessMayEndAtAnyMomentOfItsTransfers) {
  if (kAddressSanitizer || kThreadSanitizer) GTEST_SKIP() << kForkBesideThreads;
  for (int run = 0; run < 30; ++run) {
    backend.setFault(fault(run % 2 == 0 ? "kind=drip:1" : "kind=status:200"));
    EXPECT_EQ(7, inChild([&] {
                const auto session = makeSession();
                for (int i = 0; i < 16; ++i) session->dataTaskWithRequest(request(), nullptr);
                usleep(static_cast<useconds_t>(run * 3000));
                exit(7);
                return 0;
              }))
        << run;
  }
}

}  // namespace
}  // namespace tidewell::posix
