// SPDX-License-Identifier: Apache-2.0
#include <fcntl.h>
#include <unistd.h>

#include <utility>

#include "tidewell/posix/internal/WakeUp.h"

namespace tidewell::posix {
namespace {

struct Pipe {
  /// Non-blocking. Without `pipe2` another thread may fork and exec before close-on-exec is set.
  Pipe() noexcept {
    int ends[2];
    if (pipe(ends) != 0) return;
    for (const int end : ends) {
      fcntl(end, F_SETFD, FD_CLOEXEC);
      fcntl(end, F_SETFL, O_NONBLOCK);
    }
    readEnd = Descriptor(ends[0]);
    writeEnd = Descriptor(ends[1]);
  }
  Descriptor readEnd, writeEnd;
};

void replace(const Descriptor& old, const Descriptor& own) noexcept {
  dup2(own.number(), old.number());
  fcntl(old.number(), F_SETFD, FD_CLOEXEC);
}

}  // namespace

WakeUp::WakeUp() noexcept {
  Pipe made;
  readEnd_ = std::move(made.readEnd);
  writeEnd_ = std::move(made.writeEnd);
}

void WakeUp::signal() noexcept {
  // A full pipe is readable, too.
  if (writeEnd_) static_cast<void>(!write(writeEnd_.number(), "", 1));
}

void WakeUp::clear() noexcept {
  char bytes[64];
  while (readEnd_ && read(readEnd_.number(), bytes, sizeof bytes) > 0) {
  }
}

void WakeUp::separateFromParent() noexcept {
  if (!readEnd_) return;
  const Pipe own;
  if (!own.readEnd) return;
  replace(readEnd_, own.readEnd);
  replace(writeEnd_, own.writeEnd);
}

}  // namespace tidewell::posix
