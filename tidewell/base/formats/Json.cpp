// SPDX-License-Identifier: Apache-2.0
#include "tidewell/base/formats/Json.h"

#include <fmt/format.h>
#include <rapidjson/reader.h>
#include <rapidjson/stream.h>

// Last, because its path to RapidJSON's stack is not the one in sanitizer-ignorelist.txt.
#include <rapidjson/error/en.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <iterator>
#include <limits>
#include <new>
#include <system_error>
#include <utility>
#include <vector>

#include "tidewell/base/Exception.h"
#include "tidewell/base/internal/JsonPlaces.h"
#include "tidewell/base/internal/NumberText.h"
#include "tidewell/base/internal/Unicode.h"

namespace tidewell::base {
namespace {

namespace rj = tidewell_rapidjson;

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

/// The value of a well-formed JSON number, followed in memory by other text or a NUL; nil if it is too large
/// for a double.
Value parseNumber(std::string_view text) {
  if (text.find_first_of(".eE") == std::string_view::npos) {
    const char* const end = text.data() + text.size();
    std::int64_t integer = 0;
    if (std::from_chars(text.data(), end, integer).ec == std::errc()) return integer;
    std::uint64_t unsignedInteger = 0;
    if (std::from_chars(text.data(), end, unsignedInteger).ec == std::errc()) return unsignedInteger;
  }
  const double real = realAt(text.data());
  return std::isfinite(real) ? Value(real) : Value();
}

/// Builds a value from the reader's events. Finished values and keys wait on two stacks until their container
/// ends; that event gives their number.
class ValueBuilder {
 public:
  /// `mayHoldSurrogates`: whether the text has escapes, without which a string cannot contain a surrogate.
  explicit ValueBuilder(bool mayHoldSurrogates) : mayHoldSurrogates_(mayHoldSurrogates) {
    values_.reserve(kUsualValues);
    keys_.reserve(kUsualKeys);
  }

  bool Null() { return add(Value::null()); }
  bool Bool(bool value) { return add(value); }
  bool RawNumber(const char* text, rj::SizeType length, bool) {
    const Value number = parseNumber({text, length});
    return number ? add(number) : fail("A number is too large.");
  }
  // Never called: numbers are reported as text.
  bool Int(int) { return false; }
  bool Uint(unsigned) { return false; }
  bool Int64(std::int64_t) { return false; }
  bool Uint64(std::uint64_t) { return false; }
  bool Double(double) { return false; }
  bool String(const char* bytes, rj::SizeType length, bool) {
    const std::string_view text(bytes, length);
    return isAcceptable(text) ? add(text) : fail(kLoneSurrogate);
  }
  bool Key(const char* bytes, rj::SizeType length, bool) {
    const std::string_view text(bytes, length);
    if (!isAcceptable(text)) return fail(kLoneSurrogate);
    keys_.emplace_back(text);
    return true;
  }
  bool StartArray() { return descend(); }
  bool StartObject() { return descend(); }

  bool EndArray(rj::SizeType count) {
    const auto first = values_.end() - static_cast<std::ptrdiff_t>(count);
    Array array(std::vector<Value>(std::make_move_iterator(first), std::make_move_iterator(values_.end())));
    return replace(count, std::move(array));
  }

  bool EndObject(rj::SizeType count) {
    const auto firstValue = values_.end() - static_cast<std::ptrdiff_t>(count);
    const auto firstKey = keys_.end() - static_cast<std::ptrdiff_t>(count);
    Dictionary dictionary;
    dictionary.reserve(count);
    for (std::ptrdiff_t i = 0; i < static_cast<std::ptrdiff_t>(count); ++i) {
      dictionary.addObject(std::move(firstKey[i]), std::move(firstValue[i]));
    }
    keys_.erase(firstKey, keys_.end());
    return replace(count, std::move(dictionary));
  }

  [[nodiscard]] Value takeRoot() { return std::move(values_.back()); }
  /// Why an event was refused; empty if none was.
  [[nodiscard]] std::string_view problem() const { return problem_; }

 private:
  static constexpr std::string_view kLoneSurrogate = "A text contains half of a surrogate pair.";

  bool fail(std::string_view problem) {
    problem_ = problem;
    return false;
  }
  bool add(Value value) {
    values_.push_back(std::move(value));
    return true;
  }
  /// The reader rejects a lone lead surrogate but accepts a lone trail surrogate.
  [[nodiscard]] bool isAcceptable(std::string_view text) const {
    return !mayHoldSurrogates_ || isValidUtf8(text);
  }
  bool descend() {
    return ++depth_ <= kMaximumJsonDepth || fail("Arrays and objects are nested too deeply.");
  }
  bool replace(rj::SizeType count, Value container) {
    --depth_;
    values_.erase(values_.end() - static_cast<std::ptrdiff_t>(count), values_.end());
    return add(std::move(container));
  }

  // Below a kilobyte each: allocators are slower for larger blocks.
  static constexpr std::size_t kUsualValues = 48;
  static constexpr std::size_t kUsualKeys = 24;

  std::vector<Value> values_;
  std::vector<std::string> keys_;
  int depth_ = 0;
  std::string_view problem_;
  const bool mayHoldSurrogates_;
};

/// Passes the reader's events on and records the places of the top level's members and their elements. Before
/// an event the stream stands at the start of its value, except for literals, where it stands behind.
class PlaceRecorder {
 public:
  PlaceRecorder(ValueBuilder& builder, rj::InsituStringStream& stream, JsonPlaces& places)
      : builder_(builder), stream_(stream), places_(places) {}

  bool Null() { return record(4), builder_.Null(); }
  bool Bool(bool value) { return record(value ? 4 : 5), builder_.Bool(value); }
  bool RawNumber(const char* text, rj::SizeType length, bool copies) {
    return record(), builder_.RawNumber(text, length, copies);
  }
  bool Int(int) { return false; }
  bool Uint(unsigned) { return false; }
  bool Int64(std::int64_t) { return false; }
  bool Uint64(std::uint64_t) { return false; }
  bool Double(double) { return false; }
  bool String(const char* bytes, rj::SizeType length, bool copies) {
    return record(), builder_.String(bytes, length, copies);
  }
  bool Key(const char* bytes, rj::SizeType length, bool copies) {
    if (depth_ == 1) places_.members.push_back({{bytes, length}, at(), 0, places_.elements.size()});
    return builder_.Key(bytes, length, copies);
  }
  bool StartArray() {
    record();
    if (++depth_ == 2) isElement_ = true;
    return builder_.StartArray();
  }
  bool StartObject() {
    record();
    if (++depth_ == 2) isElement_ = false;
    return builder_.StartObject();
  }
  bool EndArray(rj::SizeType count) { return --depth_, builder_.EndArray(count); }
  bool EndObject(rj::SizeType count) { return --depth_, builder_.EndObject(count); }

 private:
  [[nodiscard]] std::uint32_t at(std::size_t behind = 0) const {
    return static_cast<std::uint32_t>(stream_.Tell() - behind);
  }
  void record(std::size_t behind = 0) {
    if (places_.members.empty()) return;
    if (depth_ == 1) places_.members.back().valueAt = at(behind);
    if (depth_ == 2 && isElement_) places_.elements.push_back(at(behind));
  }

  ValueBuilder& builder_;
  rj::InsituStringStream& stream_;
  JsonPlaces& places_;
  int depth_ = 0;
  bool isElement_ = false;  ///< whether a value at depth 2 is in an array
};

// No encoding validation: the whole text is validated before. Iterative: hostile nesting takes no stack.
// Numbers as strings: the reader's own full-precision conversion has undefined behaviour for zero (a shift by
// an invalid bit count) and for huge exponents (overflow of an int).
constexpr unsigned kReading = rj::kParseInsituFlag | rj::kParseIterativeFlag |
                              rj::kParseNumbersAsStringsFlag | rj::kParseTrailingCommasFlag;

/// RapidJSON's own allocator returns a null pointer when out of memory, and the reader then writes through
/// it.
class ReaderMemory {
 public:
  static void* Malloc(std::size_t size) { return Realloc(nullptr, 0, size); }
  static void* Realloc(void* old, std::size_t, std::size_t size) {
    if (size == 0) {
      Free(old);
      return nullptr;
    }
    void* const made = std::realloc(old, size);
    if (made == nullptr) throw std::bad_alloc();
    return made;
  }
  static void Free(void* memory) noexcept { std::free(memory); }
};

/// Reads well-formed, NUL-terminated UTF-8 and overwrites it.
Value readInSitu(char* text, std::size_t size) {
  ValueBuilder builder(std::string_view(text, size).find("\\u") != std::string_view::npos);
  rj::InsituStringStream stream(text);
  rj::GenericReader<rj::UTF8<>, rj::UTF8<>, ReaderMemory> reader;
  // The reader treats a NUL inside the text as its end.
  if (reader.Parse<kReading>(stream, builder).IsError() || stream.Tell() != size) return Value();
  return builder.takeRoot();
}

/// Shorter texts are read from a copy on the stack; a heap block of this size would be slower.
constexpr std::size_t kCopiedAtMost = 4096;

Value read(std::string_view bytes) {
  const Encoding encoding = detectEncoding(bytes);
  bytes.remove_prefix(encoding.markLength);
  std::string text;
  if (encoding.unitSize != 1) {
    const std::optional<std::u16string> units = unitsOf(bytes, encoding);
    if (!units) return Value();
    text = utf8FromUtf16(*units);
  } else if (!isValidUtf8(bytes)) {
    return Value();
  } else if (bytes.size() < kCopiedAtMost) {
    char copy[kCopiedAtMost];
    bytes.copy(copy, bytes.size());
    copy[bytes.size()] = '\0';
    return readInSitu(copy, bytes.size());
  } else {
    text = bytes;
  }
  return readInSitu(text.data(), text.size());
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
    fmt::format_to(std::back_inserter(out_), "{:.17g}", real);
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
    std::size_t plain = 0;  // start of the pending text that needs no escape
    for (std::size_t at = 0; at < text.size(); ++at) {
      const auto byte = static_cast<unsigned char>(text[at]);
      if (byte >= 0x20 && byte != '"' && byte != '\\' && byte != '/') continue;
      out_.append(text.substr(plain, at - plain));
      plain = at + 1;
      appendEscape(byte);
    }
    out_.append(text.substr(plain));
  }

  void appendEscape(unsigned char byte) {
    static constexpr std::string_view kShort = "\"\\/\b\f\n\r\t";
    static constexpr std::string_view kLetters = "\"\\/bfnrt";
    out_ += '\\';
    const std::size_t at = kShort.find(static_cast<char>(byte));
    if (at != std::string_view::npos) {
      out_ += kLetters[at];
    } else {
      fmt::format_to(std::back_inserter(out_), "u{:04x}", static_cast<unsigned>(byte));
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
  if (text.size() > std::numeric_limits<std::uint32_t>::max()) {
    problem = "The text is too long.";
    return;
  }
  if (encoding.unitSize != 1) {
    const std::optional<std::u16string> units = unitsOf(text, encoding);
    text = {};
    if (units) text = transcoded_ = utf8FromUtf16(*units);
    if (!units) problem = "The text is neither well-formed UTF-16 nor UTF-32.";
  } else if (!isValidUtf8(text)) {
    problem = "The text is not well-formed UTF-8.";
    problemAt = illFormedAt(text);
  }
  if (!problem.empty()) return;
  decoded_ = text;
  ValueBuilder builder(text.find("\\u") != std::string_view::npos);
  rj::InsituStringStream stream(decoded_.data());
  PlaceRecorder recorder(builder, stream, *this);
  rj::GenericReader<rj::UTF8<>, rj::UTF8<>, ReaderMemory> reader;
  const rj::ParseResult result = reader.Parse<kReading>(stream, recorder);
  if (!result.IsError() && stream.Tell() == text.size()) {
    root = builder.takeRoot();
    return;
  }
  members.clear();
  elements.clear();
  problem = !result.IsError()            ? std::string_view("A NUL character ends the text.")
            : !builder.problem().empty() ? builder.problem()
                                         : std::string_view(rj::GetParseError_En(result.Code()));
  problemAt = result.IsError() ? result.Offset() : stream.Tell();
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
