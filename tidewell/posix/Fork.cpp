#include "tidewell/posix/Fork.h"

#include <pthread.h>
#include <unistd.h>

#include <algorithm>

#include "tidewell/base/NeverDestroyed.h"

namespace tidewell::posix {
namespace {

struct Participants {
  std::mutex mutex;
  std::vector<ForkParticipant*> all;
};

Participants& participants() {
  static base::NeverDestroyed<Participants> instance;
  return *instance;
}

constinit std::atomic<pid_t> process{0};

void beforeFork() {
  participants().mutex.lock();
  for (ForkParticipant* each : participants().all) each->beforeFork();
}

void afterForkInParent() {
  for (ForkParticipant* each : participants().all) each->afterForkInParent();
  participants().mutex.unlock();
}

void afterForkInChild() {
  process.store(getpid(), std::memory_order_relaxed);
  for (ForkParticipant* each : participants().all) each->afterForkInChild();
  participants().mutex.unlock();
}

}  // namespace

void ForkParticipant::join() {
  const std::lock_guard lock(participants().mutex);
  participants().all.push_back(this);
}

void ForkParticipant::leave() noexcept {
  const std::lock_guard lock(participants().mutex);
  auto& all = participants().all;
  all.erase(std::remove(all.begin(), all.end(), this), all.end());
}

WorkMutex::WorkMutex() : mutex_(nullptr) {
  mutexes_.push_back(std::make_unique<std::mutex>());
  mutex_.store(mutexes_.back().get(), std::memory_order_release);
  join();
}

WorkMutex::~WorkMutex() { leave(); }

void WorkMutex::afterForkInChild() noexcept {
  mutexes_.push_back(std::make_unique<std::mutex>());
  mutex_.store(mutexes_.back().get(), std::memory_order_release);
}

void prepareForForks() {
  static const bool once = [] {
    process.store(getpid(), std::memory_order_relaxed);
    pthread_atfork(beforeFork, afterForkInParent, afterForkInChild);
    return true;
  }();
  static_cast<void>(once);
}

pid_t currentProcess() noexcept {
  const pid_t known = process.load(std::memory_order_relaxed);
  return known != 0 ? known : getpid();
}

}  // namespace tidewell::posix
