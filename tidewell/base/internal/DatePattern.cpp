// SPDX-License-Identifier: Apache-2.0
#include "tidewell/base/internal/DatePattern.h"

#include <algorithm>

#include "tidewell/base/internal/UrlSyntax.h"

namespace tidewell::base::detail {

namespace {

/// The last year that the platform's strict parser accepts.
constexpr std::int64_t kLastYear = 144683;

bool isBlank(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }

/// Removes leading white space; returns whether there was any.
bool skipBlanks(std::string_view& text) {
  const std::size_t size = text.size();
  while (!text.empty() && isBlank(text.front())) text.remove_prefix(1);
  return text.size() != size;
}

/// The characters with the Unicode property White_Space, in UTF-8.
constexpr std::string_view kWhiteSpace[] = {" ",
                                            "\t",
                                            "\n",
                                            "\v",
                                            "\f",
                                            "\r",
                                            "\xC2\x85",
                                            "\xC2\xA0",
                                            "\xE1\x9A\x80",
                                            "\xE2\x80\x80",
                                            "\xE2\x80\x81",
                                            "\xE2\x80\x82",
                                            "\xE2\x80\x83",
                                            "\xE2\x80\x84",
                                            "\xE2\x80\x85",
                                            "\xE2\x80\x86",
                                            "\xE2\x80\x87",
                                            "\xE2\x80\x88",
                                            "\xE2\x80\x89",
                                            "\xE2\x80\x8A",
                                            "\xE2\x80\xA8",
                                            "\xE2\x80\xA9",
                                            "\xE2\x80\xAF",
                                            "\xE2\x81\x9F",
                                            "\xE3\x80\x80"};

/// Removes a literal from the front of the text. Any run of white space matches any other; a text that ends
/// within the literal matches.
bool takeLiteral(std::string_view& text, std::string_view literal) {
  while (!literal.empty() && !text.empty()) {
    if (isBlank(literal.front())) {
      skipBlanks(literal);
      if (!skipBlanks(text)) return false;
    } else if (text.front() == literal.front()) {
      text.remove_prefix(1);
      literal.remove_prefix(1);
    } else {
      return false;
    }
  }
  return true;
}

/// Removes a number from the front of the text. Numbers beyond the range of every field are clamped.
std::optional<std::int64_t> takeNumber(std::string_view& text) {
  skipBlanks(text);
  if (text.empty() || !isAsciiDigit(text.front())) return std::nullopt;
  std::int64_t number = 0;
  while (!text.empty() && isAsciiDigit(text.front())) {
    number = std::min(number * 10 + (text.front() - '0'), kLastYear + 1);
    text.remove_prefix(1);
  }
  return number;
}

/// Removes the digits of a fraction of a second; truncates them to milliseconds.
std::optional<int> takeFraction(std::string_view& text) {
  skipBlanks(text);
  int digits = 0;
  int milliseconds = 0;
  while (!text.empty() && isAsciiDigit(text.front())) {
    if (digits < 3) milliseconds = milliseconds * 10 + (text.front() - '0');
    ++digits;
    text.remove_prefix(1);
  }
  if (digits == 0) return std::nullopt;
  for (; digits < 3; ++digits) milliseconds *= 10;
  return milliseconds;
}

void appendPadded(std::string& out, std::int64_t number, int width) {
  const std::string digits = std::to_string(number);
  if (digits.size() < static_cast<std::size_t>(width))
    out.append(static_cast<std::size_t>(width) - digits.size(), '0');
  out += digits;
}

bool isDateField(char field) { return field == 'y' || field == 'M' || field == 'd'; }

}  // namespace

std::string_view withoutWhiteSpace(std::string_view text) {
  for (bool again = true; again;) {
    again = false;
    for (const std::string_view space : kWhiteSpace) {
      if (text.starts_with(space)) {
        text.remove_prefix(space.size());
        again = true;
      }
      if (text.ends_with(space)) {
        text.remove_suffix(space.size());
        again = true;
      }
    }
  }
  return text;
}

bool DatePattern::append(std::vector<Item>& items, char letter, int width) {
  const bool known = std::string_view("yMdHmsS").find(letter) != std::string_view::npos;
  const bool numeric = letter != 'M' || width <= 2;             // MMM is a name
  const bool wholeYear = letter != 'y' || width != 2;           // yy is a year within a century
  const bool apart = items.empty() || items.back().field == 0;  // else two fields would share digits
  if (!known || !numeric || !wholeYear || !apart) return false;
  items.push_back({letter, width, {}, false});
  return true;
}

std::optional<DatePattern> DatePattern::parsed(std::string_view pattern) {
  DatePattern result;
  std::vector<Item>& items = result.items_;
  const auto appendLiteral = [&items](char c) {
    if (items.empty() || items.back().field != 0) items.emplace_back();
    items.back().literal += c;
  };
  bool quoted = false;
  for (std::size_t i = 0; i < pattern.size();) {
    const char c = pattern[i];
    if (c == '\'') {
      const bool doubled = i + 1 < pattern.size() && pattern[i + 1] == '\'';
      if (doubled) {
        appendLiteral('\'');
      } else {
        quoted = !quoted;
      }
      i += doubled ? 2 : 1;
    } else if (!quoted && isAsciiLetter(c)) {
      const std::size_t end = std::min(pattern.find_first_not_of(c, i), pattern.size());
      if (!append(items, c, static_cast<int>(end - i))) return std::nullopt;
      i = end;
    } else {
      appendLiteral(c);
      ++i;
    }
  }
  result.markDateSeparators();
  return result;
}

void DatePattern::markDateSeparators() {
  for (std::size_t i = 1; i + 1 < items_.size(); ++i) {
    items_[i].separatesDate =
        items_[i].literal == "-" && isDateField(items_[i - 1].field) && isDateField(items_[i + 1].field);
  }
}

std::string DatePattern::format(const WallClock& clock) const {
  std::string out;
  for (const Item& item : items_) {
    switch (item.field) {
      case 'y':
        appendPadded(out, clock.year, item.width);
        break;
      case 'M':
        appendPadded(out, clock.month, item.width);
        break;
      case 'd':
        appendPadded(out, clock.day, item.width);
        break;
      case 'H':
        appendPadded(out, clock.hour, item.width);
        break;
      case 'm':
        appendPadded(out, clock.minute, item.width);
        break;
      case 's':
        appendPadded(out, clock.second, item.width);
        break;
      case 'S': {
        std::string digits;
        appendPadded(digits, clock.millisecond, 3);
        digits.resize(static_cast<std::size_t>(item.width), '0');
        out += digits;
        break;
      }
      default:
        out += item.literal;
        break;
    }
  }
  return out;
}

std::optional<WallClock> DatePattern::read(std::string_view text) const {
  text = withoutWhiteSpace(text);
  if (text.empty()) return std::nullopt;
  WallClock clock;
  const auto takeField = [&text](int& field, int least, int most) {
    const auto number = takeNumber(text);
    if (!number || *number < least || *number > most) return false;
    field = static_cast<int>(*number);
    return true;
  };
  for (const Item& item : items_) {
    bool taken = false;
    switch (item.field) {
      case 'y': {
        const auto year = takeNumber(text);
        taken = year && *year >= 1 && *year <= kLastYear;
        if (taken) clock.year = *year;
        break;
      }
      case 'M':
        taken = takeField(clock.month, 1, 12);
        break;
      case 'd':
        taken = takeField(clock.day, 1, 31);
        break;
      case 'H':
        taken = takeField(clock.hour, 0, 23);
        break;
      case 'm':
        taken = takeField(clock.minute, 0, 59);
        break;
      case 's':
        taken = takeField(clock.second, 0, 59);
        break;
      case 'S': {
        const auto milliseconds = takeFraction(text);
        taken = milliseconds.has_value();
        if (taken) clock.millisecond = *milliseconds;
        break;
      }
      default:
        if (item.separatesDate && (text.starts_with('/') || text.starts_with('.'))) {
          text.remove_prefix(1);
          taken = true;
        } else {
          taken = takeLiteral(text, item.literal);
        }
        break;
    }
    if (!taken) return std::nullopt;
  }
  if (!text.empty()) return std::nullopt;
  return clock;
}

}  // namespace tidewell::base::detail
