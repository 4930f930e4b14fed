#pragma once

#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <cstdint>
#include <future>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "PosixTest.h"
#include "tidewell/posix/PosixPlatform.h"
#include "tidewell/testing/StandInBackend.h"

namespace tidewell::posix {

using tidewell::testing::StandInBackend;
using tidewell::testing::StandInFault;

/// A fault in the backend's own notation: `kind=status:500,times=2`.
inline StandInFault fault(std::string_view text) {
  std::string problem;
  const std::optional<StandInFault> parsed = StandInFault::parse(text, problem);
  EXPECT_TRUE(parsed) << text << ": " << problem;
  return parsed.value_or(StandInFault());
}

/// Sessions of the real platform beside a stand-in backend that plays two hosts over TLS.
class UrlSessionTest : public PosixTest {
 protected:
  UrlSessionTest() {
    given.caFile = backend.caFile();
    for (const char* host : {"shop.example", "elsewhere.example"}) {
      given.connectionOverrides.push_back({host, 443, "127.0.0.1", backend.port()});
      given.connectionOverrides.push_back({host, 80, "127.0.0.1", backend.port()});
    }
    configuration.timeoutIntervalForRequest = 10;
    configuration.timeoutIntervalForResource = 60;
    configuration.httpsOnly = true;
    backend.setResource("/page", "hello", "text/plain");
  }

  /// A session of the one platform, which is made with the first.
  [[nodiscard]] std::shared_ptr<platform::UrlSession> makeSession() {
    if (!platform) platform = std::make_unique<PosixPlatform>(given);
    return platform->makeUrlSession(configuration);
  }

  [[nodiscard]] static platform::UrlRequest request(std::string_view url = "https://shop.example/page") {
    return platform::UrlRequest(base::Url::URLWithString(url));
  }

  [[nodiscard]] static std::future<platform::UrlTaskResult> send(platform::UrlSession& session,
                                                                 platform::UrlRequest request) {
    auto promise = std::make_shared<std::promise<platform::UrlTaskResult>>();
    auto future = promise->get_future();
    session.dataTaskWithRequest(std::move(request), [promise](platform::UrlTaskResult result) {
      promise->set_value(std::move(result));
    });
    return future;
  }

  [[nodiscard]] platform::UrlTaskResult fetch(platform::UrlRequest asked = request()) {
    return send(*makeSession(), std::move(asked)).get();
  }

  /// Waits until so many requests have reached the backend.
  void waitForRequests(std::size_t count) const {
    for (int i = 0; i < 10'000 && backend.requestCount() < count; ++i) usleep(1000);
    EXPECT_EQ(count, backend.requestCount());
  }

  /// Waits until bytes of the backend lie unread in a socket of this process, or fewer than `kept`
  /// connections to it are open: on a busy machine the bytes may come together with the reply before them,
  /// and then the connection is closed.
  void waitForUnreadBytes(int kept) const {
    for (int i = 0; i < 10'000; ++i, usleep(1000)) {
      int connections = 0;
      for (int descriptor = 3; descriptor < 1024; ++descriptor) {
        sockaddr_in peer{};
        socklen_t length = sizeof peer;
        int unread = 0;
        if (getpeername(descriptor, reinterpret_cast<sockaddr*>(&peer), &length) != 0 ||
            ntohs(peer.sin_port) != backend.port()) {
          continue;
        }
        ++connections;
        if (ioctl(descriptor, FIONREAD, &unread) == 0 && unread > 0) return;
      }
      if (connections < kept) return;
    }
    ADD_FAILURE() << "the backend sends nothing";
  }

  static tidewell::testing::StandInBackendOptions backendOptions() {
    tidewell::testing::StandInBackendOptions made;
    made.extraHosts = {"shop.example", "elsewhere.example"};
    return made;
  }

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
