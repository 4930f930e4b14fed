// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <cstdio>

namespace bench {

/// The body of a program that shows what one library costs its host. Without an argument the program ends at
/// once: that is its launch. With one, it starts the library, uses it for the first time, and prints the
/// nanoseconds of both.
template <class Start, class Use>
int runPeer(int argc, Start start, Use use) {
  if (argc < 2) return 0;
  using Clock = std::chrono::steady_clock;
  const auto nanoseconds = [](Clock::duration time) {
    return static_cast<long long>(std::chrono::nanoseconds(time).count());
  };
  const auto begin = Clock::now();
  auto started = start();
  const auto ready = Clock::now();
  use(started);
  const auto end = Clock::now();
  std::printf("%lld %lld\n", nanoseconds(ready - begin), nanoseconds(end - ready));
  return 0;
}

}  // namespace bench
