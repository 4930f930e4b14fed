// SPDX-License-Identifier: Apache-2.0
#include "tidewell/testing/VirtualClock.h"

#include "tidewell/base/internal/Mutex.h"

namespace tidewell::testing {
namespace {

/// The initial time: 2018-11-12 17:05:09 UTC.
constexpr double kFirstInstant = 1542042309.0;

}  // namespace

struct VirtualClock::State {
  mutable base::Mutex mutex;
  base::Date now TIDEWELL_GUARDED_BY(mutex){kFirstInstant};
  base::TimeZone timeZone TIDEWELL_GUARDED_BY(mutex) = base::TimeZone::UTC();
};

VirtualClock::VirtualClock() : state_(std::make_unique<State>()) {}
VirtualClock::~VirtualClock() = default;

base::Date VirtualClock::now() const {
  const base::MutexLock lock(state_->mutex);
  return state_->now;
}

base::TimeZone VirtualClock::systemTimeZone() const {
  const base::MutexLock lock(state_->mutex);
  return state_->timeZone;
}

void VirtualClock::setNow(base::Date now) {
  const base::MutexLock lock(state_->mutex);
  state_->now = now;
}

void VirtualClock::advance(double seconds) {
  const base::MutexLock lock(state_->mutex);
  state_->now.secondsSince1970 += seconds;
}

void VirtualClock::setSystemTimeZone(base::TimeZone timeZone) {
  const base::MutexLock lock(state_->mutex);
  state_->timeZone = std::move(timeZone);
}

}  // namespace tidewell::testing
