// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <curl/curl.h>

// TLS settings that libcurl leaves to its user, if the TLS library is OpenSSL.
namespace tidewell::posix {

/// Rejects certificates, a proxy's included, that name their host only in the common name (RFC 9110, section
/// 4.3.4), and keeps a server from occupying the thread with TLS messages that carry no data.
void tightenTls(CURL* handle);

/// Whether the connection's TLS layer has no buffered bytes beyond those visible on the socket. True without
/// TLS; false if the layer cannot be queried. Called from libcurl's callbacks.
[[nodiscard]] bool isTlsLayerQuiet(CURL* handle, bool usesTls);

}  // namespace tidewell::posix
