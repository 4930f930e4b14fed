// SPDX-License-Identifier: Apache-2.0
#include "tidewell/platform/NotificationCenter.h"

#include <algorithm>
#include <atomic>
#include <utility>
#include <vector>

#include "tidewell/base/internal/Fork.h"
#include "tidewell/base/internal/NeverDestroyed.h"

namespace tidewell::platform {

struct NotificationCenter::State {
  /// One call of `addObserver`. A running post shares it and checks `isRemoved` before each call.
  struct Registration {
    Token token;
    std::string name;
    Observer observer;
    std::atomic<bool> isRemoved{false};
  };

  std::vector<std::shared_ptr<Registration>> registrationsForName(std::string_view name) {
    std::vector<std::shared_ptr<Registration>> found;
    const base::MutexLock lock(mutex);
    for (const auto& registration : registrations) {
      if (registration->name == name) found.push_back(registration);
    }
    return found;
  }

  base::StateMutex mutex;
  Token lastToken TIDEWELL_GUARDED_BY(mutex) = 0;
  std::vector<std::shared_ptr<Registration>> registrations
      TIDEWELL_GUARDED_BY(mutex);  ///< in order of addition
};

NotificationCenter& NotificationCenter::defaultCenter() {
  static constinit std::atomic<NotificationCenter*> center{nullptr};
  return base::madeOnce(center);
}

NotificationCenter::NotificationCenter() : state_(std::make_unique<State>()) {}
NotificationCenter::~NotificationCenter() = default;

NotificationCenter::Token NotificationCenter::addObserver(std::string_view name, Observer observer) {
  if (!observer) return 0;
  auto registration = std::make_shared<State::Registration>();
  registration->name = name;
  registration->observer = std::move(observer);
  const base::MutexLock lock(state_->mutex);
  registration->token = ++state_->lastToken;
  state_->registrations.push_back(std::move(registration));
  return state_->lastToken;
}

void NotificationCenter::removeObserver(Token token) {
  // Destroys the observer, which is foreign code, after unlocking.
  std::shared_ptr<State::Registration> removed;
  const base::MutexLock lock(state_->mutex);
  auto& registrations = state_->registrations;
  const auto found = std::find_if(registrations.begin(), registrations.end(),
                                  [token](const auto& each) { return each->token == token; });
  if (found == registrations.end()) return;
  removed = std::move(*found);
  registrations.erase(found);
  removed->isRemoved = true;
}

void NotificationCenter::postNotificationName(std::string_view name, base::Value object,
                                              base::Value userInfo) {
  const auto registrations = state_->registrationsForName(name);
  if (registrations.empty()) return;
  const Notification notification{std::string(name), std::move(object), std::move(userInfo)};
  for (const auto& registration : registrations) {
    if (!registration->isRemoved) registration->observer(notification);
  }
}

}  // namespace tidewell::platform
