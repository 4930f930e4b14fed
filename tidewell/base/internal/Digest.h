#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <string_view>

#include "tidewell/base/Export.h"

namespace tidewell::base {

// Callable from any thread and until the process is gone: nothing here needs the state of libcrypto, its
// providers or its configuration, which the host owns and which `exit` takes down.

/// MD5 (RFC 1321). The digest is a name for content, never a protection.
[[nodiscard]] TIDEWELL_EXPORT std::array<std::uint8_t, 16> md5(std::string_view bytes) noexcept;
/// HMAC-SHA-256 (RFC 2104, FIPS 180-4).
[[nodiscard]] TIDEWELL_EXPORT std::array<std::uint8_t, 32> hmacSha256(std::string_view key,
                                                                      std::string_view message) noexcept;
/// Two lower-case hexadecimal digits a byte.
[[nodiscard]] TIDEWELL_EXPORT std::string hexString(const std::uint8_t* bytes, std::size_t count);
/// A random UUID (RFC 4122, version 4): 36 characters, upper-case, with hyphens. Raises
/// `kInternalInconsistencyException` where the system has no random bytes.
[[nodiscard]] TIDEWELL_EXPORT std::string UUIDString();
/// The upper-case text of sixteen bytes as a UUID, version and variant set as for version 4 (RFC 4122,
/// section 4.4).
[[nodiscard]] TIDEWELL_EXPORT std::string UUIDStringWithBytes(const std::uint8_t* sixteenBytes);

}  // namespace tidewell::base
