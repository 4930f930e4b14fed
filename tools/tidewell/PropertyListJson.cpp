// SPDX-License-Identifier: Apache-2.0
#include "PropertyListJson.h"

#include <fmt/format.h>
#include <openssl/evp.h>

#include <algorithm>
#include <cstdlib>
#include <limits>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "tidewell/base/Exception.h"

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

std::string base64Of(std::string_view bytes) {
  std::string text((bytes.size() + 2) / 3 * 4 + 1, '\0');  // with the NUL that the function appends
  const int length =
      EVP_EncodeBlock(reinterpret_cast<unsigned char*>(text.data()),
                      reinterpret_cast<const unsigned char*>(bytes.data()), static_cast<int>(bytes.size()));
  text.resize(static_cast<std::size_t>(length));
  return text;
}

std::optional<std::string> bytesInBase64(std::string_view text) {
  if (text.size() % 4 != 0 || text.size() > std::numeric_limits<int>::max()) return {};
  std::string bytes(text.size() / 4 * 3, '\0');
  const int length =
      EVP_DecodeBlock(reinterpret_cast<unsigned char*>(bytes.data()),
                      reinterpret_cast<const unsigned char*>(text.data()), static_cast<int>(text.size()));
  if (length < 0) return {};
  const auto padding =
      std::count(text.end() - std::min<std::ptrdiff_t>(2, std::ssize(text)), text.end(), '=');
  bytes.resize(static_cast<std::size_t>(length) - static_cast<std::size_t>(padding));
  if (base64Of(bytes) != text) return {};  // padding elsewhere, or bits that are lost
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
    const auto bytes = bytesInBase64(*content.string());
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
      return marked(kData, base64Of(list.data()->view()));
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
