// SPDX-License-Identifier: Apache-2.0
#include "tidewell/base/formats/TextFormat.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <new>
#include <utility>

#include "tidewell/base/internal/Ascii.h"
#include "tidewell/base/internal/NumberText.h"
#include "tidewell/base/internal/Unicode.h"

namespace tidewell::base {
namespace {

/// A parsed conversion, from the per cent sign to its letter.
struct Conversion {
  bool left = false;
  bool plus = false;
  bool blank = false;
  bool zero = false;
  bool alternate = false;
  int width = 0;
  int precision = -1;  // -1 if not given
  int bits = 32;       // the size of an integer argument
  char letter = 0;     // 0 if the format ended early
};

class Formatter {
 public:
  Formatter(std::string_view format, const Value* arguments, std::size_t count)
      : format_(format), argument_(arguments), end_(arguments + count) {}

  std::string text() {
    out_.reserve(format_.size() + lengthOfStrings());
    std::size_t at = 0;
    while (true) {
      const std::size_t percent = format_.find('%', at);
      out_.append(format_.substr(at, percent - at));
      if (percent == std::string_view::npos) return std::move(out_);
      // Fast path for by far the most frequent conversion.
      if (percent + 1 < format_.size() && format_[percent + 1] == '@') {
        next().appendDescription(out_);
        at = percent + 2;
        continue;
      }
      at = percent + 1;
      const Conversion conversion = parse(at);
      if (!append(conversion)) out_.append(format_.substr(percent, at - percent));
    }
  }

 private:
  [[nodiscard]] std::size_t lengthOfStrings() const {
    std::size_t length = 0;
    for (const Value* argument = argument_; argument != end_; ++argument) {
      if (const std::string* text = argument->string()) length += text->size();
    }
    return length;
  }

  const Value& next() {
    static const Value nil;
    return argument_ == end_ ? nil : *argument_++;
  }

  /// Parses a conversion at `at` and advances `at` past it.
  Conversion parse(std::size_t& at) {
    Conversion conversion;
    for (; at < format_.size(); ++at) {
      const char c = format_[at];
      if (c == '-') {
        conversion.left = true;
      } else if (c == '+') {
        conversion.plus = true;
      } else if (c == ' ') {
        conversion.blank = true;
      } else if (c == '0') {
        conversion.zero = true;
      } else if (c == '#') {
        conversion.alternate = true;
      } else {
        break;
      }
    }
    conversion.width = parseNumber(at);
    if (conversion.width < 0) {
      conversion.left = true;
      conversion.width = -conversion.width;
    }
    if (at < format_.size() && format_[at] == '.') {
      ++at;
      conversion.precision = std::max(parseNumber(at), -1);
    }
    parseLength(at, conversion);
    if (at < format_.size()) conversion.letter = format_[at++];
    return conversion;
  }

  /// Parses and clamps a width or precision; an asterisk takes it from the arguments.
  int parseNumber(std::size_t& at) {
    if (at < format_.size() && format_[at] == '*') {
      ++at;
      const std::int64_t number = next().integerValue();
      return static_cast<int>(std::clamp<std::int64_t>(number, -kMaximumFormatWidth, kMaximumFormatWidth));
    }
    int number = 0;
    for (; at < format_.size() && detail::isAsciiDigit(format_[at]); ++at) {
      number = std::min(number * 10 + (format_[at] - '0'), kMaximumFormatWidth);
    }
    return number;
  }

  void parseLength(std::size_t& at, Conversion& conversion) {
    for (; at < format_.size(); ++at) {
      switch (format_[at]) {
        case 'h':
          conversion.bits = conversion.bits == 16 ? 8 : 16;
          break;
        case 'l':
        case 'q':
        case 'z':
        case 't':
        case 'j':
          conversion.bits = 64;
          break;
        case 'L':
          break;
        default:
          return;
      }
    }
  }

  /// Returns whether the conversion is supported.
  bool append(const Conversion& conversion) {
    switch (conversion.letter) {
      case '%':
        out_ += '%';
        return true;
      case '@':
      case 's':
        appendPadded(conversion, cut(next().description(), conversion.precision));
        return true;
      case 'd':
      case 'i':
      case 'D':
        appendSigned(conversion, next().integerValue());
        return true;
      case 'u':
      case 'U':
        appendUnsigned(conversion, 10, "");
        return true;
      case 'x':
        appendUnsigned(conversion, 16, "0x");
        return true;
      case 'X':
        appendUnsigned(conversion, 16, "0X");
        return true;
      case 'o':
        appendUnsigned(conversion, 8, "0");
        return true;
      case 'c':
        appendCharacter(conversion);
        return true;
      case 'e':
      case 'E':
      case 'f':
      case 'F':
      case 'g':
      case 'G':
      case 'a':
      case 'A':
        appendReal(conversion, next().doubleValue());
        return true;
      case 'p':
        appendPointer(conversion);
        return true;
      default:
        return false;
    }
  }

  /// The text truncated to `precision` characters; a negative precision keeps all.
  static std::string cut(std::string text, int precision) {
    if (precision < 0) return text;
    std::size_t at = 0;
    for (; precision > 0 && at < text.size(); --precision) {
      ++at;
      while (at < text.size() && continuesCharacter(text[at])) ++at;
    }
    text.resize(at);
    return text;
  }

  void appendPadded(const Conversion& conversion, std::string_view text) {
    const std::size_t length = utf16Length(text);
    const auto width = static_cast<std::size_t>(conversion.width);
    const std::size_t padding = width > length ? width - length : 0;
    if (!conversion.left) out_.append(padding, ' ');
    out_ += text;
    if (conversion.left) out_.append(padding, ' ');
  }

  static constexpr std::size_t kUsualDigits = 40;
  enum class Filling { blanks, zeros };
  static Filling fillingOfInteger(const Conversion& conversion) {
    return conversion.zero && conversion.precision < 0 ? Filling::zeros : Filling::blanks;
  }

  /// Appends a number; zero padding goes between its prefix and its digits.
  void appendNumber(const Conversion& conversion, std::string_view prefix, std::string_view digits,
                    Filling filling) {
    const std::size_t length = prefix.size() + digits.size();
    const auto width = static_cast<std::size_t>(conversion.width);
    const std::size_t padding = width > length ? width - length : 0;
    const bool zeros = filling == Filling::zeros && !conversion.left;
    if (!conversion.left && !zeros) out_.append(padding, ' ');
    out_ += prefix;
    if (zeros) out_.append(padding, '0');
    out_ += digits;
    if (conversion.left) out_.append(padding, ' ');
  }

  static std::string withPrecision(std::string digits, int precision) {
    if (precision == 0 && digits == "0") return "";
    if (precision > 0 && digits.size() < static_cast<std::size_t>(precision)) {
      digits.insert(0, static_cast<std::size_t>(precision) - digits.size(), '0');
    }
    return digits;
  }

  static std::string_view signOf(const Conversion& conversion, bool negative) {
    if (negative) return "-";
    if (conversion.plus) return "+";
    return conversion.blank ? " " : "";
  }

  void appendSigned(const Conversion& conversion, std::int64_t value) {
    if (conversion.bits == 32) value = static_cast<std::int32_t>(value);
    if (conversion.bits == 16) value = static_cast<std::int16_t>(value);
    if (conversion.bits == 8) value = static_cast<std::int8_t>(value);
    const auto bits = static_cast<std::uint64_t>(value);
    std::string digits;
    appendInteger(digits, value < 0 ? 0 - bits : bits);
    appendNumber(conversion, signOf(conversion, value < 0), withPrecision(digits, conversion.precision),
                 fillingOfInteger(conversion));
  }

  void appendUnsigned(const Conversion& conversion, int base, std::string_view prefix) {
    auto value = static_cast<std::uint64_t>(next().integerValue());
    if (conversion.bits < 64) value &= (std::uint64_t{1} << conversion.bits) - 1;
    std::string digits;
    appendInteger(digits, value, base);
    if (prefix == "0X") {
      for (char& digit : digits)
        if (digit >= 'a') digit = static_cast<char>(digit - 'a' + 'A');
    }
    digits = withPrecision(std::move(digits), conversion.precision);
    // The leading zero of an octal number counts as one of its digits.
    const bool needsPrefix = prefix == "0" ? digits.substr(0, 1) != "0" : value != 0;
    appendNumber(conversion, conversion.alternate && needsPrefix ? prefix : "", digits,
                 fillingOfInteger(conversion));
  }

  /// Appends the character with that code, or the first character of a text.
  void appendCharacter(const Conversion& conversion) {
    const Value& argument = next();
    if (argument.string()) {
      appendPadded(conversion, cut(*argument.string(), 1));
      return;
    }
    const auto unit = static_cast<char16_t>(argument.integerValue());
    appendPadded(conversion, utf8FromUtf16(std::u16string_view(&unit, 1)));
  }

  void appendReal(const Conversion& conversion, double value) {
    const std::string_view sign = signOf(conversion, std::signbit(value));
    const double magnitude = std::fabs(value);
    if (!std::isfinite(value)) {
      const bool upper = conversion.letter < 'a';
      const std::string_view name = std::isnan(value) ? (upper ? "NAN" : "nan") : (upper ? "INF" : "inf");
      appendNumber(conversion, sign, name, Filling::blanks);
      return;
    }
    const bool hexadecimal = (conversion.letter | 0x20) == 'a';
    const char pattern[] = {'%', conversion.alternate ? '#' : '-', '.', '*', conversion.letter, '\0'};
    const int precision = conversion.precision < 0 && !hexadecimal ? 6 : conversion.precision;
    std::string digits(kUsualDigits, '\0');
    const auto print = [&] {
      return std::snprintf(digits.data(), digits.size() + 1, pattern, precision, magnitude);
    };
    int length = inCLocale(print);
    if (length > static_cast<int>(kUsualDigits)) {
      digits.resize(static_cast<std::size_t>(length));
      length = inCLocale(print);
    }
    if (length < 0) throw std::bad_alloc();
    digits.resize(static_cast<std::size_t>(length));
    appendNumber(conversion, sign, digits, conversion.zero ? Filling::zeros : Filling::blanks);
  }

  void appendPointer(const Conversion& conversion) {
    const Value& argument = next();
    const void* address = nullptr;
    if (const BoxedPointer* boxed = argument.pointer()) {
      address = boxed->address;
    } else if (const ObjectHandle* object = argument.object()) {
      address = object->object.get();
    } else if (argument.isNumber()) {
      address = reinterpret_cast<const void*>(static_cast<std::uintptr_t>(argument.integerValue()));
    }
    std::string text;
    appendAddress(text, address);
    appendPadded(conversion, text);
  }

  std::string_view format_;
  const Value* argument_;
  const Value* end_;
  std::string out_;
};

}  // namespace

std::string stringWithFormat(std::string_view format, const Value* arguments, std::size_t count) {
  return Formatter(format, arguments, count).text();
}

std::string stringWithFormat(std::string_view format, std::initializer_list<Value> arguments) {
  return stringWithFormat(format, arguments.begin(), arguments.size());
}

}  // namespace tidewell::base
