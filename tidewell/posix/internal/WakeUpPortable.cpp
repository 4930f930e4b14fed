// SPDX-License-Identifier: Apache-2.0
#include <fcntl.h>
#include <unistd.h>

#include "tidewell/posix/internal/WakeUp.h"

namespace tidewell::posix {
namespace {

/// A non-blocking pipe. Without `pipe2` another thread may fork and exec before close-on-exec is set.
bool makePipe(int (&ends)[2]) noexcept {
  if (pipe(ends) != 0) return false;
  for (const int end : ends) {
    fcntl(end, F_SETFD, FD_CLOEXEC);
    fcntl(end, F_SETFL, O_NONBLOCK);
  }
  return true;
}

}  // namespace

WakeUp::WakeUp() noexcept {
  int ends[2];
  if (!makePipe(ends)) return;
  readEnd_ = ends[0];
  writeEnd_ = ends[1];
}

WakeUp::~WakeUp() {
  if (readEnd_ < 0) return;
  close(readEnd_);
  close(writeEnd_);
}

void WakeUp::signal() noexcept {
  // A full pipe is readable, too.
  if (writeEnd_ >= 0) static_cast<void>(!write(writeEnd_, "", 1));
}

void WakeUp::clear() noexcept {
  char bytes[64];
  while (readEnd_ >= 0 && read(readEnd_, bytes, sizeof bytes) > 0) {
  }
}

void WakeUp::separateFromParent() noexcept {
  int ends[2];
  if (readEnd_ < 0 || !makePipe(ends)) return;
  const int own[2] = {readEnd_, writeEnd_};
  for (int i = 0; i < 2; ++i) {
    dup2(ends[i], own[i]);
    fcntl(own[i], F_SETFD, FD_CLOEXEC);
    close(ends[i]);
  }
}

}  // namespace tidewell::posix
