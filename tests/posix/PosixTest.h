// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <atomic>
#include <future>
#include <memory>
#include <mutex>
#include <new>

#include "Child.h"
#include "Fault.h"
#include "RefuseSystemCall.h"
#include "tidewell/posix/PosixPlatform.h"
#include "tidewell/testing/StandInBackend.h"

namespace tidewell::posix {

inline unsigned modeOf(const std::string& path) {
  return static_cast<unsigned>(std::filesystem::status(path).permissions());
}

/// Set in a forked child, where memory that the parent's threads held looks leaked.
inline bool isForkedChild = false;

/// Runs a function in a forked process. Returns 0, 1 after a failed expectation (its text is on standard
/// error), or minus the signal that ended the process.
template <class Function>
int inChild(Function function) {
  const pid_t child = fork();
  if (child == 0) {
    isForkedChild = true;
    alarm(60);
    function();
    _exit(::testing::Test::HasFailure() ? 1 : 0);
  }
  int status = 0;
  waitpid(child, &status, 0);
  return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}

/// Waits until a child sleeps or has ended, that is, until its work is done.
inline void waitUntilAsleep(pid_t child) {
  ASSERT_GT(child, 0);
  EXPECT_TRUE(eventually([stat = "/proc/" + std::to_string(child) + "/stat"] {
    const std::string text = bytesOf(stat);
    return text.find(") S ") != std::string::npos || text.find(") Z ") != std::string::npos;
  }));
}

inline void endChild(pid_t child) {
  ASSERT_GT(child, 0) << "kill(-1) would end every process";
  kill(child, SIGKILL);
  waitpid(child, nullptr, 0);
}

/// A counter shared with forked children. Its memory is never freed.
inline std::atomic<int>& countOverForks() {
  return *new (mmap(nullptr, sizeof(std::atomic<int>), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1,
                    0)) std::atomic<int>(0);
}

/// A folder for each test, an empty working folder that must stay empty, and the reports of the platform.
class PosixTest : public ::testing::Test {
 protected:
  PosixTest() {
    umask(022);  // folders that their group may write are not used
    std::filesystem::create_directory(folder + "/working");
    std::filesystem::current_path(folder + "/working");
    clearReports();
    platform::setReporter([](std::string_view text) {
      const std::lock_guard lock(mutex);
      reports.emplace_back(text);
    });
  }
  ~PosixTest() override {
    platform::setReporter(nullptr);
    EXPECT_TRUE(std::filesystem::is_empty(folder + "/working")) << "a file was left in the working folder";
    std::filesystem::current_path("/");
    std::filesystem::remove_all(folder);
  }

  [[nodiscard]] Options options(std::string_view bundleIdentifier = "org.example.shop") const {
    Options result;
    result.setBundleIdentifier(std::string(bundleIdentifier));
    result.setVersion("2.5");
    result.setDataHome(data);
    result.setMainLoop(MainLoop::host);
    result.setProxy("-");
    return result;
  }
  /// The number of reports that contain a text.
  [[nodiscard]] static std::size_t countReports(std::string_view part = "") {
    const std::lock_guard lock(mutex);
    return static_cast<std::size_t>(
        std::count_if(reports.begin(), reports.end(),
                      [&](const std::string& each) { return each.find(part) != std::string::npos; }));
  }
  static void clearReports() {
    const std::lock_guard lock(mutex);
    reports.clear();
  }

  static std::string makeFolder() {
    char name[] = "/tmp/tidewell-posix-XXXXXX";
    return mkdtemp(name);
  }
  const std::string folder = makeFolder();
  const std::string data = folder + "/data";
  const std::string container = data + "/org.example.shop";
  const std::string domain = container + "/Library/Preferences/org.example.shop.plist";
  const std::string keychainFile = data + "/.tidewell-keychain/org.example.shop.plist";

 private:
  inline static std::mutex mutex;
  inline static std::vector<std::string> reports;
};

using testing::fault;
using testing::StandInBackend;
using testing::StandInFault;

/// Sessions of the real platform against a stand-in backend that serves two hosts over TLS.
class UrlSessionTest : public PosixTest {
 protected:
  UrlSessionTest() {
    given.setCaFile(backend.caFile());
    for (const char* host : {"shop.example", "elsewhere.example"}) {
      for (const std::uint16_t port : {443, 80})
        given.addConnectionOverride(host, port, "127.0.0.1", backend.port());
    }
    configuration.timeoutIntervalForRequest = 30;
    configuration.timeoutIntervalForResource = 90;
    configuration.httpsOnly = true;
    backend.setResource("/page", "hello", "text/plain");
    backend.setResource("/held", "held", "text/plain");
  }

  /// A session of `platform`, which is created on the first call.
  [[nodiscard]] std::shared_ptr<platform::UrlSession> makeSession() {
    if (!platform) platform = std::make_unique<PosixPlatform>(given);
    return platform->makeUrlSession(configuration);
  }

  [[nodiscard]] static platform::UrlRequest request(std::string_view url = "https://shop.example/page",
                                                    std::string method = "GET") {
    platform::UrlRequest made(base::Url::URLWithString(url));
    made.setHTTPMethod(std::move(method));
    return made;
  }

  [[nodiscard]] static std::future<platform::UrlTaskResult> send(platform::UrlSession& session,
                                                                 platform::UrlRequest asked = request()) {
    auto promise = std::make_shared<std::promise<platform::UrlTaskResult>>();
    auto future = promise->get_future();
    session.dataTaskWithRequest(std::move(asked), [promise](platform::UrlTaskResult result) {
      promise->set_value(std::move(result));
    });
    return future;
  }

  [[nodiscard]] platform::UrlTaskResult fetch(platform::UrlRequest asked = request()) {
    return send(*makeSession(), std::move(asked)).get();
  }

  [[nodiscard]] testing::StandInBackendOptions backendOptions() {
    testing::StandInBackendOptions made;
    made.extraHosts = {"shop.example", "elsewhere.example"};
    made.onRequest = [this](const testing::StandInRequest& received) {
      if (received.path == "/held") isReleased.wait();
    };
    return made;
  }

  /// Requests for /held are answered after this is set.
  std::promise<void> release;
  const std::shared_future<void> isReleased = release.get_future().share();
  StandInBackend backend{backendOptions()};
  Options given = options();
  platform::UrlSessionConfiguration configuration;
  std::unique_ptr<PosixPlatform> platform;
};

inline std::int64_t codeOf(const platform::UrlTaskResult& result) {
  return result.error ? result.error->code : 0;
}
inline std::string bodyOf(const platform::UrlTaskResult& result) {
  return result.data ? std::string(result.data->view()) : "(none)";
}

}  // namespace tidewell::posix
