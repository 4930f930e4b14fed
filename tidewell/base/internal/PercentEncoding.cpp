// SPDX-License-Identifier: Apache-2.0
#include "tidewell/base/internal/PercentEncoding.h"

#include <algorithm>

#include "tidewell/base/internal/Ascii.h"
#include "tidewell/base/internal/UrlSyntax.h"

namespace tidewell::base {
namespace {

void appendEncoded(std::string& out, char c) {
  out += '%';
  detail::appendHex(out, static_cast<unsigned char>(c), detail::kUpperHexDigits);
}

}  // namespace

void detail::appendPercentEncoded(std::string& out, std::string_view text, const CharacterSet& keep) {
  while (!text.empty()) {
    const auto change = std::find_if_not(text.begin(), text.end(), [&](char c) { return keep.contains(c); });
    const auto length = static_cast<std::size_t>(change - text.begin());
    out.append(text.substr(0, length));
    text.remove_prefix(length);
    if (text.empty()) break;
    appendEncoded(out, text.front());
    text.remove_prefix(1);
  }
}

std::string percentEncode(std::string_view text, std::string_view keep) {
  std::string encoded;
  encoded.reserve(text.size());
  detail::appendPercentEncoded(encoded, text, detail::kUnreserved.with(keep));
  return encoded;
}

std::string percentDecode(std::string_view text) {
  std::string decoded;
  decoded.reserve(text.size());
  for (std::size_t at = 0; at < text.size(); ++at) {
    const int high = text[at] == '%' && at + 2 < text.size() ? detail::hexValue(text[at + 1]) : -1;
    const int low = high >= 0 ? detail::hexValue(text[at + 2]) : -1;
    if (low >= 0) {
      decoded += static_cast<char>(static_cast<unsigned char>(high * 16 + low));
      at += 2;
    } else {
      decoded += text[at];
    }
  }
  return decoded;
}

std::string fileNameForIdentifier(std::string_view identifier) {
  std::string name = percentEncode(identifier, "");
  if (!name.empty() && name.front() == '.') name.replace(0, 1, "%2E");
  return name;
}

}  // namespace tidewell::base
