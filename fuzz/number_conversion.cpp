// SPDX-License-Identifier: Apache-2.0
#include "Input.h"
#include "tidewell/base/internal/PercentEncoding.h"
#include "tidewell/base/internal/Unicode.h"

using namespace tidewell::base;
using fuzz::require;

namespace {

/// The rule of `boolValue`, implemented independently.
bool isTrueText(const std::string& text) {
  const std::size_t start = text.find_first_not_of(" \t\n\v\f\r");
  if (start == std::string::npos) return false;
  if (std::string("YyTt").find(text[start]) != std::string::npos) return true;
  const std::size_t digits = start + (text[start] == '+' || text[start] == '-');
  const std::size_t first = text.find_first_not_of('0', digits);
  return first != std::string::npos && text[first] >= '1' && text[first] <= '9';
}

}  // namespace

// Compares the numbers in a text with the C library's, and checks the conversions of the text itself.
void fuzz::check(std::string_view input) {
  const std::string text(input);
  const Value value(text);
  require(value.integerValue() == std::strtoll(text.c_str(), nullptr, 10));
  require(value.boolValue() == isTrueText(text));
  const bool isDecimal = text.find_first_of("xXnN") == std::string::npos;  // neither inf nor nan
  require(!isDecimal || value.doubleValue() == std::strtod(text.c_str(), nullptr));
  const HexScan scan = scanHexInt(text, input.size() % 3);
  require(scan.found || scan.value == 0);
  require(isValidUtf8(validUtf8(text)));
  require(utf8FromUtf16(utf16FromUtf8(text)) == validUtf8(text));
  require(utf16FromUtf8(text).size() == value.length());
  require(percentDecode(percentEncode(text, "")) == text);
}
