// SPDX-License-Identifier: Apache-2.0
#include "tidewell/base/internal/Fork.h"

#include <algorithm>
#include <new>

#include "tidewell/base/internal/MadeWhenLoaded.h"
#include "tidewell/base/internal/NeverDestroyed.h"

namespace tidewell::base {
namespace {

struct Participants {
  Mutex mutex;
  std::vector<ForkParticipant*> all TIDEWELL_GUARDED_BY(mutex);
};

Participants& participants() {
  static NeverDestroyed<Participants> instance;
  return *instance;
}

const MadeWhenLoaded participantsMade(participants);

}  // namespace

ForkParticipant::~ForkParticipant() = default;

void ForkParticipant::join() {
  const MutexLock lock(participants().mutex);
  auto& all = participants().all;
  const auto isBefore = [](int level, const ForkParticipant* each) { return level < each->level_; };
  all.insert(std::upper_bound(all.begin(), all.end(), level_, isBefore), this);
}

void ForkParticipant::leave() noexcept {
  const MutexLock lock(participants().mutex);
  auto& all = participants().all;
  all.erase(std::remove(all.begin(), all.end(), this), all.end());
}

// The list stays locked until after the fork.
void ForkParticipant::allBeforeFork() noexcept TIDEWELL_NO_THREAD_SAFETY_ANALYSIS {
  participants().mutex.lock();
  for (ForkParticipant* each : participants().all) each->beforeFork();
}

void ForkParticipant::allAfterForkInParent() noexcept TIDEWELL_NO_THREAD_SAFETY_ANALYSIS {
  for (ForkParticipant* each : participants().all) each->afterForkInParent();
  participants().mutex.unlock();
}

void ForkParticipant::allAfterForkInChild() noexcept TIDEWELL_NO_THREAD_SAFETY_ANALYSIS {
  for (ForkParticipant* each : participants().all) each->afterForkInChild();
  participants().mutex.unlock();
}

StateMutex::StateMutex(int level) : ForkParticipant(level) { join(); }
StateMutex::~StateMutex() { leave(); }
void StateMutex::beforeFork() noexcept { mutex_.lock(); }
void StateMutex::afterForkInParent() noexcept { mutex_.unlock(); }
void StateMutex::afterForkInChild() noexcept { mutex_.unlock(); }

StateCondition::StateCondition() { join(); }
StateCondition::~StateCondition() { leave(); }
void StateCondition::afterForkInChild() noexcept { ::new (&condition_) std::condition_variable; }

WorkMutex::WorkMutex() {
  mutexes_.push_back(std::make_unique<std::mutex>());
  mutex_.store(mutexes_.back().get(), std::memory_order_release);
  join();
}

WorkMutex::~WorkMutex() { leave(); }

void WorkMutex::afterForkInChild() noexcept {
  try {
    mutexes_.push_back(std::make_unique<std::mutex>());
    mutex_.store(mutexes_.back().get(), std::memory_order_release);
  } catch (const std::bad_alloc&) {
    ::new (&inForce()) std::mutex;  // the thread that may hold the old one does not exist in the child
  }
}

}  // namespace tidewell::base
