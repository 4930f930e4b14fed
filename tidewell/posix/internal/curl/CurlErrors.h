#pragma once

#include <curl/curl.h>

#include "tidewell/base/Error.h"
#include "tidewell/posix/internal/PosixTransport.h"

namespace tidewell::posix {

/// What the platform calls a failure of libcurl. `detail` is libcurl's own sentence, or "". Where the trust
/// in a server failed, the error names the CA files that were tried.
[[nodiscard]] base::Error errorOfCurl(CURLcode code, CURL* handle, const char* detail,
                                      const TransportSettings& settings);

}  // namespace tidewell::posix
