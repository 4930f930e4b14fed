// SPDX-License-Identifier: Apache-2.0
#include "tidewell/posix/internal/curl/TlsLayer.h"

#include <openssl/ssl.h>
#include <openssl/x509v3.h>

#include <cstring>
#include <memory>

namespace tidewell::posix {
namespace {

bool isOpenSsl() {
  const char* const name = curl_version_info(CURLVERSION_NOW)->ssl_version;
  return name != nullptr && std::strncmp(name, "OpenSSL/", 8) == 0;
}

/// libcurl falls back to the common name if a certificate has no such name.
bool hasAlternativeName(const X509* certificate) {
  const std::unique_ptr<GENERAL_NAMES, void (*)(GENERAL_NAMES*)> names(
      static_cast<GENERAL_NAMES*>(X509_get_ext_d2i(certificate, NID_subject_alt_name, nullptr, nullptr)),
      GENERAL_NAMES_free);
  if (names == nullptr) return false;
  for (int i = 0; i < sk_GENERAL_NAME_num(names.get()); ++i) {
    const int type = sk_GENERAL_NAME_value(names.get(), i)->type;
    if (type == GEN_DNS || type == GEN_IPADD) return true;
  }
  return false;
}

int verifyCertificate(int isValid, X509_STORE_CTX* store) {
  if (isValid != 1 || X509_STORE_CTX_get_error_depth(store) != 0) return isValid;
  if (hasAlternativeName(X509_STORE_CTX_get_current_cert(store))) return 1;
  X509_STORE_CTX_set_error(store, X509_V_ERR_HOSTNAME_MISMATCH);
  return 0;
}

CURLcode tightenContext(CURL*, void* context, void*) noexcept {
  auto* const tls = static_cast<SSL_CTX*>(context);
  SSL_CTX_set_verify(tls, SSL_VERIFY_PEER, verifyCertificate);
  // Otherwise one read continues for as long as session tickets and key updates arrive.
  SSL_CTX_clear_mode(tls, SSL_MODE_AUTO_RETRY);
  return CURLE_OK;
}

}  // namespace

void tightenTls(CURL* handle) {
  static const bool applies = isOpenSsl();
  if (applies) curl_easy_setopt(handle, CURLOPT_SSL_CTX_FUNCTION, tightenContext);
}

bool isTlsLayerQuiet(CURL* handle, bool usesTls) {
  curl_tlssessioninfo* layer = nullptr;
  curl_easy_getinfo(handle, CURLINFO_TLS_SSL_PTR, &layer);
  if (layer == nullptr || layer->internals == nullptr) return !usesTls;
  return layer->backend == CURLSSLBACKEND_OPENSSL &&
         SSL_has_pending(static_cast<const SSL*>(layer->internals)) == 0;
}

}  // namespace tidewell::posix
