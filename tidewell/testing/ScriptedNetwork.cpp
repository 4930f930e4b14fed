// SPDX-License-Identifier: Apache-2.0
#include "tidewell/testing/ScriptedNetwork.h"

#include "tidewell/base/Exception.h"
#include "tidewell/base/internal/Mutex.h"
#include "tidewell/platform/Platform.h"
#include "tidewell/testing/internal/ScriptedNetworkState.h"

namespace tidewell::testing {
namespace {

using platform::UrlRequest;
using platform::UrlTaskResult;
using Task = ScriptedNetworkState::Task;

/// The result if the session rejects the request outright.
std::optional<UrlTaskResult> refusal(const platform::UrlSessionConfiguration& configuration,
                                     const UrlRequest& request) {
  const bool isSupported =
      request.URL() && (!configuration.httpsOnly || request.URL()->scheme().value_or("") == "https");
  if (isSupported) return std::nullopt;
  return ScriptedNetwork::failure(platform::kUrlErrorUnsupportedUrl, "unsupported URL");
}

/// Queues the completion of a task. `makeResult` is called there.
template <class MakeResult>
void finish(Task task, MakeResult makeResult) {
  ManualQueue& queue = *task.queue;
  queue.async([task = std::move(task), makeResult = std::move(makeResult)]() mutable {
    UrlTaskResult result = makeResult(task.request);
    if (result.data && result.data->length() > task.maximumBodyBytes) {
      result = ScriptedNetwork::failure(platform::kUrlErrorDataLengthExceedsMaximum,
                                        "resource exceeds maximum size");
    }
    if (result.response && result.response->url.empty() && task.request.URL()) {
      result.response->url = task.request.URL()->absoluteString();
    }
    if (task.completion) task.completion(std::move(result));
  });
}

/// The handler's result; an exception gives a failed transfer.
UrlTaskResult resultOf(const ScriptedNetwork::Handler& handler, const UrlRequest& request) {
  try {
    return handler(request);
  } catch (...) {
    return ScriptedNetwork::failure(platform::kUrlErrorUnknown,
                                    "The handler raised: " + base::currentExceptionDescription());
  }
}

}  // namespace

void ScriptedNetworkState::start(const platform::UrlSessionConfiguration& configuration, Task task) {
  auto refused = refusal(configuration, task.request);
  ScriptedNetwork::Handler answering;
  {
    const base::MutexLock lock(mutex);
    sent.push_back({configuration.name, task.request});
    answering = handler;
    if (!refused && !answering) {
      pending.push_back(std::move(task));
      return;
    }
  }
  if (refused) {
    finish(std::move(task), [result = std::move(*refused)](const UrlRequest&) { return result; });
  } else {
    finish(std::move(task), [answering = std::move(answering)](const UrlRequest& request) {
      return resultOf(answering, request);
    });
  }
}

ScriptedNetwork::ScriptedNetwork() : state_(std::make_shared<ScriptedNetworkState>()) {}
ScriptedNetwork::~ScriptedNetwork() = default;

void ScriptedNetwork::setHandler(Handler handler) {
  const base::MutexLock lock(state_->mutex);
  state_->handler.swap(handler);  // the old one is destroyed after unlocking
}

std::vector<ScriptedNetwork::Sent> ScriptedNetwork::sent() const {
  const base::MutexLock lock(state_->mutex);
  return state_->sent;
}

std::size_t ScriptedNetwork::pending() const {
  const base::MutexLock lock(state_->mutex);
  return state_->pending.size();
}

bool ScriptedNetwork::answer(UrlTaskResult result) {
  base::ReleasableMutexLock lock(state_->mutex);
  if (state_->pending.empty()) return false;
  Task task = std::move(state_->pending.front());
  state_->pending.pop_front();
  lock.unlock();
  finish(std::move(task), [result = std::move(result)](const UrlRequest&) { return result; });
  return true;
}

UrlTaskResult ScriptedNetwork::reply(std::int64_t statusCode, std::string body) {
  UrlTaskResult result;
  result.data = base::Data(std::move(body));
  result.response.emplace().statusCode = statusCode;
  return result;
}

UrlTaskResult ScriptedNetwork::failure(std::int64_t code, std::string description) {
  UrlTaskResult result;
  result.error = base::Error{std::string(base::kUrlErrorDomain), code, std::move(description)};
  return result;
}

ScriptedUrlSession::ScriptedUrlSession(platform::UrlSessionConfiguration configuration,
                                       std::shared_ptr<ScriptedNetworkState> network,
                                       std::shared_ptr<ManualQueue> queue)
    : configuration_(std::move(configuration)), network_(std::move(network)), queue_(std::move(queue)) {}

ScriptedUrlSession::~ScriptedUrlSession() = default;

void ScriptedUrlSession::dataTaskWithRequest(UrlRequest request, platform::UrlTaskCompletion completion) {
  const auto access = platform::networkAccess(platform::Platform::current());
  if (access != platform::NetworkAccess::allowed) {
    queue_->async([completion = std::move(completion), error = platform::refusalError(access)] {
      if (completion) completion({std::nullopt, std::nullopt, error});
    });
    return;
  }
  network_->start(configuration_,
                  {std::move(request), std::move(completion), configuration_.maximumBodyBytes, queue_});
}

const platform::UrlSessionConfiguration& ScriptedUrlSession::configuration() const { return configuration_; }

}  // namespace tidewell::testing
