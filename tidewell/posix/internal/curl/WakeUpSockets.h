// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <curl/curl.h>

namespace tidewell::posix {

/// A multi handle whose internal wake-up sockets have close-on-exec set, if the system can find them; libcurl
/// creates them without and does not expose them. Null if out of memory or descriptors.
[[nodiscard]] CURLM* makeMultiHandle();

}  // namespace tidewell::posix
