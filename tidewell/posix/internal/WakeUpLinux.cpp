// SPDX-License-Identifier: Apache-2.0
#include <fcntl.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include "tidewell/posix/internal/WakeUp.h"

namespace tidewell::posix {
namespace {

int makeEvent() noexcept { return eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK); }

}  // namespace

WakeUp::WakeUp() noexcept : readEnd_(makeEvent()), writeEnd_(readEnd_) {}

WakeUp::~WakeUp() {
  if (readEnd_ >= 0) close(readEnd_);
}

void WakeUp::signal() noexcept {
  if (writeEnd_ >= 0) static_cast<void>(eventfd_write(writeEnd_, 1));
}

void WakeUp::clear() noexcept {
  eventfd_t count = 0;
  if (readEnd_ >= 0) static_cast<void>(eventfd_read(readEnd_, &count));
}

void WakeUp::separateFromParent() noexcept {
  if (readEnd_ < 0) return;
  const int own = makeEvent();
  if (own < 0) return;
  dup3(own, readEnd_, O_CLOEXEC);
  close(own);
}

}  // namespace tidewell::posix
