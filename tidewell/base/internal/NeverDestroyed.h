// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <atomic>
#include <memory>
#include <new>
#include <utility>

namespace tidewell::base {

/// Holds a process-wide object that is constructed on first use and never destroyed, so that threads still
/// running at process exit can use it. For function-local statics:
///
///     static NeverDestroyed<Registry> registry;
///     return *registry;
template <class T>
class NeverDestroyed {
 public:
  template <class... Args>
  explicit NeverDestroyed(Args&&... args) {
    ::new (static_cast<void*>(storage_)) T(std::forward<Args>(args)...);
  }
  NeverDestroyed(const NeverDestroyed&) = delete;
  NeverDestroyed& operator=(const NeverDestroyed&) = delete;

  T& operator*() { return *get(); }
  T* operator->() { return get(); }
  T* get() { return std::launder(static_cast<T*>(static_cast<void*>(storage_))); }

 private:
  alignas(T) unsigned char storage_[sizeof(T)];
};

/// Returns a process-wide object that is created on first use and never destroyed. Unlike a function-local
/// static, whose initialisation makes other threads wait, it is never half initialised in the child of a
/// fork: threads that ask at the same time each create one, and the first to finish wins. So neither creating
/// nor destroying one may have side effects. `make` returns a `std::unique_ptr`.
///
///     static constinit std::atomic<Registry*> registry{nullptr};
///     return madeOnce(registry);
template <class T, class Make>
T& madeOnce(std::atomic<T*>& place, Make&& make) {
  // Pairs with the exchange below: the object is constructed.
  T* present = place.load(std::memory_order_acquire);
  if (present) return *present;
  std::unique_ptr<T> made = std::forward<Make>(make)();
  if (place.compare_exchange_strong(present, made.get(), std::memory_order_acq_rel)) return *made.release();
  return *present;
}
template <class T>
T& madeOnce(std::atomic<T*>& place) {
  return madeOnce(place, [] { return std::make_unique<T>(); });
}

}  // namespace tidewell::base
