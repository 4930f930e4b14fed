// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "tidewell/base/Export.h"

namespace tidewell::base {

/// Whether the bytes are well-formed UTF-8 (Unicode 15, table 3-7).
[[nodiscard]] TIDEWELL_EXPORT bool isValidUtf8(std::string_view bytes) noexcept;
/// Converts UTF-8 to UTF-16; ill-formed sequences become U+FFFD, one per maximal subpart.
[[nodiscard]] TIDEWELL_EXPORT std::u16string utf16FromUtf8(std::string_view text);
/// Converts UTF-16 to UTF-8; unpaired surrogates become U+FFFD.
[[nodiscard]] TIDEWELL_EXPORT std::string utf8FromUtf16(std::u16string_view text);
/// Replaces every ill-formed sequence by U+FFFD.
[[nodiscard]] TIDEWELL_EXPORT std::string validUtf8(std::string_view bytes);
/// Whether a byte of well-formed UTF-8 continues a character.
constexpr bool continuesCharacter(char byte) noexcept {
  return (static_cast<unsigned char>(byte) & 0xC0) == 0x80;
}
/// The longest prefix of well-formed UTF-8 that ends between characters and has at most `bytes` bytes.
constexpr std::string_view prefixOfCharacters(std::string_view text, std::size_t bytes) noexcept {
  if (text.size() <= bytes) return text;
  while (bytes > 0 && continuesCharacter(text[bytes])) --bytes;
  return text.substr(0, bytes);
}
/// Control characters (C0, DEL, and C1 in UTF-8) as "\u001b" and the like, so that text from a server or a
/// file cannot control a terminal. Those in `kept` stay.
[[nodiscard]] TIDEWELL_EXPORT std::string withVisibleControls(std::string_view text, std::string_view kept);
/// The length of the text in UTF-16 code units.
[[nodiscard]] TIDEWELL_EXPORT std::size_t utf16Length(std::string_view text) noexcept;
/// The result of a scan for a hexadecimal integer.
struct HexScan {
  bool found = false;
  std::uint32_t value = 0;
  std::size_t position = 0;  ///< in UTF-16 code units, after what was consumed
};
/// Scans a hexadecimal integer from a UTF-16 position: white space is skipped, `0x` is optional, all digits
/// are consumed, and more than 32 bits read as 0xFFFFFFFF.
[[nodiscard]] TIDEWELL_EXPORT HexScan scanHexInt(std::string_view text, std::size_t fromUtf16Position);

}  // namespace tidewell::base
