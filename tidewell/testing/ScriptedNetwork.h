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

/// A network that a test answers. Tasks wait until the test lets them go on, or are answered by a handler.
/// Any thread.
///
/// What a session promises holds here, too: each completion comes once, later, on the session queue; a task
/// without a URL, one that is not https where the session insists on it, and a body beyond the session's
/// bound fail with the codes of `platform::UrlSession`.
class TIDEWELL_EXPORT ScriptedNetwork {
 public:
  using Handler = std::function<platform::UrlTaskResult(const platform::UrlRequest& request)>;

  ScriptedNetwork();
  ~ScriptedNetwork();
  /// Answers every task that is started from now on; called on the session queue, with no lock held. An
  /// exception that leaves it fails the task. An empty one leaves tasks pending again.
  void setHandler(Handler handler);
  /// Every request so far, the pending ones included, with the name of its session.
  struct Sent {
    std::string session;
    platform::UrlRequest request;
  };
  [[nodiscard]] std::vector<Sent> sent() const;
  [[nodiscard]] std::size_t pending() const;
  /// Ends the oldest pending task: its completion is put on the session queue. false if none is pending.
  bool answer(platform::UrlTaskResult result);

  /// A result with a status and a body, for handlers. The task's own URL becomes that of the response.
  [[nodiscard]] static platform::UrlTaskResult reply(std::int64_t statusCode, std::string body = {});
  /// A result that is no answer, only an error of `base::kUrlErrorDomain`.
  [[nodiscard]] static platform::UrlTaskResult failure(std::int64_t code, std::string description);

 private:
  friend class TestingPlatform;
  std::shared_ptr<ScriptedNetworkState> state_;
};

}  // namespace tidewell::testing
