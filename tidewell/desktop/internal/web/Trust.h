#pragma once

#include <gio/gio.h>

#include <optional>
#include <string>

namespace tidewell::desktop {

/// The host of an address where its server's certificate, which the system does not trust, is right for that
/// host, in force, and signed by an authority of the file; nothing otherwise.
[[nodiscard]] std::optional<std::string> hostTrustedBy(const std::string& caFile, const char* url,
                                                       GTlsCertificate* certificate);

}  // namespace tidewell::desktop
