// SPDX-License-Identifier: Apache-2.0
#include "PropertyListJson.h"

#include <fmt/format.h>

#include <cstdlib>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "tidewell/base/Exception.h"
#include "tidewell/base/internal/Base64.h"

namespace tidewell::tool {
namespace {

using base::Array;
using base::Dictionary;
using base::Value;
using base::ValueKind;

constexpr std::string_view kReal = "$real";
constexpr std::string_view kDate = "$date";
constexpr std::string_view kData = "$data";
constexpr std::string_view kDictionary = "$dictionary";

bool isMarker(std::string_view key) {
  return key == kReal || key == kDate || key == kData || key == kDictionary;
}

/// The shortest text that reads back as the same number.
std::string textOf(double number) { return fmt::format("{}", number); }

std::optional<double> numberIn(const std::string& text) {
  char* end = nullptr;
  const double number = std::strtod(text.c_str(), &end);
  if (text.empty() || end != text.c_str() + text.size()) return {};
  return number;
}

/// Text that `base64` writes, and no other that means the same.
std::optional<std::string> bytesIn(std::string_view text) {
  auto bytes = base::bytesInBase64(text);
  if (bytes && base::base64(*bytes) != text) return {};
  return bytes;
}

Value marked(std::string_view marker, Value content) { return Dictionary{{marker, std::move(content)}}; }

[[noreturn]] void refuse(std::string_view marker) {
  base::raise(base::kInvalidArgumentException,
              "The value of \"" + std::string(marker) + "\" is not what the marker stands for");
}

Value unmarked(std::string_view marker, const Value& content) {
  if (marker == kDictionary) {
    if (!content.dictionary()) refuse(marker);
    Dictionary result;
    for (const auto& [key, entry] : *content.dictionary()) result.setObject(propertyListWithJson(entry), key);
    return result;
  }
  if (!content.isString()) refuse(marker);
  if (marker == kData) {
    const auto bytes = bytesIn(*content.string());
    if (!bytes) refuse(marker);
    return base::Data(*bytes);
  }
  const auto number = numberIn(*content.string());
  if (!number) refuse(marker);
  if (marker == kReal) return *number;
  return base::Date{*number};
}

}  // namespace

Value jsonWithPropertyList(const Value& list) {
  switch (list.kind()) {
    case ValueKind::real:
      return marked(kReal, textOf(list.doubleValue()));
    case ValueKind::date:
      return marked(kDate, textOf(list.date()->secondsSince1970));
    case ValueKind::data:
      return marked(kData, base::base64(list.data()->view()));
    case ValueKind::array: {
      std::vector<Value> entries;
      for (const Value& entry : *list.array()) entries.push_back(jsonWithPropertyList(entry));
      return Array(std::move(entries));
    }
    case ValueKind::dictionary: {
      Dictionary result;
      for (const auto& [key, entry] : *list.dictionary()) result.setObject(jsonWithPropertyList(entry), key);
      if (result.count() == 1 && isMarker(result.begin()->key)) return marked(kDictionary, std::move(result));
      return result;
    }
    default:
      return list;
  }
}

Value propertyListWithJson(const Value& json) {
  if (const Array* const array = json.array()) {
    std::vector<Value> entries;
    for (const Value& entry : *array) entries.push_back(propertyListWithJson(entry));
    return Array(std::move(entries));
  }
  if (const Dictionary* const dictionary = json.dictionary()) {
    if (dictionary->count() == 1 && isMarker(dictionary->begin()->key)) {
      return unmarked(dictionary->begin()->key, dictionary->begin()->value);
    }
    Dictionary result;
    for (const auto& [key, entry] : *dictionary) result.setObject(propertyListWithJson(entry), key);
    return result;
  }
  if (json.isNull()) {
    base::raise(base::kInvalidArgumentException, "A property list cannot hold null");
  }
  if (json.kind() == ValueKind::real) {
    base::raise(base::kInvalidArgumentException,
                "Write a number with a fraction as {\"$real\": \"" + textOf(json.doubleValue()) + "\"}");
  }
  return json;
}

}  // namespace tidewell::tool
