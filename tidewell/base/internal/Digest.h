// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <string_view>

#include "tidewell/base/Export.h"

namespace tidewell::base {

// These functions may be called from any thread until the process ends. The digests are our own: loading
// libcrypto would take half of a host's start, and its state belongs to the host and is torn down by `exit`.

/// MD5 (RFC 1321). Identifies content; not for security.
[[nodiscard]] TIDEWELL_EXPORT std::array<std::uint8_t, 16> md5(std::string_view bytes) noexcept;
/// HMAC-SHA-256 (RFC 2104, FIPS 180-4).
[[nodiscard]] TIDEWELL_EXPORT std::array<std::uint8_t, 32> hmacSha256(std::string_view key,
                                                                      std::string_view message) noexcept;
/// Lower-case, two hexadecimal digits per byte.
[[nodiscard]] TIDEWELL_EXPORT std::string hexString(const std::uint8_t* bytes, std::size_t count);
/// A random UUID (RFC 4122, version 4): 36 characters, upper-case, with hyphens. Raises
/// `kInternalInconsistencyException` if the system provides no random bytes.
[[nodiscard]] TIDEWELL_EXPORT std::string UUIDString();
/// Formats sixteen bytes as an upper-case UUID, with version and variant set as for version 4 (RFC 4122,
/// section 4.4).
[[nodiscard]] TIDEWELL_EXPORT std::string UUIDStringWithBytes(const std::uint8_t* sixteenBytes);

}  // namespace tidewell::base
