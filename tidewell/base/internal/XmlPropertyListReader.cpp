// SPDX-License-Identifier: Apache-2.0
#include <charconv>
#include <cmath>
#include <limits>
#include <optional>
#include <utility>
#include <vector>

#include "tidewell/base/formats/PropertyList.h"
#include "tidewell/base/internal/Ascii.h"
#include "tidewell/base/internal/Base64.h"
#include "tidewell/base/internal/CivilDate.h"
#include "tidewell/base/internal/Unicode.h"
#include "tidewell/base/internal/UrlSyntax.h"
#include "tidewell/base/internal/XmlPropertyList.h"

namespace tidewell::base::detail {

namespace {

constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";

bool isXmlSpace(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r'; }

template <class Number>
std::optional<Number> wholeNumber(std::string_view digits, int base) {
  Number number = 0;
  const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), number, base);
  if (digits.empty() || error != std::errc() || end != digits.data() + digits.size()) return std::nullopt;
  return number;
}

Value integerIn(std::string_view text) {
  text = trimmed(text);
  if (text.starts_with('+')) text.remove_prefix(1);
  const bool negative = text.starts_with('-');
  std::string_view digits = text.substr(negative ? 1 : 0);
  int base = 10;
  if (digits.starts_with("0x") || digits.starts_with("0X")) {
    digits.remove_prefix(2);
    base = 16;
  }
  const auto magnitude = wholeNumber<std::uint64_t>(digits, base);
  if (!magnitude) return {};
  if (!negative) return *magnitude;
  if (*magnitude > std::uint64_t{1} << 63u) return {};
  return static_cast<std::int64_t>(0 - *magnitude);
}

Value realIn(std::string_view text) {
  text = trimmed(text);
  for (const std::string_view name : {"inf", "+inf", "infinity", "+infinity"}) {
    if (text == name) return std::numeric_limits<double>::infinity();
  }
  if (text == "-inf" || text == "-infinity") return -std::numeric_limits<double>::infinity();
  if (text == "nan") return std::numeric_limits<double>::quiet_NaN();
  bool hasDigit = false;
  for (const char c : text) {
    hasDigit |= isAsciiDigit(c);
    if (!isAsciiDigit(c) && std::string_view("+-.eE").find(c) == std::string_view::npos) return {};
  }
  return hasDigit ? Value(Value(text).doubleValue()) : Value();
}

/// `2018-11-12T17:05:09Z`, the only valid form.
Value dateIn(std::string_view text) {
  text = trimmed(text);
  constexpr std::string_view kShape = "dddd-dd-ddTdd:dd:ddZ";
  if (text.size() != kShape.size()) return {};
  for (std::size_t i = 0; i < kShape.size(); ++i) {
    if (kShape[i] == 'd' ? !isAsciiDigit(text[i]) : kShape[i] != text[i]) return {};
  }
  const auto field = [text](std::size_t at, std::size_t length) {
    return wholeNumber<int>(text.substr(at, length), 10).value_or(0);
  };
  const CivilDate day{field(0, 4), field(5, 2), field(8, 2)};
  const int hour = field(11, 2);
  const int minute = field(14, 2);
  const int second = field(17, 2);
  if (day.month < 1 || day.month > 12 || day.day < 1 || day.day > 31) return {};
  if (hour > 23 || minute > 59 || second > 60) return {};
  return Date{
      static_cast<double>(daysFromGregorian(day) * kSecondsPerDay + hour * 3600 + minute * 60 + second)};
}

Value dataIn(std::string_view text) {
  auto bytes = bytesInBase64(text);
  return bytes ? Value(Data(*std::move(bytes))) : Value();
}

void appendCharacter(std::string& out, std::uint32_t character) {
  const auto tail = [&out, character](unsigned shift) {
    out += static_cast<char>(0x80u | (character >> shift & 0x3fu));
  };
  if (character < 0x80) {
    out += static_cast<char>(character);
  } else if (character < 0x800) {
    out += static_cast<char>(0xc0u | character >> 6u);
    tail(0);
  } else if (character < 0x10000) {
    out += static_cast<char>(0xe0u | character >> 12u);
    tail(6);
    tail(0);
  } else {
    out += static_cast<char>(0xf0u | character >> 18u);
    tail(12);
    tail(6);
    tail(0);
  }
}

/// Appends the character for an entity name between "&" and ";"; returns false if it is unknown.
bool appendEntity(std::string& out, std::string_view name) {
  constexpr std::pair<std::string_view, char> kEntities[] = {
      {"amp", '&'}, {"lt", '<'}, {"gt", '>'}, {"quot", '"'}, {"apos", '\''}};
  for (const auto& [entity, character] : kEntities) {
    if (name != entity) continue;
    out += character;
    return true;
  }
  if (!name.starts_with('#')) return false;
  const bool hexadecimal = name.starts_with("#x");
  const auto character = wholeNumber<std::uint32_t>(name.substr(hexadecimal ? 2 : 1), hexadecimal ? 16 : 10);
  const bool surrogate = character && *character >= 0xd800 && *character <= 0xdfff;
  if (!character || *character == 0 || *character > 0x10ffff || surrogate) return false;
  appendCharacter(out, *character);
  return true;
}

/// Reads one text. Open containers are frames on an explicit stack, so that nesting does not recurse.
///
/// An XML parser would refuse files that programs write: strings with control characters, and with bytes that
/// are not UTF-8, which are replaced here.
class XmlReader {
 public:
  XmlReader(std::string_view text, ArchiveReferences references, std::uint64_t maximumObjects)
      : text_(text), references_(references), objectsLeft_(maximumObjects) {
    if (text_.starts_with(kByteOrderMark)) text_.remove_prefix(kByteOrderMark.size());
  }

  Value read() {
    while (!done_) {
      if (!skipToTag() || !readTag()) return {};
    }
    return skipMisc() && text_.empty() ? std::move(root_) : Value();
  }

 private:
  struct Frame {
    bool isDictionary = false;
    std::optional<std::string> key;
    Dictionary dictionary;
    std::vector<Value> values;
  };
  struct Tag {
    std::string_view name;
    bool isEnd = false;
    bool isEmpty = false;  ///< `<name/>`
  };

  /// Removes the text up to and including `end`; returns false if `end` is missing.
  bool skipPast(std::string_view end) {
    const std::size_t at = text_.find(end);
    if (at == std::string_view::npos) return false;
    text_.remove_prefix(at + end.size());
    return true;
  }

  /// Skips white space, comments, processing instructions and a document type without an internal subset.
  bool skipMisc() {
    for (;;) {
      while (!text_.empty() && isXmlSpace(text_.front())) text_.remove_prefix(1);
      if (text_.starts_with("<!--")) {
        text_.remove_prefix(4);
        if (!skipPast("-->")) return false;
      } else if (text_.starts_with("<?")) {
        if (!skipPast("?>")) return false;
      } else if (text_.starts_with("<!DOCTYPE")) {
        const std::size_t end = text_.find_first_of("[>");
        if (end == std::string_view::npos || text_[end] == '[') return false;
        text_.remove_prefix(end + 1);
      } else {
        return true;
      }
    }
  }

  bool skipToTag() { return skipMisc() && text_.starts_with('<'); }

  /// Removes a tag. Attributes are ignored.
  std::optional<Tag> takeTag() {
    const std::size_t end = text_.find('>');
    if (end == std::string_view::npos) return std::nullopt;
    std::string_view inside = text_.substr(1, end - 1);
    text_.remove_prefix(end + 1);
    Tag tag;
    if (inside.starts_with('/')) {
      tag.isEnd = true;
      inside.remove_prefix(1);
    } else if (inside.ends_with('/')) {
      tag.isEmpty = true;
      inside.remove_suffix(1);
    }
    tag.name = inside.substr(0, inside.find_first_of(" \t\r\n"));
    return tag;
  }

  bool readTag() {
    const auto tag = takeTag();
    if (!tag) return false;
    if (tag->name == "plist") return readPlistTag(*tag);
    if (tag->name == "array" || tag->name == "dict") return readContainerTag(*tag);
    if (tag->isEnd) return false;
    if (tag->name == "key") return readKey(*tag);
    const Value value = readScalar(*tag);
    return !value.isNil() && place(value);
  }

  bool readPlistTag(const Tag& tag) {
    if (!frames_.empty() || tag.isEmpty || tag.isEnd != insidePlist_) return false;
    insidePlist_ = !tag.isEnd;
    if (tag.isEnd) done_ = true;
    return !tag.isEnd || !root_.isNil();
  }

  bool readContainerTag(const Tag& tag) {
    const bool isDictionary = tag.name == "dict";
    if (!tag.isEnd) {
      if (frames_.size() >= static_cast<std::size_t>(kMaximumPropertyListDepth)) return false;
      frames_.emplace_back();
      frames_.back().isDictionary = isDictionary;
      if (!tag.isEmpty) return true;
    }
    if (frames_.empty() || frames_.back().isDictionary != isDictionary || frames_.back().key) return false;
    Frame frame = std::move(frames_.back());
    frames_.pop_back();
    return place(isDictionary ? valueOfDictionary(std::move(frame.dictionary))
                              : Value(Array(std::move(frame.values))));
  }

  /// The dictionary, or the archive reference that a dictionary with this single key represents.
  Value valueOfDictionary(Dictionary dictionary) const {
    const Value* const reference = dictionary.count() == 1 ? dictionary.find("CF$UID") : nullptr;
    if (!reference || reference->kind() != ValueKind::integer) return dictionary;
    if (references_ == ArchiveReferences::malformed || reference->integerValue() < 0) return {};
    return valueOfReference(static_cast<std::uint64_t>(reference->integerValue()));
  }

  bool readKey(const Tag& tag) {
    if (frames_.empty() || !frames_.back().isDictionary || frames_.back().key) return false;
    auto content = readContent(tag);
    if (!content) return false;
    frames_.back().key = std::move(content);
    return true;
  }

  Value readScalar(const Tag& tag) {
    const auto content = readContent(tag);
    if (!content) return {};
    if (tag.name == "string") return *content;
    if (tag.name == "integer") return integerIn(*content);
    if (tag.name == "real") return realIn(*content);
    if (tag.name == "date") return dateIn(*content);
    if (tag.name == "data") return dataIn(*content);
    const bool isBoolean = tag.name == "true" || tag.name == "false";
    return isBoolean && trimmed(*content).empty() ? Value(tag.name == "true") : Value();
  }

  /// The text of an element up to its end tag, with entities and CDATA sections resolved.
  std::optional<std::string> readContent(const Tag& tag) {
    std::string content;
    if (tag.isEmpty) return content;
    for (;;) {
      const std::size_t special = text_.find_first_of("<&");
      if (special == std::string_view::npos) return std::nullopt;
      content += text_.substr(0, special);
      text_.remove_prefix(special);
      if (text_.front() == '&') {
        const std::size_t end = text_.substr(0, kLongestEntity).find(';');
        if (end == std::string_view::npos || !appendEntity(content, text_.substr(1, end - 1))) {
          return std::nullopt;
        }
        text_.remove_prefix(end + 1);
      } else if (text_.starts_with(kCdata)) {
        const std::size_t end = text_.find("]]>");
        if (end == std::string_view::npos) return std::nullopt;
        content += text_.substr(kCdata.size(), end - kCdata.size());
        text_.remove_prefix(end + 3);
      } else if (text_.starts_with("<!--")) {
        text_.remove_prefix(4);
        if (!skipPast("-->")) return std::nullopt;
      } else {
        const auto end = takeTag();
        if (!end || !end->isEnd || end->name != tag.name) return std::nullopt;
        return isValidUtf8(content) ? std::move(content) : validUtf8(content);
      }
    }
  }

  /// Adds a value to the innermost container, or makes it the root.
  bool place(Value value) {
    if (value.isNil() || objectsLeft_-- == 0) return false;
    if (frames_.empty()) {
      if (!root_.isNil()) return false;
      root_ = std::move(value);
      done_ = !insidePlist_;
      return true;
    }
    Frame& frame = frames_.back();
    if (!frame.isDictionary) {
      frame.values.push_back(std::move(value));
      return true;
    }
    if (!frame.key) return false;
    frame.dictionary.setObject(std::move(value), *frame.key);
    frame.key.reset();
    return true;
  }

  static constexpr std::string_view kCdata = "<![CDATA[";
  /// Fits `&#x10FFFF;` with a few leading zeros.
  static constexpr std::size_t kLongestEntity = 16;

  std::string_view text_;
  ArchiveReferences references_;
  std::uint64_t objectsLeft_;
  std::vector<Frame> frames_;
  Value root_;
  bool insidePlist_ = false;
  bool done_ = false;
};

}  // namespace

Value readXmlPropertyList(std::string_view text, ArchiveReferences references, std::uint64_t maximumObjects) {
  return XmlReader(text, references, maximumObjects).read();
}

}  // namespace tidewell::base::detail
