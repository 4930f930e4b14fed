#include "UrlSessionTesting.h"

#include <dlfcn.h>
#include <unistd.h>

#include <cstdlib>

#include "tidewell/platform/Platform.h"

// What a host's process looks like with transfers in it.
namespace tidewell::posix {
namespace {

/// The backend's threads are in this process: one of them may hold a lock of the allocator when a child is
/// made.
constexpr const char* kForkBesideThreads =
    "AddressSanitizer's allocator may be locked for ever in the child of a process with threads";

/// How many threads of the library there are.
int ownThreadCount() {
  int count = 0;
  for (const auto& task : std::filesystem::directory_iterator("/proc/self/task")) {
    count += bytesOf(task.path() / "comm").starts_with("tw-") ? 1 : 0;
  }
  return count;
}

TEST_F(UrlSessionTest, ThreadsStartWithTheFirstRequestAndServeAllSessions) {
  const auto session = makeSession();
  EXPECT_EQ(0, ownThreadCount());
  static_cast<void>(send(*session, request()).get());
  static_cast<void>(fetch());
  EXPECT_EQ(2, ownThreadCount());
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

TEST_F(UrlSessionTest, ADaemonThatForksBeforeItsFirstRequestWorks) {
  if (kAddressSanitizer) GTEST_SKIP() << kForkBesideThreads;
  const auto session = makeSession();
  EXPECT_EQ(0, inChild([&] {
              EXPECT_EQ("hello", bodyOf(send(*session, request()).get()));
              return exitStatus();
            }));
}

}  // namespace
}  // namespace tidewell::posix
