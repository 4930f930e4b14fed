// SPDX-License-Identifier: Apache-2.0
#include "tidewell/base/internal/Base64.h"

#include "tidewell/base/internal/Ascii.h"

namespace tidewell::base {
namespace {

int digitValue(char c) {
  if (c >= 'A' && c <= 'Z') return c - 'A';
  if (c >= 'a' && c <= 'z') return c - 'a' + 26;
  if (detail::isAsciiDigit(c)) return c - '0' + 52;
  if (c == '+') return 62;
  return c == '/' ? 63 : -1;
}

}  // namespace

std::string base64(std::string_view bytes) {
  constexpr std::string_view kDigits = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::string out;
  out.reserve((bytes.size() + 2) / 3 * 4);
  for (std::size_t i = 0; i < bytes.size(); i += 3) {
    const std::string_view group = bytes.substr(i, 3);
    unsigned bits = 0;
    for (std::size_t k = 0; k < 3; ++k) {
      bits = bits << 8u | (k < group.size() ? static_cast<unsigned char>(group[k]) : 0u);
    }
    for (std::size_t k = 0; k < 4; ++k) {
      out += k <= group.size() ? kDigits[bits >> (18 - 6 * k) & 0x3fu] : '=';
    }
  }
  return out;
}

std::optional<std::string> bytesInBase64(std::string_view text) {
  std::string bytes;
  bytes.reserve(text.size() / 4 * 3);
  unsigned bits = 0;
  int digits = 0;
  bool padded = false;
  for (const char c : text) {
    if (c == ' ' || c == '\t' || c == '\r' || c == '\n') continue;
    if (c == '=') {
      padded = true;
      continue;
    }
    const int digit = digitValue(c);
    if (digit < 0 || padded) return {};
    bits = (bits << 6u | static_cast<unsigned>(digit)) & 0xffffffu;
    if (++digits % 4 != 1)
      bytes += static_cast<char>(bits >> (digits % 4 == 2 ? 4u : digits % 4 == 3 ? 2u : 0u));
  }
  if (digits % 4 == 1) return {};
  return bytes;
}

}  // namespace tidewell::base
