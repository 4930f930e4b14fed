#pragma once

#include <cstddef>
#include <cstdint>

// The same work done by GNU libobjc and by GNUstep's NSInvocation, compiled as Objective-C.
extern "C" {
/// Sends `add:` to one object that many times.
std::int64_t peerSend(std::size_t times);
/// Creates an invocation of `add:` with its argument, invokes it and reads the result, that many times.
std::int64_t peerInvocation(std::size_t times);
}
