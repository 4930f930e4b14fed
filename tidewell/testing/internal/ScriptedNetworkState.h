// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <deque>
#include <memory>
#include <utility>
#include <vector>

#include "tidewell/base/internal/Mutex.h"
#include "tidewell/testing/ManualQueue.h"
#include "tidewell/testing/ScriptedNetwork.h"

namespace tidewell::testing {

/// Shared by all sessions of one network.
struct ScriptedNetworkState {
  /// A running task.
  struct Task {
    platform::UrlRequest request;
    platform::UrlTaskCompletion completion;
    std::size_t maximumBodyBytes;
    std::shared_ptr<ManualQueue> queue;
  };

  mutable base::Mutex mutex;
  ScriptedNetwork::Handler handler TIDEWELL_GUARDED_BY(mutex);
  std::vector<ScriptedNetwork::Sent> sent TIDEWELL_GUARDED_BY(mutex);
  std::deque<Task> pending TIDEWELL_GUARDED_BY(mutex);

  void start(const platform::UrlSessionConfiguration& configuration, Task task);
};

/// A session of a scripted network; its completions run on `queue`.
class ScriptedUrlSession final : public platform::UrlSession {
 public:
  ScriptedUrlSession(platform::UrlSessionConfiguration configuration,
                     std::shared_ptr<ScriptedNetworkState> network, std::shared_ptr<ManualQueue> queue);
  ~ScriptedUrlSession() override;
  void dataTaskWithRequest(platform::UrlRequest request, platform::UrlTaskCompletion completion) override;
  [[nodiscard]] const platform::UrlSessionConfiguration& configuration() const override;
  [[nodiscard]] bool needsCallingThread() const override { return queue_->isCurrent(); }

 private:
  platform::UrlSessionConfiguration configuration_;
  std::shared_ptr<ScriptedNetworkState> network_;
  std::shared_ptr<ManualQueue> queue_;
};

}  // namespace tidewell::testing
