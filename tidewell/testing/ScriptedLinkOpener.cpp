// SPDX-License-Identifier: Apache-2.0
#include "tidewell/testing/ScriptedLinkOpener.h"

#include <map>
#include <string>
#include <utility>

#include "tidewell/base/internal/Mutex.h"

namespace tidewell::testing {

struct ScriptedLinkOpener::State {
  explicit State(platform::Queue& onQueue) : queue(onQueue) {}

  /// Records the call and returns the scripted result for its URL.
  LinkAnswer take(LinkOperation operation, const std::optional<base::Url>& url) {
    const base::MutexLock lock(mutex);
    calls.push_back({operation, url});
    const auto found = url ? answers.find(url->absoluteString()) : answers.end();
    return found == answers.end() ? otherwise : found->second;
  }

  platform::Queue& queue;
  base::Mutex mutex;
  std::map<std::string, LinkAnswer, std::less<>> answers TIDEWELL_GUARDED_BY(mutex);
  LinkAnswer otherwise TIDEWELL_GUARDED_BY(mutex);
  std::vector<LinkCall> calls TIDEWELL_GUARDED_BY(mutex);
};

ScriptedLinkOpener::ScriptedLinkOpener(platform::Queue& mainQueue)
    : state_(std::make_unique<State>(mainQueue)) {}
ScriptedLinkOpener::~ScriptedLinkOpener() = default;

bool ScriptedLinkOpener::canOpenURL(const std::optional<base::Url>& url) {
  return state_->take(LinkOperation::canOpen, url).canOpen;
}

void ScriptedLinkOpener::openURL(const base::Url& url, platform::OpenOptions options,
                                 std::function<void(bool)> completion) {
  const bool universal = options.universalLinksOnly;
  const LinkAnswer answer = state_->take(universal ? LinkOperation::openUniversal : LinkOperation::open, url);
  if (!completion) return;
  const bool success = universal ? answer.isClaimed : answer.opens;
  state_->queue.async([completion = std::move(completion), success] { completion(success); });
}

bool ScriptedLinkOpener::openURL(const base::Url& url) {
  return state_->take(LinkOperation::legacyOpen, url).opens;
}

void ScriptedLinkOpener::setAnswer(std::string_view url, LinkAnswer answer) {
  const base::MutexLock lock(state_->mutex);
  state_->answers.insert_or_assign(std::string(url), answer);
}

void ScriptedLinkOpener::setDefaultAnswer(LinkAnswer answer) {
  const base::MutexLock lock(state_->mutex);
  state_->otherwise = answer;
}

std::vector<LinkCall> ScriptedLinkOpener::takeCalls() {
  const base::MutexLock lock(state_->mutex);
  return std::exchange(state_->calls, {});
}

}  // namespace tidewell::testing
