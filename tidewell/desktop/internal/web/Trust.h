// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <gio/gio.h>

#include <optional>
#include <string>

namespace tidewell::desktop {

/// The host of an address, if its server's certificate, which the system does not trust, is valid for that
/// host, not expired, and signed by an authority in the file; no value otherwise.
[[nodiscard]] std::optional<std::string> hostTrustedBy(const std::string& caFile, const char* url,
                                                       GTlsCertificate* certificate);

}  // namespace tidewell::desktop
