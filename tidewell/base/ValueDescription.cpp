// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <iterator>
#include <string_view>
#include <vector>

#include "tidewell/base/internal/Ascii.h"
#include "tidewell/base/internal/NumberText.h"
#include "tidewell/base/internal/Records.h"
#include "tidewell/base/internal/Unicode.h"

namespace tidewell::base {
namespace {

constexpr std::size_t kIndent = 4;

bool needsNoQuotes(char c) { return detail::isAsciiDigit(c) || detail::isAsciiLetter(c); }

/// Appends an ASCII character as it appears between quotes.
void appendEscaped(std::string& out, char c) {
  switch (c) {
    case '"':
      out += "\\\"";
      return;
    case '\\':
      out += "\\\\";
      return;
    case '\n':
      out += "\\n";
      return;
    case '\t':
      out += "\\t";
      return;
    default:
      out += c;
  }
}

/// Appends a text as it appears in a container: in quotes unless it consists of ASCII letters and digits
/// only.
void appendQuoted(std::string& out, std::string_view text) {
  if (!text.empty() && std::all_of(text.begin(), text.end(), needsNoQuotes)) {
    out += text;
    return;
  }
  out += '"';
  const auto beyondAscii = std::find_if(text.begin(), text.end(), [](char c) { return (c & 0x80) != 0; });
  std::for_each(text.begin(), beyondAscii, [&out](char c) { appendEscaped(out, c); });
  for (const char16_t unit :
       utf16FromUtf8(text.substr(static_cast<std::size_t>(beyondAscii - text.begin())))) {
    if (unit < 0x80) {
      appendEscaped(out, static_cast<char>(unit));
    } else {
      detail::appendHex(out.append("\\U"), static_cast<std::uint8_t>(unit >> 8));
      detail::appendHex(out, static_cast<std::uint8_t>(unit));
    }
  }
  out += '"';
}

/// Ranks a UTF-8 byte so that texts sort by UTF-16 code units, where characters beyond the BMP precede
/// U+E000.
unsigned rankOf(char c) {
  const auto byte = static_cast<unsigned char>(c);
  return byte >= 0xEE && byte <= 0xEF ? byte + 0x100u : byte;
}

bool comesBefore(std::string_view a, std::string_view b) {
  const auto [left, right] = std::mismatch(
      a.begin(), a.begin() + static_cast<std::ptrdiff_t>(std::min(a.size(), b.size())), b.begin());
  if (left == a.end() || right == b.end()) return a.size() < b.size();
  return rankOf(*left) < rankOf(*right);
}

std::vector<const Dictionary::Entry*> entriesInOrder(const Dictionary& dictionary) {
  std::vector<const Dictionary::Entry*> entries;
  entries.reserve(dictionary.count());
  for (const Dictionary::Entry& entry : dictionary) entries.push_back(&entry);
  std::sort(entries.begin(), entries.end(),
            [](const auto* a, const auto* b) { return comesBefore(a->key, b->key); });
  return entries;
}

void appendContainer(std::string& out, const Value& container, int level);

/// An entry that is itself a container is indented at its own level.
void appendEntry(std::string& out, const Value& entry, int level) {
  switch (entry.kind()) {
    case Value::Kind::array:
    case Value::Kind::dictionary:
      appendContainer(out, entry, level);
      return;
    case Value::Kind::data:
      out += entry.data()->description();
      return;
    case Value::Kind::string:
      appendQuoted(out, *entry.string());
      return;
    default:
      appendQuoted(out, entry.description());
  }
}

void appendContainer(std::string& out, const Value& container, int level) {
  if (level >= Value::kMaximumDescriptionDepth) {
    out += "...";
    return;
  }
  const std::size_t outer = kIndent * static_cast<std::size_t>(level);
  out.append(outer, ' ');
  if (const Array* array = container.array()) {
    out += "(\n";
    for (const Value& value : *array) {
      out.append(outer + kIndent, ' ');
      appendEntry(out, value, level + 1);
      out += &value + 1 == array->end() ? "\n" : ",\n";
    }
    out.append(outer, ' ');
    out += ')';
  } else {
    out += "{\n";
    for (const Dictionary::Entry* entry : entriesInOrder(*container.dictionary())) {
      out.append(outer + kIndent, ' ');
      appendQuoted(out, entry->key);
      out += " = ";
      appendEntry(out, entry->value, level + 1);
      out += ";\n";
    }
    out.append(outer, ' ');
    out += '}';
  }
}

}  // namespace

std::string Value::description() const {
  std::string text;
  appendDescription(text);
  return text;
}

void Value::appendDescription(std::string& out) const {
  switch (kind()) {
    case Kind::none:
      out += "(null)";
      return;
    case Kind::null:
      out += "<null>";
      return;
    case Kind::boolean:
      out += boolean_ ? '1' : '0';
      return;
    case Kind::integer:
      appendInteger(out, integer_);
      return;
    case Kind::unsignedInteger:
      appendInteger(out, unsigned_);
      return;
    case Kind::real:
      appendReal(out, real_);
      return;
    case Kind::date:
      out += date_.description();
      return;
    case Kind::pointer:
      appendAddress(out, pointer_.address);
      return;
    case Kind::string:
      out += *string();
      return;
    case Kind::data:
      out += data()->description();
      return;
    case Kind::url:
      out += url()->absoluteString();
      return;
    case Kind::object:
      out += object()->operations->description(object()->object.get());
      return;
    case Kind::array:
    case Kind::dictionary:
      appendContainer(out, *this, 0);
      return;
  }
}

}  // namespace tidewell::base
