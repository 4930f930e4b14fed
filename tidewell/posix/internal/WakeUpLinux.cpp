// SPDX-License-Identifier: Apache-2.0
#include <fcntl.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include "tidewell/posix/internal/WakeUp.h"

namespace tidewell::posix {
namespace {

Descriptor makeEvent() noexcept { return Descriptor(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)); }

}  // namespace

WakeUp::WakeUp() noexcept : readEnd_(makeEvent()) {}

void WakeUp::signal() noexcept {
  if (readEnd_) static_cast<void>(eventfd_write(readEnd_.number(), 1));
}

void WakeUp::clear() noexcept {
  eventfd_t count = 0;
  if (readEnd_) static_cast<void>(eventfd_read(readEnd_.number(), &count));
}

void WakeUp::separateFromParent() noexcept {
  if (!readEnd_) return;
  if (const Descriptor own = makeEvent()) dup3(own.number(), readEnd_.number(), O_CLOEXEC);
}

}  // namespace tidewell::posix
