// SPDX-License-Identifier: Apache-2.0
#include <cmath>
#include <cstdio>

#include "tidewell/base/Exception.h"
#include "tidewell/base/internal/Base64.h"
#include "tidewell/base/internal/CivilDate.h"
#include "tidewell/base/internal/NumberText.h"
#include "tidewell/base/internal/Unicode.h"
#include "tidewell/base/internal/XmlPropertyList.h"

namespace tidewell::base::detail {

namespace {

constexpr std::string_view kProlog =
    "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
    "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" "
    "\"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n"
    "<plist version=\"1.0\">\n";

std::string escaped(std::string_view text) {
  std::string out;
  out.reserve(text.size());
  for (const char c : validUtf8(text)) {
    switch (c) {
      case '&':
        out += "&amp;";
        break;
      case '<':
        out += "&lt;";
        break;
      case '>':
        out += "&gt;";
        break;
      case '\r':
        out += "&#13;";
        break;  // a reader would turn it into a line feed
      default:
        if (static_cast<unsigned char>(c) < 0x20 && c != '\t' && c != '\n') {
          raise(kInvalidArgumentException, "XML property lists cannot carry control characters");
        }
        out += c;
    }
  }
  return out;
}

std::string dateText(Date date) {
  constexpr double kFirst = -62135596800.0;  // 0001-01-01
  constexpr double kLast = 253402300799.0;   // 9999-12-31T23:59:59
  const double whole = std::floor(date.secondsSince1970);
  if (!(whole >= kFirst && whole <= kLast)) {
    raise(kInvalidArgumentException, "XML property lists carry dates of the years 1 to 9999");
  }
  const auto seconds = static_cast<std::int64_t>(whole);
  const std::int64_t day = floorDivide(seconds, kSecondsPerDay);
  const auto rest = static_cast<int>(seconds - day * kSecondsPerDay);
  const CivilDate civil = gregorianFromDays(day);
  char text[64];
  std::snprintf(text, sizeof text, "%04d-%02d-%02dT%02d:%02d:%02dZ", static_cast<int>(civil.year),
                civil.month, civil.day, rest / 3600, rest / 60 % 60, rest % 60);
  return text;
}

class XmlWriter {
 public:
  std::string write(const Value& value) {
    out_ = kProlog;
    append(value, 0);
    out_ += "</plist>\n";
    return std::move(out_);
  }

 private:
  void line(std::size_t level, std::string_view text) { out_.append(level, '\t').append(text).append("\n"); }
  void element(std::size_t level, std::string_view name, std::string_view content) {
    out_.append(level, '\t').append("<").append(name).append(">").append(content).append("</").append(name);
    out_.append(">\n");
  }

  void append(const Value& value, std::size_t level) {
    switch (value.kind()) {
      case ValueKind::boolean:
        return line(level, value.boolValue() ? "<true/>" : "<false/>");
      case ValueKind::integer:
      case ValueKind::unsignedInteger:
        return element(level, "integer", value.description());
      case ValueKind::real: {
        std::string number;
        appendShortestReal(number, value.doubleValue());
        return element(level, "real", number);
      }
      case ValueKind::string:
        return element(level, "string", escaped(*value.string()));
      case ValueKind::data:
        return element(level, "data", base64(value.data()->view()));
      case ValueKind::date:
        return element(level, "date", dateText(*value.date()));
      case ValueKind::array:
        return appendArray(*value.array(), level);
      case ValueKind::dictionary:
        return appendDictionary(*value.dictionary(), level);
      default:
        raise(kInvalidArgumentException, "not a property list");
    }
  }

  void appendArray(const Array& array, std::size_t level) {
    if (array.empty()) return line(level, "<array/>");
    line(level, "<array>");
    for (const Value& entry : array) append(entry, level + 1);
    line(level, "</array>");
  }

  void appendDictionary(const Dictionary& dictionary, std::size_t level) {
    if (dictionary.empty()) return line(level, "<dict/>");
    line(level, "<dict>");
    for (const auto& [key, entry] : dictionary) {
      element(level + 1, "key", escaped(key));
      append(entry, level + 1);
    }
    line(level, "</dict>");
  }

  std::string out_;
};

}  // namespace

std::string writeXmlPropertyList(const Value& value) { return XmlWriter().write(value); }

}  // namespace tidewell::base::detail
