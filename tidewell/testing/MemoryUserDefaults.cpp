// SPDX-License-Identifier: Apache-2.0
#include "tidewell/testing/MemoryUserDefaults.h"

#include <map>
#include <utility>

#include "tidewell/base/formats/PropertyList.h"
#include "tidewell/base/internal/Mutex.h"
#include "tidewell/platform/Platform.h"

namespace tidewell::testing {
namespace {

void apply(base::Dictionary& dictionary, const std::string& key, base::Value object) {
  if (object.isNil()) {
    dictionary.removeObjectForKey(key);
  } else {
    dictionary.setObject(std::move(object), key);
  }
}

}  // namespace

struct MemoryUserDefaults::State {
  mutable base::Mutex mutex;
  base::Dictionary disk TIDEWELL_GUARDED_BY(mutex);
  base::Dictionary seen TIDEWELL_GUARDED_BY(mutex);  ///< the view of this process
  std::map<std::string, base::Value> changes
      TIDEWELL_GUARDED_BY(mutex);  ///< changes not synchronised; nil for a removal
  std::size_t synchronizeCount TIDEWELL_GUARDED_BY(mutex) = 0;
  bool isFailing TIDEWELL_GUARDED_BY(mutex) = false;

  void change(std::string_view key, base::Value object) {
    const base::MutexLock lock(mutex);
    std::string name(key);
    apply(seen, name, object);
    changes.insert_or_assign(std::move(name), std::move(object));
  }
};

MemoryUserDefaults::MemoryUserDefaults() : state_(std::make_unique<State>()) {}
MemoryUserDefaults::~MemoryUserDefaults() = default;

base::Value MemoryUserDefaults::objectForKey(std::string_view key) {
  const base::MutexLock lock(state_->mutex);
  return state_->seen.objectForKey(key);
}

void MemoryUserDefaults::setObject(base::Value object, std::string_view forKey) {
  // Called because it raises for values that a property list cannot hold; its result is not needed.
  if (object) static_cast<void>(base::dataWithPropertyList(object, base::PropertyListFormat::binary));
  state_->change(forKey, std::move(object));
}

void MemoryUserDefaults::removeObjectForKey(std::string_view key) { state_->change(key, {}); }

bool MemoryUserDefaults::synchronize() {
  {
    const base::MutexLock lock(state_->mutex);
    ++state_->synchronizeCount;
    if (!state_->isFailing) {
      for (const auto& [key, object] : state_->changes) apply(state_->disk, key, object);
      state_->changes.clear();
      state_->seen = state_->disk;
      return true;
    }
  }
  platform::report("The user defaults could not be written");
  return false;
}

base::Dictionary MemoryUserDefaults::synchronized() const {
  const base::MutexLock lock(state_->mutex);
  return state_->disk;
}

void MemoryUserDefaults::setSynchronized(base::Value object, std::string_view forKey) {
  const base::MutexLock lock(state_->mutex);
  apply(state_->disk, std::string(forKey), std::move(object));
}

std::size_t MemoryUserDefaults::synchronizeCount() const {
  const base::MutexLock lock(state_->mutex);
  return state_->synchronizeCount;
}

void MemoryUserDefaults::restart() {
  const base::MutexLock lock(state_->mutex);
  state_->changes.clear();
  state_->seen = state_->disk;
}

void MemoryUserDefaults::setFailing(bool failing) {
  const base::MutexLock lock(state_->mutex);
  state_->isFailing = failing;
}

}  // namespace tidewell::testing
