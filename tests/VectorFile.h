// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <gtest/gtest.h>
#include <plist/plist.h>
#include <rapidjson/document.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include "tidewell/base/Exception.h"
#include "tidewell/base/Value.h"

/// Reads recorded answers of the platform (tests/data) with a JSON parser other than the library's.
namespace vectors {

namespace rj = tidewell_rapidjson;

inline std::string contents(const std::string& name) {
  std::ifstream file(std::string(TIDEWELL_TEST_DATA) + "/" + name, std::ios::binary);
  EXPECT_TRUE(file) << name;
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

inline std::string textOf(const rj::Value& json) { return {json.GetString(), json.GetStringLength()}; }
/// A text member, or "" if absent.
inline std::string textOf(const rj::Value& object, const char* member) {
  const auto found = object.FindMember(member);
  return found != object.MemberEnd() && found->value.IsString() ? textOf(found->value) : std::string();
}

inline std::string repeated(std::string_view text, std::size_t count) {
  std::string all;
  while (count-- > 0) all += text;
  return all;
}

inline std::string bytesOfHex(std::string_view hex) {
  std::string bytes;
  for (std::size_t at = 0; at + 1 < hex.size(); at += 2) {
    bytes += static_cast<char>(std::strtol(std::string(hex.substr(at, 2)).c_str(), nullptr, 16));
  }
  return bytes;
}

/// A file whose root is an object with the list `cases`.
inline rj::Document jsonFile(const std::string& name) {
  rj::Document document;
  document.Parse<rj::kParseFullPrecisionFlag>(contents(name));
  EXPECT_FALSE(document.HasParseError()) << name;
  EXPECT_GT(document["cases"].Size(), 0u) << name;
  return document;
}

/// The value of `{"t": TYPE, "v": CONTENT}`.
inline tidewell::base::Value valueOf(const rj::Value& typed) {
  using namespace tidewell::base;
  const std::string type = textOf(typed, "t");
  if (type == "nil") return {};
  if (type == "null") return Value::null();
  const rj::Value& content = typed["v"];
  if (type == "bool") return content.IsBool() ? content.GetBool() : textOf(content) == "true";
  if (type == "int") return static_cast<std::int64_t>(std::strtoll(textOf(content).c_str(), nullptr, 10));
  if (type == "uint") return static_cast<std::uint64_t>(std::strtoull(textOf(content).c_str(), nullptr, 10));
  if (type == "double") return std::strtod(textOf(content).c_str(), nullptr);
  if (type == "string") return textOf(content);
  if (type == "data") return Data(bytesOfHex(textOf(content)));
  if (type == "date") return Date{content.GetDouble()};
  if (type == "url") {
    const auto url = Url::URLWithString(textOf(content));
    EXPECT_TRUE(url) << textOf(content);
    return url;
  }
  if (type == "array") {
    Array array;
    for (const rj::Value& entry : content.GetArray()) array.addObject(valueOf(entry));
    return array;
  }
  if (type == "dictionary") {
    Dictionary dictionary;
    for (const rj::Value& pair : content.GetArray()) dictionary.setObject(valueOf(pair[1]), textOf(pair[0]));
    return dictionary;
  }
  ADD_FAILURE() << "unknown type " << type;
  return {};
}

/// Expects equality including kinds and the order of dictionaries.
inline void expectSame(const tidewell::base::Value& actual, const tidewell::base::Value& expected) {
  ASSERT_EQ(actual.kind(), expected.kind()) << expected.description();
  EXPECT_EQ(actual, expected);
  for (std::size_t i = 0; expected.array() && i < expected.array()->count(); ++i)
    expectSame(actual.array()->objectAtIndex(i), expected.array()->objectAtIndex(i));
  if (!expected.dictionary()) return;
  ASSERT_EQ(actual.dictionary()->allKeys(), expected.dictionary()->allKeys());
  for (const auto& [key, value] : *expected.dictionary())
    expectSame(actual.dictionary()->objectForKey(key), value);
}

/// Calls the function with the name, bytes and content of each recorded keyed archive.
template <class Function>
void eachKeyedArchive(Function function) {
  for (const auto& file : std::filesystem::directory_iterator(TIDEWELL_TEST_DATA "/keyed_archive")) {
    if (file.path().extension() != ".plist") continue;
    const std::string name = file.path().stem();
    SCOPED_TRACE(name);
    rj::Document twin;
    twin.Parse(contents("keyed_archive/" + name + ".json"));
    function(name, contents("keyed_archive/" + name + ".plist"), twin);
  }
}

/// The exception of a function as "NAME: REASON", or "" if it returns.
template <class Function>
std::string raisedBy(Function function) {
  try {
    static_cast<void>(function());
    return {};
  } catch (const tidewell::base::Exception& exception) {
    return exception.name() + ": " + exception.reason();
  }
}

/// A row of a tab-separated file, by column name.
using Row = std::map<std::string, std::string>;

inline std::vector<std::string> cellsOf(const std::string& line) {
  std::vector<std::string> cells;
  std::istringstream text(line);
  for (std::string cell; std::getline(text, cell, '\t');) cells.push_back(cell);
  if (line.ends_with('\t')) cells.emplace_back();
  return cells;
}

inline std::vector<Row> tableFile(const std::string& name) {
  std::istringstream lines(contents(name));
  std::string line;
  std::getline(lines, line);
  const std::vector<std::string> columns = cellsOf(line);
  std::vector<Row> rows;
  while (std::getline(lines, line)) {
    if (line.empty()) continue;
    const std::vector<std::string> cells = cellsOf(line);
    EXPECT_EQ(cells.size(), columns.size()) << name << ": " << line;
    Row row;
    for (std::size_t i = 0; i < columns.size() && i < cells.size(); ++i) row[columns[i]] = cells[i];
    rows.push_back(std::move(row));
  }
  EXPECT_FALSE(rows.empty()) << name;
  return rows;
}

/// The text of a cell that is a JSON string literal.
inline std::string cellText(const std::string& cell) {
  rj::Document document;
  document.Parse(cell);
  EXPECT_TRUE(document.IsString()) << cell;
  return textOf(document);
}

/// The list after a round trip through another implementation.
inline std::string rewrittenByPeer(const std::string& bytes, bool toXml) {
  plist_t list = nullptr;
  plist_from_memory(bytes.data(), static_cast<std::uint32_t>(bytes.size()), &list);
  EXPECT_NE(list, nullptr);
  char* out = nullptr;
  std::uint32_t length = 0;
  (toXml ? plist_to_xml : plist_to_bin)(list, &out, &length);
  plist_free(list);
  std::string result(out, length);
  plist_to_bin_free(out);
  return result;
}

}  // namespace vectors
