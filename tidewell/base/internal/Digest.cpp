// SPDX-License-Identifier: Apache-2.0
#include "tidewell/base/internal/Digest.h"

#include <sys/random.h>
#include <unistd.h>

#include <algorithm>
#include <bit>
#include <cstring>
#include <exception>
#include <random>

#include "tidewell/base/Exception.h"
#include "tidewell/base/internal/Ascii.h"

namespace tidewell::base {
namespace {

constexpr std::size_t kBlockBytes = 64;

/// A 32-bit word of a message. MD5 reads words little-endian, SHA-256 big-endian.
std::uint32_t wordAt(const std::uint8_t* bytes, std::endian order) {
  std::uint32_t word;
  std::memcpy(&word, bytes, sizeof word);
  return order == std::endian::native ? word : __builtin_bswap32(word);
}

/// MD5 (RFC 1321, section 3.4).
struct Md5 {
  static constexpr std::endian kOrder = std::endian::little;
  std::array<std::uint32_t, 4> state = {0x67452301, 0xefcdab89, 0x98badcfe, 0x10325476};

  void take(const std::uint8_t* block) {
    std::uint32_t words[16];
    for (std::size_t i = 0; i < 16; ++i) words[i] = wordAt(block + 4 * i, kOrder);
    std::uint32_t a = state[0], b = state[1], c = state[2], d = state[3];
    const auto round = [&](std::size_t from, std::size_t first, std::size_t stride, const int(&shifts)[4],
                           auto mix) {
      const auto step = [&](std::uint32_t& to, std::uint32_t x, std::uint32_t y, std::uint32_t z,
                            std::size_t i) {
        to = x + std::rotl(to + mix(x, y, z) + words[(first + i * stride) % 16] + kSines[from + i],
                           shifts[i % 4]);
      };
      for (std::size_t i = 0; i < 16; i += 4) {
        step(a, b, c, d, i);
        step(d, a, b, c, i + 1);
        step(c, d, a, b, i + 2);
        step(b, c, d, a, i + 3);
      }
    };
    using Word = std::uint32_t;
    round(0, 0, 1, {7, 12, 17, 22}, [](Word x, Word y, Word z) { return z ^ (x & (y ^ z)); });
    round(16, 1, 5, {5, 9, 14, 20}, [](Word x, Word y, Word z) { return y ^ (z & (x ^ y)); });
    round(32, 5, 3, {4, 11, 16, 23}, [](Word x, Word y, Word z) { return x ^ y ^ z; });
    round(48, 0, 7, {6, 10, 15, 21}, [](Word x, Word y, Word z) { return y ^ (x | ~z); });
    state = {state[0] + a, state[1] + b, state[2] + c, state[3] + d};
  }

 private:
  static constexpr std::uint32_t kSines[64] = {
      0xd76aa478, 0xe8c7b756, 0x242070db, 0xc1bdceee, 0xf57c0faf, 0x4787c62a, 0xa8304613, 0xfd469501,
      0x698098d8, 0x8b44f7af, 0xffff5bb1, 0x895cd7be, 0x6b901122, 0xfd987193, 0xa679438e, 0x49b40821,
      0xf61e2562, 0xc040b340, 0x265e5a51, 0xe9b6c7aa, 0xd62f105d, 0x02441453, 0xd8a1e681, 0xe7d3fbc8,
      0x21e1cde6, 0xc33707d6, 0xf4d50d87, 0x455a14ed, 0xa9e3e905, 0xfcefa3f8, 0x676f02d9, 0x8d2a4c8a,
      0xfffa3942, 0x8771f681, 0x6d9d6122, 0xfde5380c, 0xa4beea44, 0x4bdecfa9, 0xf6bb4b60, 0xbebfbc70,
      0x289b7ec6, 0xeaa127fa, 0xd4ef3085, 0x04881d05, 0xd9d4d039, 0xe6db99e5, 0x1fa27cf8, 0xc4ac5665,
      0xf4292244, 0x432aff97, 0xab9423a7, 0xfc93a039, 0x655b59c3, 0x8f0ccc92, 0xffeff47d, 0x85845dd1,
      0x6fa87e4f, 0xfe2ce6e0, 0xa3014314, 0x4e0811a1, 0xf7537e82, 0xbd3af235, 0x2ad7d2bb, 0xeb86d391,
  };
};

/// SHA-256 (FIPS 180-4, section 6.2).
struct Sha256 {
  static constexpr std::endian kOrder = std::endian::big;
  std::array<std::uint32_t, 8> state = {0x6a09e667, 0xbb67ae85, 0x3c6ef372, 0xa54ff53a,
                                        0x510e527f, 0x9b05688c, 0x1f83d9ab, 0x5be0cd19};

  void take(const std::uint8_t* block) {
    std::uint32_t words[64];
    for (std::size_t i = 0; i < 16; ++i) words[i] = wordAt(block + 4 * i, kOrder);
    for (std::size_t i = 16; i < 64; ++i) {
      const std::uint32_t near = words[i - 2], far = words[i - 15];
      words[i] = words[i - 16] + (std::rotr(far, 7) ^ std::rotr(far, 18) ^ (far >> 3)) + words[i - 7] +
                 (std::rotr(near, 17) ^ std::rotr(near, 19) ^ (near >> 10));
    }
    auto [a, b, c, d, e, f, g, h] = state;
    for (std::size_t i = 0; i < 64; ++i) {
      const std::uint32_t first = h + (std::rotr(e, 6) ^ std::rotr(e, 11) ^ std::rotr(e, 25)) +
                                  (g ^ (e & (f ^ g))) + kRoots[i] + words[i];
      const std::uint32_t second =
          (std::rotr(a, 2) ^ std::rotr(a, 13) ^ std::rotr(a, 22)) + ((a & b) | (c & (a | b)));
      h = g;
      g = f;
      f = e;
      e = d + first;
      d = c;
      c = b;
      b = a;
      a = first + second;
    }
    const std::uint32_t added[] = {a, b, c, d, e, f, g, h};
    for (std::size_t i = 0; i < state.size(); ++i) state[i] += added[i];
  }

 private:
  static constexpr std::uint32_t kRoots[64] = {
      0x428a2f98, 0x71374491, 0xb5c0fbcf, 0xe9b5dba5, 0x3956c25b, 0x59f111f1, 0x923f82a4, 0xab1c5ed5,
      0xd807aa98, 0x12835b01, 0x243185be, 0x550c7dc3, 0x72be5d74, 0x80deb1fe, 0x9bdc06a7, 0xc19bf174,
      0xe49b69c1, 0xefbe4786, 0x0fc19dc6, 0x240ca1cc, 0x2de92c6f, 0x4a7484aa, 0x5cb0a9dc, 0x76f988da,
      0x983e5152, 0xa831c66d, 0xb00327c8, 0xbf597fc7, 0xc6e00bf3, 0xd5a79147, 0x06ca6351, 0x14292967,
      0x27b70a85, 0x2e1b2138, 0x4d2c6dfc, 0x53380d13, 0x650a7354, 0x766a0abb, 0x81c2c92e, 0x92722c85,
      0xa2bfe8a1, 0xa81a664b, 0xc24b8b70, 0xc76c51a3, 0xd192e819, 0xd6990624, 0xf40e3585, 0x106aa070,
      0x19a4c116, 0x1e376c08, 0x2748774c, 0x34b0bcb5, 0x391c0cb3, 0x4ed8aa4a, 0x5b9cca4f, 0x682e6ff3,
      0x748f82ee, 0x78a5636f, 0x84c87814, 0x8cc70208, 0x90befffa, 0xa4506ceb, 0xbef9a3f7, 0xc67178f2,
  };
};

/// The digest of a prefix of whole blocks followed by a message.
template <class Digest>
auto digestOf(std::string_view prefix, std::string_view message) noexcept {
  Digest digest;
  const std::uint64_t bits = 8 * (std::uint64_t{prefix.size()} + message.size());
  for (std::string_view* const part : {&prefix, &message}) {
    for (; part->size() >= kBlockBytes; part->remove_prefix(kBlockBytes))
      digest.take(reinterpret_cast<const std::uint8_t*>(part->data()));
  }
  // The rest, a one bit, zeros, and the length in bits, in one or two blocks.
  std::array<std::uint8_t, 2 * kBlockBytes> end{};
  std::copy(message.begin(), message.end(), end.begin());
  end[message.size()] = 0x80;
  const std::size_t size = message.size() + 9 > kBlockBytes ? end.size() : kBlockBytes;
  for (std::size_t i = 0; i < 8; ++i) {
    const std::size_t shift = 8 * (Digest::kOrder == std::endian::little ? i : 7 - i);
    end[size - 8 + i] = static_cast<std::uint8_t>(bits >> shift);
  }
  for (std::size_t at = 0; at < size; at += kBlockBytes) digest.take(end.data() + at);
  std::array<std::uint8_t, sizeof digest.state> result;
  for (std::size_t i = 0; i < digest.state.size(); ++i) {
    const std::uint32_t word =
        Digest::kOrder == std::endian::native ? digest.state[i] : __builtin_bswap32(digest.state[i]);
    std::memcpy(result.data() + 4 * i, &word, sizeof word);
  }
  return result;
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

std::array<std::uint8_t, 16> md5(std::string_view bytes) noexcept { return digestOf<Md5>({}, bytes); }

std::array<std::uint8_t, 32> hmacSha256(std::string_view key, std::string_view message) noexcept {
  const auto textOf = [](const auto& bytes) {
    return std::string_view(reinterpret_cast<const char*>(bytes.data()), bytes.size());
  };
  std::array<std::uint8_t, 32> shortKey{};
  if (key.size() > kBlockBytes) {
    shortKey = digestOf<Sha256>({}, key);
    key = textOf(shortKey);
  }
  std::array<std::uint8_t, kBlockBytes> inner;
  std::array<std::uint8_t, kBlockBytes> outer;
  inner.fill(0x36);
  outer.fill(0x5C);
  for (std::size_t i = 0; i < key.size(); ++i) {
    inner[i] = static_cast<std::uint8_t>(inner[i] ^ static_cast<unsigned char>(key[i]));
    outer[i] = static_cast<std::uint8_t>(outer[i] ^ static_cast<unsigned char>(key[i]));
  }
  return digestOf<Sha256>(textOf(outer), textOf(digestOf<Sha256>(textOf(inner), message)));
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
