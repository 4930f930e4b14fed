// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <unistd.h>

#include <cerrno>
#include <system_error>
#include <utility>

#include "tidewell/base/internal/CancellationShield.h"

namespace tidewell::posix {

/// Owns a file descriptor.
class Descriptor {
 public:
  Descriptor() noexcept = default;
  explicit Descriptor(int number) noexcept : number_(number) {}
  Descriptor(Descriptor&& other) noexcept : number_(std::exchange(other.number_, -1)) {}
  Descriptor& operator=(Descriptor&& other) noexcept {
    std::swap(number_, other.number_);
    return *this;
  }
  ~Descriptor() { close(); }

  [[nodiscard]] int number() const noexcept { return number_; }
  explicit operator bool() const noexcept { return number_ >= 0; }
  /// Releases ownership without closing.
  int release() noexcept { return std::exchange(number_, -1); }
  /// Closes explicitly: in a forked child, which shares it with the parent, and if the result matters.
  int close() noexcept {
    if (number_ < 0) return 0;
    const base::CancellationShield shield;
    return ::close(std::exchange(number_, -1));
  }

 private:
  int number_ = -1;
};

/// Repeats a call while a signal interrupts it.
template <class Call>
auto retrying(Call call) {
  auto result = call();
  while (result == -1 && errno == EINTR) result = call();
  return result;
}

/// The error of the calling thread's last failed call.
[[nodiscard]] inline std::error_code lastError() noexcept {
  return std::error_code(errno, std::generic_category());
}

}  // namespace tidewell::posix
