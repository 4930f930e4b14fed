// SPDX-License-Identifier: Apache-2.0
#include "tidewell/base/internal/PatternCost.h"

#include <algorithm>
#include <array>
#include <string>

#include "tidewell/base/internal/Ascii.h"

namespace tidewell::base {
namespace {

// Times in nanoseconds.
constexpr std::uint64_t kExpression = 5000;
constexpr std::uint64_t kByte = 200;
/// For each preceding byte, a quantifier for which ICU moves the program compiled so far.
constexpr std::uint64_t kMoveOfByte = 10;
/// Measuring the length of a look-behind, for each byte that it may contain.
constexpr std::uint64_t kMeasureOfByte = 8;
constexpr std::uint64_t kSet = 8000;
constexpr std::uint64_t kClassInSet = 30000;
constexpr std::uint64_t kNamedCharacter = 220000;
constexpr std::uint64_t kCategory = 70000;
/// Any other property: its first use in a process loads the property's tables.
constexpr std::uint64_t kProperty = 4000000;
constexpr std::uint64_t kSegmentProperty = 15000000;
constexpr std::uint64_t kEmojiSequences = 45000000;
/// Closing a set over case: adding the other case of every character.
constexpr std::uint64_t kCloseWords = 600000;
constexpr std::uint64_t kCloseAll = 4500000;
/// The scan stops at this cost.
constexpr std::uint64_t kScanLimit = 50000000;

// Sizes in bytes.
constexpr std::size_t kExpressionBytes = 1700;
constexpr std::size_t kBytesOfByte = 40;
constexpr std::size_t kSetBytes = 1250;
constexpr std::size_t kCategoryBytes = 7500;
constexpr std::size_t kPropertyBytes = 48000;
constexpr std::size_t kStartBytes = 8000;
constexpr std::size_t kStartWithManyBytes = 34500;

constexpr std::string_view kCategories =
    " l lu ll lt lm lo lc m mn me mc n nd nl no z zs zl zp c cc cf cn co cs p pc pd ps pe pi pf po s sm sc "
    "sk so ";

constexpr bool isOneOf(char c, std::string_view characters) {
  return characters.find(c) != std::string_view::npos;
}
using detail::isAsciiDigit;

/// The characters handled by `Scan::step`.
constexpr std::array<bool, 256> kIsCounted = [] {
  std::array<bool, 256> counted{};
  for (const char c : std::string_view("\\[]-()^$|?*+{")) counted[static_cast<unsigned char>(c)] = true;
  return counted;
}();

class Scan {
 public:
  explicit Scan(std::string_view pattern) : pattern_(pattern) { findModes(); }

  PatternCost run() {
    cost_.nanoseconds = kExpression + kByte * pattern_.size();
    cost_.bytes = kExpressionBytes + kBytesOfByte * pattern_.size();
    for (at_ = 0; at_ < pattern_.size() && cost_.nanoseconds < kScanLimit; ++at_) {
      if (kIsCounted[static_cast<unsigned char>(pattern_[at_])]) step(pattern_[at_]);
    }
    if (ignoresCase_) cost_.nanoseconds += sets_ * close_;
    cost_.bytes += startBytes_;
    return cost_;
  }

 private:
  /// The character at a distance; 0 outside the pattern.
  [[nodiscard]] char peek(std::ptrdiff_t distance = 1) const {
    const std::size_t index = at_ + static_cast<std::size_t>(distance);
    return index < pattern_.size() ? pattern_[index] : '\0';
  }

  [[nodiscard]] bool mayBeInSet() const { return depth_ > 0 || setsAreUnsure_; }
  [[nodiscard]] bool isInSet() const { return depth_ > 0 && !setsAreUnsure_; }

  void findModes() {
    for (std::size_t at = pattern_.find("(?"); at != std::string_view::npos;
         at = pattern_.find("(?", at + 2)) {
      for (std::size_t flag = at + 2; flag < pattern_.size() && isOneOf(pattern_[flag], "dimsuwx-"); ++flag) {
        ignoresCase_ |= pattern_[flag] == 'i';
        isFree_ |= pattern_[flag] == 'x';
        cost_.breaksText |= pattern_[flag] == 'w';
      }
    }
    const auto has = [this](std::string_view text) { return pattern_.find(text) != std::string_view::npos; };
    // In free-spacing mode, blanks inside a construct may hide a flag, so any such letter counts.
    if (isFree_) ignoresCase_ |= has("i");
    if (isFree_) cost_.breaksText |= has("w");
    constexpr std::string_view kSpecial = "\\^$.|?*+()[]{}";
    startsPlainly_ = pattern_.size() > 1 && !isOneOf(pattern_[0], kSpecial) && !isOneOf(pattern_[1], "?*{") &&
                     !has("|") && !isFree_;
    isQuoting_ = has("\\Q") || has("\\E");
    setsAreUnsure_ = isFree_ || isQuoting_ || has("[]") || has("[^]") || has("(?#");
  }

  void step(char c) {
    switch (c) {
      case '\\':
        ++at_;
        escape(pattern_.size() > at_ ? pattern_[at_] : '\0');
        break;
      case '[':
        openSet();
        break;
      case ']':
        if (depth_ > 0) --depth_;
        break;
      case '-':
        // A range reaches beyond ASCII unless its last character is plainly ASCII.
        if (mayBeInSet() && (peek() < '$' || peek() > '~' || peek() == '\\')) close_ = kCloseAll;
        break;
      default:
        if (!isInSet()) stepOutside(c);
        break;
    }
  }

  /// Handles characters that are special only outside sets.
  void stepOutside(char c) {
    switch (c) {
      case '(':
        ++cost_.emptyAtoms;
        if (peek() == '?' && peek(2) == '<') lookBehind();
        if (peek() == '?') ++at_;
        break;
      case '^':
      case '$':
        ++cost_.emptyAtoms;
        break;
      case '|':
        ++cost_.alternatives;
        break;
      case '?':
      case '*':
      case '+':
      case '{':
        quantify(c);
        break;
      default:
        break;
    }
  }

  void escape(char c) {
    if (c == 'p' || c == 'P') property(at_ + 1);
    if (c == 'N') cost_.nanoseconds += kNamedCharacter;
    if (isOneOf(c, "wWdDsShHvVRX") && !startsPlainly_) {
      // ICU builds a set of the characters that a match may begin with.
      cost_.nanoseconds += kClassInSet;
      startBytes_ = std::max(startBytes_, isOneOf(c, "wW") ? kStartWithManyBytes : kStartBytes);
    }
    if (mayBeInSet() && isOneOf(c, "wWdDsShHvV")) {
      cost_.nanoseconds += kClassInSet;
      cost_.bytes += kCategoryBytes;
      close_ = std::max(close_, isOneOf(c, "WDSHV") ? kCloseAll : c == 'w' ? kCloseWords : 0);
    }
    if (isOneOf(c, "AZzGbBk") || isAsciiDigit(c)) ++cost_.emptyAtoms;
    if (c == 'b' || c == 'B') ++cost_.boundaries;
    if (c == 'X') cost_.breaksText = true;
    if (c == 'k' || isAsciiDigit(c)) cost_.hasReferences = true;
    if (isOneOf(c, "pPNx") && peek() == '{' && !isQuoting_) ++at_;  // not a quantifier
  }

  void openSet() {
    ++sets_;
    cost_.nanoseconds += kSet;
    cost_.bytes += kSetBytes;
    if (mayBeInSet() && peek() == '^') close_ = kCloseAll;  // the outer set gets nearly every character
    if (peek() == ':' || isFree_) property(at_ + 2);
    ++depth_;
  }

  void property(std::size_t from) {
    std::string name = " ";
    for (; from < pattern_.size() && !isOneOf(pattern_[from], "}:"); ++from) {
      const char c = pattern_[from];
      if (isAsciiDigit(c) || (c >= 'a' && c <= 'z')) name += c;
      if (c >= 'A' && c <= 'Z') name += static_cast<char>(c | 0x20);
      if (name.size() == 32) break;  // longer than any part searched for below
    }
    close_ = kCloseAll;
    if (!startsPlainly_) startBytes_ = kStartWithManyBytes;
    const auto has = [&name](std::string_view part) { return name.find(part) != std::string::npos; };
    const bool isCategory = kCategories.find(name + ' ') != std::string_view::npos;
    cost_.bytes += isCategory ? kCategoryBytes : kPropertyBytes;
    cost_.nanoseconds += isCategory        ? kCategory
                         : has("rgiemoji") ? kEmojiSequences
                         : has("seg")      ? kSegmentProperty
                                           : kProperty;
    if (ignoresCase_) cost_.nanoseconds += kCloseAll;
  }

  void lookBehind() {
    ++cost_.repeats;
    cost_.nanoseconds += kMeasureOfByte * (pattern_.size() - at_) + at_;
  }

  void quantify(char c) {
    const char before = at_ > 0 ? pattern_[at_ - 1] : '\0';
    const bool afterEscape = at_ > 1 && pattern_[at_ - 2] == '\\';
    const bool ofGroup = before == ')' || isFree_ || (isQuoting_ && before == 'E');
    const bool ofEmpty = before == '^' || before == '$' || (afterEscape && isOneOf(before, "AZzGbB"));
    const bool isPossessive = c == '+' && isOneOf(before, "*+?}");
    if (c == '?') {
      ++cost_.options;  // or makes the preceding quantifier lazy
      return;
    }
    const bool expands = c == '{' && isShortCount();
    cost_.isNested |= ofGroup;
    if (c != '{' || !isExactCount()) ++cost_.repeats;
    const bool moves = isPossessive || ofGroup || ofEmpty || (c == '{' && !expands);
    cost_.nanoseconds += moves ? kMoveOfByte * at_ : at_ / 8;
  }

  /// The text between the braces, truncated to eight characters.
  [[nodiscard]] std::string_view count() const {
    const std::string_view rest = pattern_.substr(at_ + 1, 8);
    return rest.substr(0, std::min(rest.find('}'), rest.size()));
  }
  [[nodiscard]] bool isExactCount() const {
    const std::string_view digits = count();
    return std::all_of(digits.begin(), digits.end(), isAsciiDigit);
  }
  /// Whether ICU unrolls the atom instead of counting: {n} or {n,m} with bounds from 1 to 10, neither lazy
  /// nor possessive.
  [[nodiscard]] bool isShortCount() const {
    const std::string_view text = count();
    const char after = peek(static_cast<std::ptrdiff_t>(text.size()) + 2);
    if (after == '?' || after == '+' || isFree_) return false;
    const std::size_t comma = std::min(text.find(','), text.size());
    const auto isShort = [](std::string_view digits) {
      return (digits.size() == 1 && digits[0] >= '1' && digits[0] <= '9') || digits == "10";
    };
    return isShort(text.substr(0, comma)) && (comma == text.size() || isShort(text.substr(comma + 1)));
  }

  std::string_view pattern_;
  std::size_t at_ = 0;
  PatternCost cost_;
  bool ignoresCase_ = false;
  bool isFree_ = false;     // free-spacing mode: blanks and comments are ignored
  bool isQuoting_ = false;  // \Q and \E
  /// Brackets that open or close a set in this scan may not do so in ICU.
  bool setsAreUnsure_ = false;
  bool startsPlainly_ = false;  // with a literal character
  std::size_t startBytes_ = 0;
  std::size_t depth_ = 0;  // nesting depth of sets at this position
  std::uint64_t sets_ = 0;
  std::uint64_t close_ = 0;  // extra cost of each set if case is ignored
};

}  // namespace

PatternCost PatternCost::of(std::string_view pattern) { return Scan(pattern).run(); }

}  // namespace tidewell::base
