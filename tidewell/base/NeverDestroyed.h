#pragma once

#include <new>
#include <utility>

namespace tidewell::base {

/// Holds a process-wide object that is made on first use and never destroyed, so that threads which still run
/// while the process ends find it whole. Use it for a function-local static:
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
  T* get() { return std::launder(reinterpret_cast<T*>(storage_)); }

 private:
  alignas(T) unsigned char storage_[sizeof(T)];
};

}  // namespace tidewell::base
