// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <signal.h>
#include <sys/prctl.h>
#include <unistd.h>

#include <cstdint>
#include <cstdlib>

#include "tidewell/testing/StandInBackend.h"

namespace bench {

/// Starts a backend in a child that ends with this process, and returns its port. `prepare` is called with
/// the backend in the child. Call before there are other threads. Aborts on failure.
template <class Prepare>
std::uint16_t startBackend(const tidewell::testing::StandInBackendOptions& options, Prepare prepare) {
  int ends[2];
  if (pipe(ends) != 0) std::abort();
  if (fork() == 0) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    tidewell::testing::StandInBackend backend(options);
    prepare(backend);
    const std::uint16_t port = backend.port();
    if (write(ends[1], &port, sizeof port) != sizeof port) std::abort();
    for (;;) pause();
  }
  std::uint16_t port = 0;
  close(ends[1]);
  if (read(ends[0], &port, sizeof port) != sizeof port) std::abort();
  close(ends[0]);
  return port;
}
inline std::uint16_t startBackend(const tidewell::testing::StandInBackendOptions& options) {
  return startBackend(options, [](tidewell::testing::StandInBackend&) {});
}

}  // namespace bench
