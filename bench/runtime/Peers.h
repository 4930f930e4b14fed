// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>

// The same work with GNU libobjc and GNUstep's NSInvocation, compiled as Objective-C.
extern "C" {
/// Sends `add:` to one object a number of times.
std::int64_t peerSend(std::size_t times);
/// Builds an invocation of `add:` with its argument, invokes it and reads the result, a number of times.
std::int64_t peerInvocation(std::size_t times);
}
