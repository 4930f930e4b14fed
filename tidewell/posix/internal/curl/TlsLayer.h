#pragma once

#include <curl/curl.h>

// What libcurl leaves to its user at the TLS layer, if that is OpenSSL.
namespace tidewell::posix {

/// Refuses certificates that name their host in the common name only (RFC 9110, section 4.3.4), a proxy's
/// too, and stops a server from holding the thread with TLS messages that carry no data.
void tightenTls(CURL* handle);

/// Whether the TLS layer of the handle's connection holds no bytes that the socket does not show any more.
/// True for a connection without TLS; false where the layer cannot be asked. Called by libcurl's callbacks.
[[nodiscard]] bool isTlsLayerQuiet(CURL* handle, bool usesTls);

}  // namespace tidewell::posix
