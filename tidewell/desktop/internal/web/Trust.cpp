// SPDX-License-Identifier: Apache-2.0
#include "tidewell/desktop/internal/web/Trust.h"

#include "tidewell/desktop/internal/Glib.h"

namespace tidewell::desktop {

std::optional<std::string> hostTrustedBy(const std::string& caFile, const char* url,
                                         GTlsCertificate* certificate) {
  if (caFile.empty()) return std::nullopt;
  GUri* const parsed = g_uri_parse(url, G_URI_FLAGS_NONE, nullptr);
  const std::string host = textOf(parsed ? g_uri_get_host(parsed) : nullptr);
  if (parsed) g_uri_unref(parsed);
  if (host.empty()) return std::nullopt;

  const Owned<GSocketConnectable> identity(g_network_address_new(host.c_str(), 443));
  GList* const authorities = g_tls_certificate_list_new_from_file(caFile.c_str(), nullptr);
  bool isTrusted = false;
  for (GList* each = authorities; each && !isTrusted; each = each->next) {
    auto* const authority = static_cast<GTlsCertificate*>(each->data);
    isTrusted = g_tls_certificate_verify(certificate, identity.get(), authority) == 0;
  }
  g_list_free_full(authorities, g_object_unref);
  return isTrusted ? std::optional(host) : std::nullopt;
}

}  // namespace tidewell::desktop
