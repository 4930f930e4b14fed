// SPDX-License-Identifier: Apache-2.0
#include "tidewell/base/internal/Digest.h"

// libcrypto 3.0 deprecates these functions in favour of fetched algorithms. Fetching needs the library's
// state, which `exit` tears down; these functions do not.
#define OPENSSL_SUPPRESS_DEPRECATED
#include <openssl/md5.h>
#include <openssl/sha.h>
#include <sys/random.h>
#include <unistd.h>

#include <cstring>
#include <exception>
#include <random>

#include "tidewell/base/Exception.h"
#include "tidewell/base/internal/Ascii.h"

namespace tidewell::base {
namespace {

using Sha256Digest = std::array<std::uint8_t, SHA256_DIGEST_LENGTH>;

constexpr std::size_t kHmacBlockBytes = 64;  // SHA-256's

/// The digest of two concatenated texts.
Sha256Digest sha256(std::string_view first, std::string_view second) noexcept {
  SHA256_CTX context;
  SHA256_Init(&context);
  SHA256_Update(&context, first.data(), first.size());
  SHA256_Update(&context, second.data(), second.size());
  Sha256Digest digest{};
  SHA256_Final(digest.data(), &context);
  return digest;
}

std::string_view textOf(const Sha256Digest& digest) noexcept {
  return {reinterpret_cast<const char*>(digest.data()), digest.size()};
}

std::array<std::uint8_t, 16> randomBytes() {
  std::array<std::uint8_t, 16> bytes{};
  if (getentropy(bytes.data(), bytes.size()) == 0) return bytes;
  // A sandbox may refuse the system call.
  try {
    std::random_device device;
    for (std::uint8_t& byte : bytes) byte = static_cast<std::uint8_t>(device());
  } catch (const std::exception&) {
    raise(kInternalInconsistencyException, "The system has no random bytes");
  }
  return bytes;
}

}  // namespace

std::array<std::uint8_t, 16> md5(std::string_view bytes) noexcept {
  MD5_CTX context;
  MD5_Init(&context);
  MD5_Update(&context, bytes.data(), bytes.size());
  std::array<std::uint8_t, 16> digest{};
  MD5_Final(digest.data(), &context);
  return digest;
}

std::array<std::uint8_t, 32> hmacSha256(std::string_view key, std::string_view message) noexcept {
  Sha256Digest shortKey{};
  if (key.size() > kHmacBlockBytes) {
    shortKey = sha256(key, {});
    key = textOf(shortKey);
  }
  std::array<char, kHmacBlockBytes> inner;
  std::array<char, kHmacBlockBytes> outer;
  inner.fill(0x36);
  outer.fill(0x5C);
  for (std::size_t i = 0; i < key.size(); ++i) {
    inner[i] = static_cast<char>(inner[i] ^ key[i]);
    outer[i] = static_cast<char>(outer[i] ^ key[i]);
  }
  const Sha256Digest digest = sha256({inner.data(), inner.size()}, message);
  return sha256({outer.data(), outer.size()}, textOf(digest));
}

std::string hexString(const std::uint8_t* bytes, std::size_t count) {
  std::string text(count * 2, '\0');
  char* out = text.data();
  for (const std::uint8_t* byte = bytes; byte != bytes + count; ++byte) {
    *out++ = detail::kLowerHexDigits[*byte >> 4];
    *out++ = detail::kLowerHexDigits[*byte & 15];
  }
  return text;
}

std::string UUIDString() { return UUIDStringWithBytes(randomBytes().data()); }

std::string UUIDStringWithBytes(const std::uint8_t* sixteenBytes) {
  std::array<std::uint8_t, 16> bytes{};
  std::memcpy(bytes.data(), sixteenBytes, bytes.size());
  bytes[6] = static_cast<std::uint8_t>((bytes[6] & 0x0F) | 0x40);  // version 4
  bytes[8] = static_cast<std::uint8_t>((bytes[8] & 0x3F) | 0x80);  // the variant of RFC 4122
  std::string text;
  text.reserve(36);
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    if (i == 4 || i == 6 || i == 8 || i == 10) text += '-';
    detail::appendHex(text, bytes[i], detail::kUpperHexDigits);
  }
  return text;
}

}  // namespace tidewell::base
