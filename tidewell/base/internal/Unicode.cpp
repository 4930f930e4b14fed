// SPDX-License-Identifier: Apache-2.0
#include "tidewell/base/internal/Unicode.h"

#include <unicode/utf8.h>

#include <algorithm>
#include <cstddef>
#include <cstring>

#include "tidewell/base/internal/Ascii.h"

namespace tidewell::base {
namespace {

constexpr char32_t kReplacement = 0xFFFD;

/// The number of consecutive ASCII bytes at `from`.
std::size_t asciiRun(std::string_view text, std::size_t from) noexcept {
  std::size_t at = from;
  for (; at + 8 <= text.size(); at += 8) {
    std::uint64_t word;
    std::memcpy(&word, text.data() + at, 8);
    if (word & 0x8080808080808080ull) break;
  }
  while (at < text.size() && static_cast<unsigned char>(text[at]) < 0x80) ++at;
  return at - from;
}

/// Decodes the character at `at` and advances past it. Returns a negative number for an ill-formed sequence
/// and advances past one maximal subpart.
std::int32_t next(std::string_view text, std::size_t& at) noexcept {
  const auto* bytes = reinterpret_cast<const std::uint8_t*>(text.data());
  std::int32_t character;
  U8_NEXT(bytes, at, text.size(), character);
  return character;
}

void appendUtf8(std::string& out, char32_t c) {
  auto put = [&out](char32_t byte) { out += static_cast<char>(static_cast<unsigned char>(byte)); };
  if (c < 0x80) {
    put(c);
  } else if (c < 0x800) {
    put(0xC0 | c >> 6);
    put(0x80 | (c & 0x3F));
  } else if (c < 0x10000) {
    put(0xE0 | c >> 12);
    put(0x80 | (c >> 6 & 0x3F));
    put(0x80 | (c & 0x3F));
  } else {
    put(0xF0 | c >> 18);
    put(0x80 | (c >> 12 & 0x3F));
    put(0x80 | (c >> 6 & 0x3F));
    put(0x80 | (c & 0x3F));
  }
}

bool isLead(char16_t unit) { return unit >= 0xD800 && unit < 0xDC00; }
bool isTrail(char16_t unit) { return unit >= 0xDC00 && unit < 0xE000; }

int hexDigitValue(char16_t c) { return c < 0x80 ? detail::hexValue(static_cast<char>(c)) : -1; }
/// The characters that the scanner skips: white space and line ends.
bool isScannerSpace(char16_t c) {
  return c == ' ' || (c >= 0x09 && c <= 0x0D) || c == 0x85 || c == 0xA0 || c == 0x1680 ||
         (c >= 0x2000 && c <= 0x200A) || c == 0x2028 || c == 0x2029 || c == 0x202F || c == 0x205F ||
         c == 0x3000;
}

}  // namespace

bool isValidUtf8(std::string_view bytes) noexcept {
  std::size_t at = 0;
  while (true) {
    at += asciiRun(bytes, at);
    if (at == bytes.size()) return true;
    if (next(bytes, at) < 0) return false;
  }
}

std::u16string utf16FromUtf8(std::string_view text) {
  std::u16string units;
  units.reserve(text.size());
  for (std::size_t at = 0; at < text.size();) {
    if (const std::size_t run = asciiRun(text, at)) {
      const std::size_t end = units.size();
      units.resize(end + run);
      std::copy_n(text.begin() + static_cast<std::ptrdiff_t>(at), run,
                  units.begin() + static_cast<std::ptrdiff_t>(end));
      at += run;
      continue;
    }
    const std::int32_t decoded = next(text, at);
    const char32_t c = decoded < 0 ? kReplacement : static_cast<char32_t>(decoded);
    if (c < 0x10000) {
      units += static_cast<char16_t>(c);
    } else {
      units += static_cast<char16_t>(0xD7C0 + (c >> 10));
      units += static_cast<char16_t>(0xDC00 + (c & 0x3FF));
    }
  }
  return units;
}

std::string utf8FromUtf16(std::u16string_view text) {
  std::string bytes;
  bytes.reserve(text.size());
  for (std::size_t at = 0; at < text.size(); ++at) {
    const char16_t unit = text[at];
    if (isLead(unit) && at + 1 < text.size() && isTrail(text[at + 1])) {
      const char32_t high = unit;
      const char32_t low = text[++at];
      appendUtf8(bytes, 0x10000 + ((high - 0xD800) << 10) + (low - 0xDC00));
    } else {
      appendUtf8(bytes, isLead(unit) || isTrail(unit) ? kReplacement : unit);
    }
  }
  return bytes;
}

std::string validUtf8(std::string_view bytes) {
  if (isValidUtf8(bytes)) return std::string(bytes);
  std::string text;
  text.reserve(bytes.size());
  for (std::size_t at = 0; at < bytes.size();) {
    const std::int32_t decoded = next(bytes, at);
    appendUtf8(text, decoded < 0 ? kReplacement : static_cast<char32_t>(decoded));
  }
  return text;
}

std::size_t utf16Length(std::string_view text) noexcept {
  std::size_t length = 0;
  for (std::size_t at = 0; at < text.size();) {
    if (const std::size_t ascii = asciiRun(text, at)) {
      at += ascii;
      length += ascii;
      continue;
    }
    length += next(text, at) >= 0x10000 ? 2 : 1;
  }
  return length;
}

HexScan scanHexInt(std::string_view text, std::size_t fromUtf16Position) {
  const std::u16string units = utf16FromUtf8(text);
  HexScan scan;
  scan.position = fromUtf16Position;
  std::size_t at = fromUtf16Position;
  while (at < units.size() && isScannerSpace(units[at])) ++at;
  // A prefix without a following digit is not a prefix; its 0 is the number.
  if (at + 2 < units.size() && units[at] == '0' && (units[at + 1] | 0x20) == 'x' &&
      hexDigitValue(units[at + 2]) >= 0) {
    at += 2;
  }
  std::uint64_t value = 0;
  for (; at < units.size() && hexDigitValue(units[at]) >= 0; ++at) {
    value = value * 16 + static_cast<unsigned>(hexDigitValue(units[at]));
    if (value > 0xFFFFFFFFu) value = 0xFFFFFFFFu;
    scan.found = true;
    scan.position = at + 1;
  }
  scan.value = static_cast<std::uint32_t>(value);
  return scan;
}

std::string withVisibleControls(std::string_view text, std::string_view kept) {
  std::string visible;
  visible.reserve(text.size() + text.size() / 8);
  for (std::size_t i = 0; i < text.size(); ++i) {
    auto byte = static_cast<unsigned char>(text[i]);
    const auto next = static_cast<unsigned char>(i + 1 < text.size() ? text[i + 1] : 0);
    const bool isC1 = byte == 0xc2 && next >= 0x80 && next <= 0x9f;
    const bool isC0 = (byte < 0x20 && kept.find(text[i]) == kept.npos) || byte == 0x7f;
    if (isC1) {
      byte = next;
      ++i;
    }
    if (isC1 || isC0) {
      detail::appendHex(visible.append("\\u00"), byte);
    } else {
      visible += static_cast<char>(byte);
    }
  }
  return visible;
}

}  // namespace tidewell::base
