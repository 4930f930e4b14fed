// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "tidewell/base/Export.h"
#include "tidewell/platform/UrlSession.h"

namespace tidewell::testing {

struct ScriptedNetworkState;

/// A network with scripted replies. Tasks wait until the test answers them, or are answered by a handler. Any
/// thread.
///
/// Sessions keep their contract: each completion runs once, asynchronously, on the session queue; a task
/// without a URL, with a URL that is not https if the session requires https, or with a body beyond the
/// session's limit fails with the error codes of `platform::UrlSession`.
class TIDEWELL_EXPORT ScriptedNetwork {
 public:
  using Handler = std::function<platform::UrlTaskResult(const platform::UrlRequest& request)>;

  ScriptedNetwork();
  ~ScriptedNetwork();
  /// Sets the handler that answers all tasks started from now on. Called on the session queue, with no lock
  /// held; an exception fails the task. With an empty handler tasks wait again.
  void setHandler(Handler handler);
  /// Every request so far, including pending ones, with the name of its session.
  struct Sent {
    std::string session;
    platform::UrlRequest request;
  };
  [[nodiscard]] std::vector<Sent> sent() const;
  [[nodiscard]] std::size_t pending() const;
  /// Completes the oldest pending task on the session queue; false if there is none.
  bool answer(platform::UrlTaskResult result);

  /// For handlers: a result with a status and a body. The response gets the task's URL.
  [[nodiscard]] static platform::UrlTaskResult reply(std::int64_t statusCode, std::string body = {});
  /// A result without a response, with an error of `base::kUrlErrorDomain`.
  [[nodiscard]] static platform::UrlTaskResult failure(std::int64_t code, std::string description);

 private:
  friend class TestingPlatform;
  std::shared_ptr<ScriptedNetworkState> state_;
};

}  // namespace tidewell::testing
