// SPDX-License-Identifier: Apache-2.0
#include "tidewell/posix/internal/curl/WakeUpSockets.h"

namespace tidewell::posix {

/// Nothing tells which descriptors are libcurl's: a program that the host executes inherits them.
CURLM* makeMultiHandle() { return curl_multi_init(); }

}  // namespace tidewell::posix
