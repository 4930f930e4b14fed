// SPDX-License-Identifier: Apache-2.0
#include "tidewell/base/internal/NumberText.h"

#include <cmath>
#include <cstdlib>
#include <limits>

#include "tidewell/base/internal/Ascii.h"

namespace tidewell::base {
namespace {

bool isSpace(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }
bool isSign(char c) { return c == '+' || c == '-'; }

std::string_view withoutLeadingSpace(std::string_view text) {
  while (!text.empty() && isSpace(text.front())) text.remove_prefix(1);
  return text;
}

std::size_t countDigits(std::string_view text, std::size_t from) {
  std::size_t at = from;
  while (at < text.size() && detail::isAsciiDigit(text[at])) ++at;
  return at - from;
}

/// The length of the decimal number at the start: sign, digits, fraction, exponent.
std::size_t realLength(std::string_view text) {
  std::size_t at = !text.empty() && isSign(text.front()) ? 1 : 0;
  const std::size_t whole = countDigits(text, at);
  at += whole;
  std::size_t fraction = 0;
  if (at < text.size() && text[at] == '.') {
    fraction = countDigits(text, at + 1);
    if (whole + fraction > 0) at += 1 + fraction;
  }
  if (whole + fraction == 0) return 0;
  if (at < text.size() && (text[at] == 'e' || text[at] == 'E')) {
    std::size_t exponent = at + 1;
    if (exponent < text.size() && isSign(text[exponent])) ++exponent;
    if (const std::size_t digits = countDigits(text, exponent)) at = exponent + digits;
  }
  return at;
}

}  // namespace

std::int64_t leadingInteger(std::string_view text) noexcept {
  constexpr std::uint64_t kLargest = std::numeric_limits<std::int64_t>::max();
  text = withoutLeadingSpace(text);
  const bool negative = !text.empty() && text.front() == '-';
  if (!text.empty() && isSign(text.front())) text.remove_prefix(1);
  const std::uint64_t limit = negative ? kLargest + 1 : kLargest;
  std::uint64_t magnitude = 0;
  for (; !text.empty() && detail::isAsciiDigit(text.front()); text.remove_prefix(1)) {
    const auto digit = static_cast<std::uint64_t>(text.front() - '0');
    if (magnitude > (limit - digit) / 10) {
      magnitude = limit;
      break;
    }
    magnitude = magnitude * 10 + digit;
  }
  return static_cast<std::int64_t>(negative ? 0 - magnitude : magnitude);
}

bool leadingBoolean(std::string_view text) noexcept {
  text = withoutLeadingSpace(text);
  if (text.empty()) return false;
  if (std::string_view("YyTt").find(text.front()) != std::string_view::npos) return true;
  if (isSign(text.front())) text.remove_prefix(1);
  while (!text.empty() && text.front() == '0') text.remove_prefix(1);
  return !text.empty() && detail::isAsciiDigit(text.front());
}

double leadingReal(std::string_view text) {
  text = withoutLeadingSpace(text);
  const std::string number(text.substr(0, realLength(text)));
  return number.empty() ? 0 : realAt(number.c_str());
}

locale_t cLocale() noexcept {
  static const locale_t locale = newlocale(LC_ALL_MASK, "C", nullptr);
  return locale;
}

double realAt(const char* text) noexcept { return strtod_l(text, nullptr, cLocale()); }

void appendReal(std::string& out, double real, int digits) {
  char text[64];
  out.append(text, std::to_chars(text, text + sizeof text, real, std::chars_format::general, digits).ptr);
}

void appendShortestReal(std::string& out, double real) {
  const double size = std::fabs(real);
  const bool isFixed = size == 0 || (size >= 1e-4 && size < 1e16);
  char text[64];
  out.append(text, std::to_chars(text, text + sizeof text, real,
                                 isFixed ? std::chars_format::fixed : std::chars_format::scientific)
                       .ptr);
}

void appendAddress(std::string& out, const void* address) {
  appendInteger(out.append("0x"), reinterpret_cast<std::uintptr_t>(address), 16);
}

}  // namespace tidewell::base
