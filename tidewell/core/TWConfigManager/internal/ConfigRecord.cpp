// SPDX-License-Identifier: Apache-2.0
#include "tidewell/core/TWConfigManager/internal/ConfigRecord.h"

#include <utility>

#include "tidewell/base/internal/Mutex.h"
#include "tidewell/platform/Platform.h"

namespace tidewell {
namespace {

/// Compiles in the background, because the first expression in a process takes a millisecond to compile.
/// Skips a list that was replaced meanwhile.
void compileInBackground(const std::shared_ptr<const RestrictedExpressions>& expressions) {
  platform::Platform::current().globalQueue().async(
      [waiting = std::weak_ptr<const RestrictedExpressions>(expressions)] {
        if (const auto wanted = waiting.lock()) wanted->compileAhead();
      });
}

}  // namespace

DeferredWork::~DeferredWork() {
  if (!newExpressions || !newExpressions->isWorthCompilingAhead()) return;
  try {
    compileInBackground(newExpressions);
  } catch (...) {  // out of memory: the first query compiles
  }
}

void ConfigPublication::publish(std::shared_ptr<const CompiledConfig> snapshot, DeferredWork& deferred) {
  const auto& latest = publisher_.latest();
  if (!latest || latest->restrictedExpressions != snapshot->restrictedExpressions) {
    deferred.newExpressions = snapshot->restrictedExpressions;
  }
  const GateWord gates = snapshot->gates;
  publisher_.publish(std::move(snapshot));
  // After the snapshot: see `answer` in TWConfigManagerQuestions.cpp.
  gates_.store(gates, std::memory_order_release);
}

void ConfigPublication::reclaim(DeferredWork& deferred) noexcept { publisher_.reclaim(deferred.garbage); }

void ConfigPublication::replace(std::shared_ptr<const CompiledConfig> snapshot, DeferredWork& deferred) {
  publish(std::move(snapshot), deferred);
  if (base::heavyFence()) reclaim(deferred);
}

ConfigRecord::ConfigRecord(TWConfigFields fields) {
  publisher_.publish(CompiledConfig::compile(std::move(fields)));
}

void ConfigRecord::apply(const ConfigChange& change) {
  if (change.properties == 0) return;
  DeferredWork deferred;
  const base::MutexLock lock(mutex_);
  replace(change.fields, change.properties, deferred);
  written_ |= change.properties;
}

void ConfigRecord::adopt(const TWConfigFields& fields, PropertySet properties) {
  DeferredWork deferred;
  const base::MutexLock lock(mutex_);
  properties &= ~written_;
  if (!equalFields(fields, publisher_.latest()->fields, properties)) replace(fields, properties, deferred);
}

void ConfigRecord::claim() {
  const base::MutexLock lock(mutex_);
  written_ = kAllProperties;
}

PropertySet ConfigRecord::written() const {
  const base::MutexLock lock(mutex_);
  return written_;
}

void ConfigRecord::replace(const TWConfigFields& fields, PropertySet properties, DeferredWork& deferred) {
  TWConfigFields next = publisher_.latest()->fields;
  copyFields(fields, next, properties);
  const auto snapshot = CompiledConfig::compile(std::move(next), publisher_.latest().get(), properties);
  // All publications or none.
  for (ConfigPublication* const publication : publications_) publication->makeRoom();
  publisher_.makeRoom();
  for (ConfigPublication* const publication : publications_) publication->publish(snapshot, deferred);
  publisher_.publish(snapshot);
  if (!base::heavyFenceUnlessRecent()) return;
  for (ConfigPublication* const publication : publications_) publication->reclaim(deferred);
  publisher_.reclaim(deferred.garbage);
}

void ConfigRecord::makeRoomForAttachment() {
  const base::MutexLock lock(mutex_);
  publications_.reserve(publications_.size() + 1);
}

void ConfigRecord::makeRoomIn(ConfigPublication& publication) {
  const base::MutexLock lock(mutex_);
  publication.makeRoom();
}

void ConfigRecord::attach(ConfigPublication& publication) {
  DeferredWork deferred;
  const base::MutexLock lock(mutex_);
  publications_.reserve(publications_.size() + 1);
  publication.makeRoom();
  publications_.push_back(&publication);
  publication.replace(publisher_.latest(), deferred);
}

void ConfigRecord::detach(ConfigPublication& publication) {
  const base::MutexLock lock(mutex_);
  std::erase(publications_, &publication);
}

}  // namespace tidewell
