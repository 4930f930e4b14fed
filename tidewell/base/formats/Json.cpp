// SPDX-License-Identifier: Apache-2.0
#include "tidewell/base/formats/Json.h"

#include <algorithm>
#include <bit>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <limits>
#include <list>
#include <optional>
#include <system_error>
#include <utility>
#include <vector>

#include "tidewell/base/Exception.h"
#include "tidewell/base/internal/Ascii.h"
#include "tidewell/base/internal/JsonPlaces.h"
#include "tidewell/base/internal/NumberText.h"
#include "tidewell/base/internal/Unicode.h"

namespace tidewell::base {
namespace {

constexpr std::int64_t kPropertyListReadCorruptError = 3840;

/// The encoding at the start of a text, and the length of its byte-order mark.
struct Encoding {
  int unitSize = 1;
  bool bigEndian = false;
  std::size_t markLength = 0;
};

bool startsWith(std::string_view bytes, std::string_view start) {
  return bytes.substr(0, start.size()) == start;
}

/// Detected by the byte-order mark, else by the position of zero bytes in the first characters, since a JSON
/// text begins with ASCII (RFC 4627, section 3).
Encoding detectEncoding(std::string_view bytes) {
  using namespace std::string_view_literals;
  if (startsWith(bytes, "\xEF\xBB\xBF"sv)) return {1, false, 3};
  if (startsWith(bytes, "\0\0\xFE\xFF"sv)) return {4, true, 4};
  if (startsWith(bytes, "\xFF\xFE\0\0"sv)) return {4, false, 4};
  if (startsWith(bytes, "\xFE\xFF"sv)) return {2, true, 2};
  if (startsWith(bytes, "\xFF\xFE"sv)) return {2, false, 2};
  auto isZero = [bytes](std::size_t at) { return bytes[at] == '\0'; };
  if (bytes.size() >= 4) {
    if (isZero(0) && isZero(1) && isZero(2)) return {4, true, 0};
    if (isZero(1) && isZero(2) && isZero(3)) return {4, false, 0};
  }
  if (bytes.size() >= 2) {
    if (isZero(0)) return {2, true, 0};
    if (isZero(1)) return {2, false, 0};
  }
  return {};
}

std::uint32_t unitAt(std::string_view bytes, std::size_t at, const Encoding& encoding) {
  std::uint32_t unit = 0;
  for (int i = 0; i < encoding.unitSize; ++i) {
    const int place = encoding.bigEndian ? i : encoding.unitSize - 1 - i;
    unit = unit << 8 | static_cast<unsigned char>(bytes[at + static_cast<std::size_t>(place)]);
  }
  return unit;
}

bool isSurrogate(std::uint32_t unit) { return unit >= 0xD800 && unit < 0xE000; }

/// Decodes UTF-16 or UTF-32; no value if the bytes are ill-formed.
std::optional<std::u16string> unitsOf(std::string_view bytes, const Encoding& encoding) {
  const auto size = static_cast<std::size_t>(encoding.unitSize);
  if (bytes.size() % size != 0) return std::nullopt;
  std::u16string units;
  units.reserve(bytes.size() / size);
  std::uint32_t lead = 0;  // a lead surrogate awaiting its trail
  for (std::size_t at = 0; at < bytes.size(); at += size) {
    const std::uint32_t unit = unitAt(bytes, at, encoding);
    const bool isTrail = isSurrogate(unit) && unit >= 0xDC00;
    if (unit > 0x10FFFF || (size == 4 && isSurrogate(unit)) || (lead != 0) != isTrail) return std::nullopt;
    lead = isSurrogate(unit) && !isTrail ? unit : 0;
    if (unit < 0x10000) {
      units += static_cast<char16_t>(unit);
    } else {
      units += static_cast<char16_t>(0xD7C0 + (unit >> 10));
      units += static_cast<char16_t>(0xDC00 + (unit & 0x3FF));
    }
  }
  if (lead != 0) return std::nullopt;
  return units;
}

/// The sentences for malformed texts.
namespace problems {
constexpr std::string_view kEmpty = "The document is empty.";
constexpr std::string_view kRootNotSingular = "The document root must not be followed by other values.";
constexpr std::string_view kNul = "A NUL character ends the text.";
constexpr std::string_view kValue = "Invalid value.";
constexpr std::string_view kName = "Missing a name for object member.";
constexpr std::string_view kColon = "Missing a colon after a name of object member.";
constexpr std::string_view kObjectDelimiter = "Missing a comma or '}' after an object member.";
constexpr std::string_view kArrayDelimiter = "Missing a comma or ']' after an array element.";
constexpr std::string_view kDepth = "Arrays and objects are nested too deeply.";
constexpr std::string_view kQuotationMark = "Missing a closing quotation mark in string.";
constexpr std::string_view kEscape = "Invalid escape character in string.";
constexpr std::string_view kHexDigit = "Incorrect hex digit after \\u escape in string.";
constexpr std::string_view kSurrogatePair = "The surrogate pair in string is invalid.";
constexpr std::string_view kLoneSurrogate = "A text contains half of a surrogate pair.";
constexpr std::string_view kFraction = "Miss fraction part in number.";
constexpr std::string_view kExponent = "Miss exponent in number.";
constexpr std::string_view kTooLarge = "A number is too large.";
}  // namespace problems

/// The place of the next quotation mark, backslash, control character or one of `others`, or the end.
template <char... others>
[[gnu::always_inline]] inline const char* plainEnd(const char* at, const char* end) {
  constexpr std::uint64_t kOnes = 0x0101010101010101, kHighs = 0x8080808080808080;
  for (; end - at >= 8; at += 8) {
    std::uint64_t word;
    std::memcpy(&word, at, 8);
    const auto has = [word](char c) {
      const std::uint64_t difference = word ^ kOnes * static_cast<unsigned char>(c);
      return (difference - kOnes) & ~difference;
    };
    const std::uint64_t control = (word - kOnes * 0x20) & ~word;
    const std::uint64_t found = ((control | has('"') | has('\\')) | ... | has(others));
    if ((found & kHighs) == 0) continue;
    if constexpr (std::endian::native == std::endian::little)
      return at + std::countr_zero(found & kHighs) / 8;  // higher bits may be carries
    break;
  }
  const auto isPlain = [](char c) {
    return c != '"' && c != '\\' && static_cast<unsigned char>(c) >= 0x20 && (true && ... && (c != others));
  };
  return std::find_if_not(at, end, isPlain);
}

/// Reads well-formed UTF-8 in one pass. Not recursive, because a host's stack may be small.
class JsonReader {
 public:
  /// Records places if `places` is given. Both must outlive the reader.
  JsonReader(std::string_view text, JsonPlaces* places) : text_(text), places_(places) {
    values_.reserve(kUsualValues);
    keys_.reserve(kUsualKeys);
  }

  /// nil if the text is malformed; `problem` and `problemAt` then tell why and where.
  Value read() {
    while (problem.empty()) {
      skipSpace();
      const char c = peek();
      if (c == '\0') break;
      step(c);
    }
    if (problem.empty() && expected_ == Expected::end && at_ == text_.size())
      return std::move(values_.back());
    if (problem.empty()) fail(expected_ == Expected::end ? problems::kNul : missing(), at_);
    return {};
  }

  std::string_view problem;
  std::size_t problemAt = 0;
  /// The decoded text of keys whose places are recorded.
  std::list<std::string> decodedKeys;

 private:
  enum class Expected : std::uint8_t { root, value, elementOrEnd, keyOrEnd, delimiter, end };
  /// An array or object that has begun. Its values and keys are on the two stacks, from here on.
  struct Frame {
    bool isObject;
    std::size_t firstValue;
    std::size_t firstKey;
  };

  // Below a kilobyte each: allocators are slower for larger blocks.
  static constexpr std::size_t kUsualValues = 48;
  static constexpr std::size_t kUsualKeys = 24;

  [[nodiscard]] char peek() const { return at_ < text_.size() ? text_[at_] : '\0'; }
  void skipSpace() {
    for (; at_ < text_.size(); ++at_) {
      const char c = text_[at_];
      if (c != ' ' && c != '\n' && c != '\r' && c != '\t') return;
    }
  }
  bool fail(std::string_view what, std::size_t where) {
    problem = what;
    problemAt = where;
    return false;
  }
  /// What the text lacks if it ends here or goes on with another character.
  [[nodiscard]] std::string_view missing() const {
    switch (expected_) {
      case Expected::root:
        return problems::kEmpty;
      case Expected::keyOrEnd:
        return problems::kName;
      case Expected::delimiter:
        return frames_.back().isObject ? problems::kObjectDelimiter : problems::kArrayDelimiter;
      case Expected::end:
        return problems::kRootNotSingular;
      default:
        return problems::kValue;
    }
  }

  void step(char c) {
    switch (expected_) {
      case Expected::keyOrEnd:
        if (c == '}') return close();
        if (c == '"') return readKey();
        break;
      case Expected::delimiter:
        if (c == ',') return passComma();
        if (c == (frames_.back().isObject ? '}' : ']')) return close();
        break;
      case Expected::end:
        break;
      case Expected::elementOrEnd:
        if (c == ']') return close();
        return readValue(c);
      default:
        return readValue(c);
    }
    fail(missing(), at_);
  }

  void readValue(char c) {
    if (c == ']' || c == '}' || c == ',' || c == ':') {
      fail(missing(), at_);
      return;
    }
    if (places_) recordPlace();
    if (c != '{' && c != '[') {
      if (readScalar(c)) expectNext();
      return;
    }
    if (frames_.size() == static_cast<std::size_t>(kMaximumJsonDepth)) {
      fail(problems::kDepth, at_);
      return;
    }
    frames_.push_back({c == '{', values_.size(), keys_.size()});
    expected_ = c == '{' ? Expected::keyOrEnd : Expected::elementOrEnd;
    ++at_;
  }

  /// After a value. Takes the comma at once if no space precedes it, as in most texts.
  void expectNext() {
    expected_ = frames_.empty() ? Expected::end : Expected::delimiter;
    if (expected_ == Expected::delimiter && peek() == ',') passComma();
  }
  void passComma() {
    ++at_;
    expected_ = frames_.back().isObject ? Expected::keyOrEnd : Expected::elementOrEnd;
  }

  bool readScalar(char c) {
    switch (c) {
      case '"': {
        std::string_view text;
        if (!readString(text)) return false;
        values_.emplace_back(text);
        return true;
      }
      case 't':
        return readLiteral("true", true);
      case 'f':
        return readLiteral("false", false);
      case 'n':
        return readLiteral("null", Value::null());
      default:
        return readNumber();
    }
  }

  bool readLiteral(std::string_view literal, Value value) {
    for (const char c : literal) {
      if (peek() != c) return fail(problems::kValue, at_);
      ++at_;
    }
    values_.push_back(std::move(value));
    return true;
  }

  bool readDigits() {
    const std::size_t first = at_;
    while (detail::isAsciiDigit(peek())) ++at_;
    return at_ > first;
  }

  bool readNumber() {
    const std::size_t start = at_;
    if (peek() == '-') ++at_;
    if (peek() == '0') {
      ++at_;
    } else if (!readDigits()) {
      return fail(problems::kValue, at_);
    }
    const bool isInteger = peek() != '.' && peek() != 'e' && peek() != 'E';
    if (peek() == '.') {
      ++at_;
      if (!readDigits()) return fail(problems::kFraction, at_);
    }
    if (peek() == 'e' || peek() == 'E') {
      ++at_;
      if (peek() == '+' || peek() == '-') ++at_;
      if (!readDigits()) return fail(problems::kExponent, at_);
    }
    const char* const first = text_.data() + start;
    const char* const last = text_.data() + at_;
    std::int64_t integer = 0;
    std::uint64_t unsignedInteger = 0;
    if (isInteger && std::from_chars(first, last, integer).ec == std::errc()) {
      values_.emplace_back(integer);
    } else if (isInteger && std::from_chars(first, last, unsignedInteger).ec == std::errc()) {
      values_.emplace_back(unsignedInteger);
    } else {
      const double real = realAt(std::string(first, last).c_str());
      if (!std::isfinite(real)) return fail(problems::kTooLarge, start);
      values_.emplace_back(real);
    }
    return true;
  }

  void readKey() {
    const std::size_t start = at_;
    std::string_view key;
    if (!readString(key)) return;
    if (places_ && frames_.size() == 1) {
      if (key.data() == scratch_.data()) key = decodedKeys.emplace_back(key);
      places_->members.push_back({key, static_cast<std::uint32_t>(start), 0, places_->elements.size()});
    }
    keys_.emplace_back(key);
    skipSpace();
    if (peek() != ':') {
      fail(problems::kColon, at_);
      return;
    }
    ++at_;
    expected_ = Expected::value;
  }

  /// Advances over text without escapes, and returns it.
  std::string_view readPlainText() {
    const char* const first = text_.data() + at_;
    const auto length = static_cast<std::size_t>(plainEnd<>(first, text_.data() + text_.size()) - first);
    at_ += length;
    return {first, length};
  }

  /// `text` is part of the text that is read, or of `scratch_` if it has escapes.
  bool readString(std::string_view& text) {
    ++at_;
    text = readPlainText();
    if (peek() != '"') return readRestOfString(text);
    ++at_;
    return true;
  }

  /// The same after plain text that ends at something else than a quotation mark. A function of its own, so
  /// that the usual case is inlined.
  [[gnu::noinline]] bool readRestOfString(std::string_view& text) {
    scratch_ = text;
    hasLoneSurrogate_ = false;
    while (peek() != '"') {
      if (peek() != '\\') return fail(peek() == '\0' ? problems::kQuotationMark : problems::kEscape, at_);
      if (!readEscape()) return false;
      scratch_ += readPlainText();
    }
    ++at_;
    text = scratch_;
    return !hasLoneSurrogate_ || fail(problems::kLoneSurrogate, at_);
  }

  bool readEscape() {
    static constexpr std::string_view kLetters = "\"\\/bfnrt";
    static constexpr std::string_view kMeanings = "\"\\/\b\f\n\r\t";
    const std::size_t start = at_++;
    const char letter = peek();
    const std::size_t index = kLetters.find(letter);
    if (index != std::string_view::npos) {
      ++at_;
      scratch_ += kMeanings[index];
      return true;
    }
    if (letter != 'u') return fail(problems::kEscape, start);
    char16_t units[2] = {};
    std::size_t count = 1;
    if (!readUnit(units[0], start)) return false;
    if (units[0] >= 0xD800 && units[0] < 0xDC00) {
      ++count;
      if (text_.substr(at_, 2) != "\\u") return fail(problems::kSurrogatePair, start);
      ++at_;
      if (!readUnit(units[1], start)) return false;
      if (units[1] < 0xDC00 || units[1] >= 0xE000) return fail(problems::kSurrogatePair, start);
    }
    hasLoneSurrogate_ |= units[0] >= 0xDC00 && units[0] < 0xE000;
    scratch_ += utf8FromUtf16({units, count});
    return true;
  }

  /// Reads the letter u and four hexadecimal digits.
  bool readUnit(char16_t& unit, std::size_t escapeAt) {
    ++at_;
    for (int i = 0; i < 4; ++i, ++at_) {
      const int digit = detail::hexValue(peek());
      if (digit < 0) return fail(problems::kHexDigit, escapeAt);
      unit = static_cast<char16_t>(unit << 4 | digit);
    }
    return true;
  }

  void close() {
    const Frame frame = frames_.back();
    frames_.pop_back();
    ++at_;
    const auto first = values_.begin() + static_cast<std::ptrdiff_t>(frame.firstValue);
    Value container;
    if (frame.isObject) {
      Dictionary dictionary;
      const std::size_t count = values_.size() - frame.firstValue;
      dictionary.reserve(count);
      for (std::size_t i = 0; i < count; ++i)
        dictionary.addObject(std::move(keys_[frame.firstKey + i]), std::move(values_[frame.firstValue + i]));
      keys_.erase(keys_.begin() + static_cast<std::ptrdiff_t>(frame.firstKey), keys_.end());
      container = std::move(dictionary);
    } else {
      container =
          Array(std::vector<Value>(std::make_move_iterator(first), std::make_move_iterator(values_.end())));
    }
    values_.erase(first, values_.end());
    values_.push_back(std::move(container));
    expectNext();
  }

  /// For the value that begins here.
  void recordPlace() {
    if (places_->members.empty()) return;
    const auto at = static_cast<std::uint32_t>(at_);
    if (frames_.size() == 1) places_->members.back().valueAt = at;
    if (frames_.size() == 2 && !frames_.back().isObject) places_->elements.push_back(at);
  }

  const std::string_view text_;
  JsonPlaces* const places_;
  std::size_t at_ = 0;
  Expected expected_ = Expected::root;
  bool hasLoneSurrogate_ = false;
  std::string scratch_;
  std::vector<Frame> frames_;
  std::vector<Value> values_;
  std::vector<std::string> keys_;
};

Value read(std::string_view bytes) {
  const Encoding encoding = detectEncoding(bytes);
  bytes.remove_prefix(encoding.markLength);
  std::string text;
  if (encoding.unitSize != 1) {
    const std::optional<std::u16string> units = unitsOf(bytes, encoding);
    if (!units) return Value();
    text = utf8FromUtf16(*units);
    bytes = text;
  } else if (!isValidUtf8(bytes)) {
    return Value();
  }
  return JsonReader(bytes, nullptr).read();
}

[[noreturn]] void raiseInvalid(std::string_view reason) { raise(kInvalidArgumentException, reason); }

class JsonWriter {
 public:
  explicit JsonWriter(JsonWriting options) : pretty_(options == JsonWriting::prettyPrinted) {}

  std::string text(const Value& object) {
    append(object, 0);
    return std::move(out_);
  }

 private:
  void append(const Value& value, int level) {
    switch (value.kind()) {
      case Value::Kind::null:
        out_ += "null";
        return;
      case Value::Kind::boolean:
        out_ += value.boolValue() ? "true" : "false";
        return;
      case Value::Kind::integer:
      case Value::Kind::unsignedInteger:
        value.appendDescription(out_);
        return;
      case Value::Kind::real:
        appendReal(value.doubleValue());
        return;
      case Value::Kind::string:
        appendString(*value.string());
        return;
      case Value::Kind::array:
        appendArray(*value.array(), level);
        return;
      case Value::Kind::dictionary:
        appendDictionary(*value.dictionary(), level);
        return;
      default:
        raiseInvalid("Invalid type in JSON write (" + value.className() + ")");
    }
  }

  /// Seventeen digits represent every double exactly.
  void appendReal(double real) {
    if (std::isnan(real)) raiseInvalid("Invalid number value (NaN) in JSON write");
    if (std::isinf(real)) raiseInvalid("Invalid number value (infinite) in JSON write");
    base::appendReal(out_, real, 17);
  }

  void appendString(std::string_view text) {
    // Includes room for the quotes and what follows; otherwise a text that just fits would be moved again for
    // a comma. At least doubled, so that many long texts take linear time in total.
    const std::size_t needed = out_.size() + text.size() + kLongText;
    if (text.size() > kLongText && needed > out_.capacity()) {
      out_.reserve(std::max(needed, 2 * out_.capacity()));
    }
    out_ += '"';
    if (isValidUtf8(text)) {
      appendEscaped(text);
    } else {
      appendEscaped(validUtf8(text));
    }
    out_ += '"';
  }

  void appendEscaped(std::string_view text) {
    const char* const end = text.data() + text.size();
    for (const char* at = text.data();; ++at) {
      const char* const plain = at;
      at = plainEnd<'/'>(plain, end);
      out_.append(plain, at);
      if (at == end) return;
      appendEscape(static_cast<unsigned char>(*at));
    }
  }

  void appendEscape(unsigned char byte) {
    static constexpr std::string_view kShort = "\"\\/\b\f\n\r\t";
    static constexpr std::string_view kLetters = "\"\\/bfnrt";
    out_ += '\\';
    const std::size_t at = kShort.find(static_cast<char>(byte));
    if (at != std::string_view::npos) {
      out_ += kLetters[at];
    } else {
      detail::appendHex(out_.append("u00"), byte);
    }
  }

  void startLine(int level) {
    if (!pretty_) return;
    out_ += '\n';
    out_.append(2 * static_cast<std::size_t>(level), ' ');
  }

  /// When pretty-printed, an empty container takes three lines.
  void openContainer(char bracket, bool empty, int level) {
    if (level >= kMaximumJsonDepth) raiseInvalid("Too many nested arrays or dictionaries in JSON write");
    out_ += bracket;
    if (empty && pretty_) out_ += '\n';
  }

  void appendArray(const Array& array, int level) {
    openContainer('[', array.empty(), level);
    bool first = true;
    for (const Value& value : array) {
      if (!first) out_ += ',';
      first = false;
      startLine(level + 1);
      append(value, level + 1);
    }
    startLine(level);
    out_ += ']';
  }

  void appendDictionary(const Dictionary& dictionary, int level) {
    openContainer('{', dictionary.empty(), level);
    bool first = true;
    for (const Dictionary::Entry& entry : dictionary) {
      if (!first) out_ += ',';
      first = false;
      startLine(level + 1);
      appendString(entry.key);
      out_ += pretty_ ? " : " : ":";
      append(entry.value, level + 1);
    }
    startLine(level);
    out_ += '}';
  }

  static constexpr std::size_t kLongText = 4096;

  const bool pretty_;
  std::string out_;
};

/// The offset of the first ill-formed sequence.
std::size_t illFormedAt(std::string_view bytes) {
  const std::string repaired = validUtf8(bytes);
  const auto mismatch = std::mismatch(bytes.begin(), bytes.end(), repaired.begin(), repaired.end());
  return static_cast<std::size_t>(mismatch.first - bytes.begin());
}

}  // namespace

JsonPlaces::JsonPlaces(std::string_view bytes) {
  const Encoding encoding = detectEncoding(bytes);
  text = bytes.substr(encoding.markLength);
  if (encoding.unitSize != 1) {
    const std::optional<std::u16string> units = unitsOf(text, encoding);
    text = {};
    if (units) text = transcoded_ = utf8FromUtf16(*units);
    if (!units) problem = "The text is neither well-formed UTF-16 nor UTF-32.";
  } else if (!isValidUtf8(text)) {
    problem = "The text is not well-formed UTF-8.";
    problemAt = illFormedAt(text);
  }
  if (text.size() > std::numeric_limits<std::uint32_t>::max()) problem = "The text is too long.";
  if (!problem.empty()) return;
  JsonReader reader(text, this);
  root = reader.read();
  decodedKeys_ = std::move(reader.decodedKeys);
  if (reader.problem.empty()) return;
  members.clear();
  elements.clear();
  problem = reader.problem;
  problemAt = reader.problemAt;
}

Value JSONObjectWithData(std::string_view bytes, Error* error) {
  Value value = read(bytes);
  if (value.array() || value.dictionary()) return value;
  if (error) {
    *error = {std::string(kCocoaErrorDomain), kPropertyListReadCorruptError,
              "The data couldn\u2019t be read because it isn\u2019t in the correct format."};
  }
  return Value();
}

std::string dataWithJSONObject(const Value& object, JsonWriting options) {
  if (!object.array() && !object.dictionary()) raiseInvalid("Invalid top-level type in JSON write");
  return JsonWriter(options).text(object);
}

}  // namespace tidewell::base
