#pragma once

#include <cstdint>
#include <future>
#include <memory>
#include <utility>

#include "Fault.h"
#include "posix/PosixTest.h"
#include "tidewell/testing/StandInBackend.h"

namespace tidewell::posix {

using testing::fault;
using testing::StandInBackend;
using testing::StandInFault;

/// Sessions of the real platform beside a stand-in backend that plays two hosts over TLS.
class UrlSessionTest : public PosixTest {
 protected:
  UrlSessionTest() {
    given.caFile = backend.caFile();
    for (const char* host : {"shop.example", "elsewhere.example"}) {
      for (const std::uint16_t port : {443, 80})
        given.connectionOverrides.push_back({host, port, "127.0.0.1", backend.port()});
    }
    configuration.timeoutIntervalForRequest = 30;
    configuration.timeoutIntervalForResource = 90;
    configuration.httpsOnly = true;
    backend.setResource("/page", "hello", "text/plain");
    backend.setResource("/held", "held", "text/plain");
  }

  /// A session of the one platform, which is made with the first.
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

  /// Requests for /held are answered once this is set.
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
