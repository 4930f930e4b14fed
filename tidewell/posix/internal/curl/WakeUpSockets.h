#pragma once

#include <curl/curl.h>

namespace tidewell::posix {

/// A multi handle whose own wake-up sockets close when the host starts another program: libcurl makes them
/// without that flag and names them nowhere. Null where there is no memory or no descriptor.
[[nodiscard]] CURLM* makeMultiHandle();

}  // namespace tidewell::posix
