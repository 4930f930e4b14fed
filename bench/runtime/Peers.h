#pragma once

#include <cstddef>
#include <cstdint>

// The same work done by GNU libobjc and by GNUstep's NSInvocation, compiled as Objective-C.
extern "C" {
/// Sends `add:` to one object so many times.
std::int64_t peerSend(std::size_t times);
/// Builds an invocation of `add:` with its argument, invokes it and reads the result, so many times.
std::int64_t peerInvocation(std::size_t times);
}
