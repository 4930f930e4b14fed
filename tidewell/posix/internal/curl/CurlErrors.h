// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <curl/curl.h>

#include "tidewell/base/Error.h"
#include "tidewell/posix/internal/PosixTransport.h"

namespace tidewell::posix {

/// The platform's error for a failure in libcurl. `detail` is libcurl's own message, or "". If a certificate
/// is not trusted, the error names the CA files used.
[[nodiscard]] base::Error errorOfCurl(CURLcode code, CURL* handle, const char* detail,
                                      const TransportSettings& settings);

}  // namespace tidewell::posix
