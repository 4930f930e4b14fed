#include "tidewell/base/Digest.h"

#include <openssl/core_names.h>
#include <openssl/evp.h>
#include <openssl/provider.h>
#include <openssl/rand.h>

#include <cstring>

#include "tidewell/base/Exception.h"

namespace tidewell::base {
namespace {

[[noreturn]] void raiseMissing(std::string_view what) {
  raise(kInternalInconsistencyException, "libcrypto gives no " + std::string(what));
}

/// A libcrypto of our own: the host's configuration, default properties ("fips=yes") and providers do not
/// reach it. Made on first use and never freed.
OSSL_LIB_CTX* context() {
  static OSSL_LIB_CTX* const context = [] {
    OSSL_LIB_CTX* made = OSSL_LIB_CTX_new();
    if (!made || !OSSL_PROVIDER_load(made, "default")) raiseMissing("default provider");
    return made;
  }();
  return context;
}

/// Fetched once: a look-up by name at each call costs more than the digest of a short text.
const EVP_MD* md5Method() {
  static EVP_MD* const method = [] {
    EVP_MD* fetched = EVP_MD_fetch(context(), "MD5", nullptr);
    if (!fetched) raiseMissing("MD5");
    return fetched;
  }();
  return method;
}

}  // namespace

std::array<std::uint8_t, 16> md5(std::string_view bytes) {
  std::array<std::uint8_t, 16> digest{};
  unsigned length = 0;
  if (!EVP_Digest(bytes.data(), bytes.size(), digest.data(), &length, md5Method(), nullptr))
    raiseMissing("MD5");
  return digest;
}

std::array<std::uint8_t, 32> hmacSha256(std::string_view key, std::string_view message) {
  std::array<std::uint8_t, 32> code{};
  std::size_t length = 0;
  // An empty key must still be given as one.
  if (!EVP_Q_mac(context(), OSSL_MAC_NAME_HMAC, nullptr, OSSL_DIGEST_NAME_SHA2_256, nullptr,
                 key.empty() ? "" : key.data(), key.size(),
                 reinterpret_cast<const unsigned char*>(message.data()), message.size(), code.data(),
                 code.size(), &length) ||
      length != code.size()) {
    raiseMissing("HMAC-SHA-256");
  }
  return code;
}

std::string hexString(const std::uint8_t* bytes, std::size_t count) {
  static constexpr char kDigits[] = "0123456789abcdef";
  std::string text(count * 2, '\0');
  char* out = text.data();
  for (const std::uint8_t* byte = bytes; byte != bytes + count; ++byte) {
    *out++ = kDigits[*byte >> 4];
    *out++ = kDigits[*byte & 15];
  }
  return text;
}

std::string UUIDString() {
  std::array<std::uint8_t, 16> bytes{};
  if (RAND_bytes_ex(context(), bytes.data(), bytes.size(), 0) != 1) raiseMissing("random bytes");
  return UUIDStringWithBytes(bytes.data());
}

std::string UUIDStringWithBytes(const std::uint8_t* sixteenBytes) {
  static constexpr char kDigits[] = "0123456789ABCDEF";
  std::array<std::uint8_t, 16> bytes{};
  std::memcpy(bytes.data(), sixteenBytes, bytes.size());
  bytes[6] = static_cast<std::uint8_t>((bytes[6] & 0x0F) | 0x40);  // version 4
  bytes[8] = static_cast<std::uint8_t>((bytes[8] & 0x3F) | 0x80);  // the variant of RFC 4122
  std::string text;
  text.reserve(36);
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    if (i == 4 || i == 6 || i == 8 || i == 10) text += '-';
    text += kDigits[bytes[i] >> 4];
    text += kDigits[bytes[i] & 15];
  }
  return text;
}

}  // namespace tidewell::base
