// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <clocale>
#include <cmath>
#include <random>

#include "VectorFile.h"
#include "tidewell/base/Exception.h"
#include "tidewell/base/KeyPath.h"
#include "tidewell/base/formats/Json.h"
#include "tidewell/base/formats/TextFormat.h"
#include "tidewell/base/internal/Unicode.h"

using namespace tidewell::base;

namespace {

/// The class and description of the result, or the name of the exception.
std::string keyPathAnswer(const Value& root, const std::string& path) {
  try {
    const Value answer = valueForKeyPath(root, path);
    return answer.className() + " " + answer.description();
  } catch (const Exception& exception) {
    return exception.name();
  }
}

Value inputOf(const vectors::Row& row) {
  const std::string& kind = row.at("kind");
  const std::string& input = row.at("input");
  if (kind == "nil") return {};
  if (kind == "null") return Value::null();
  if (kind == "string") return vectors::cellText(input);
  if (kind == "url") return Url::URLWithString(vectors::cellText(input));
  if (kind == "data") return Data(vectors::bytesOfHex(input));
  if (kind == "uint") return std::uint64_t{std::stoull(input)};
  if (kind == "double") return std::stod(input);
  return JSONObjectWithData("[" + input + "]").array()->objectAtIndex(0);
}

std::string number(const Value& value, const std::string& operation) {
  try {
    if (operation == "boolValue") return value.boolValue() ? "YES" : "NO";
    if (operation == "doubleValue") return stringWithFormat("%g", {value.doubleValue()});
    return std::to_string(value.integerValue());
  } catch (const Exception& exception) {
    return exception.name() == kInvalidArgumentException ? "raises" : exception.name();
  }
}

}  // namespace

TEST(Dictionary, KeepsOrderAndIndependentCopiesInRandomWrites) {
  using Model = std::vector<std::pair<std::string, int>>;  // in order of insertion
  std::mt19937 random(1);
  Dictionary dictionary, snapshot;
  Model model, snapshotModel;
  const auto entriesOf = [](const Dictionary& from) {
    Model entries;
    for (const auto& [key, value] : from) entries.emplace_back(key, static_cast<int>(value.integerValue()));
    return entries;
  };
  for (int step = 0; step < 5000; ++step) {
    const std::string key = "key " + std::to_string(random() % 60);
    const auto known =
        std::find_if(model.begin(), model.end(), [&](const auto& each) { return each.first == key; });
    ASSERT_EQ(dictionary.objectForKey(key), known != model.end() ? Value(known->second) : Value());
    if (random() % 3 == 0) {
      dictionary.removeObjectForKey(key);
      if (known != model.end()) model.erase(known);
    } else {
      dictionary.setObject(step, key);
      (known != model.end() ? *known : model.emplace_back(key, 0)).second = step;
    }
    ASSERT_EQ(entriesOf(dictionary), model);
    if (step % 7 != 0) continue;
    ASSERT_EQ(entriesOf(snapshot), snapshotModel);
    snapshot = dictionary;
    snapshotModel = model;
  }
  dictionary.setObject(Value(dictionary), dictionary.begin()->key);  // its own key and value
  EXPECT_EQ(dictionary.begin()->value.dictionary()->count(), dictionary.count());
  EXPECT_THROW(dictionary.setObject(Value(), "a"), Exception);
  EXPECT_THROW((Dictionary{{"a", Value()}}), Exception);
  EXPECT_THROW((void)Array{1}.objectAtIndex(1), Exception);
}

TEST(Value, DeepNestingDoesNotOverflowTheStack) {
  const auto nested = [](int levels) {
    Value value = "core";
    for (int i = 0; i < levels; ++i)
      value = i % 2 ? Value(Array{std::move(value), 1}) : Value(Dictionary{{"k", std::move(value)}});
    return value;
  };
  const Value deep = nested(200000);
  EXPECT_EQ(deep, nested(200000));
  EXPECT_EQ(deep.hash(), nested(200000).hash());
  EXPECT_NE(deep, nested(199999));
  EXPECT_NE(deep.description().find("..."), std::string::npos);
  Value arrays = 1;
  for (int i = 0; i < 100000; ++i) arrays = Array{arrays};
  EXPECT_EQ(keyPathAnswer(arrays, "x"), kRangeException);
}

TEST(Value, NumbersCompareByValueAndHashAlike) {
  const std::tuple<Value, Value, bool> rows[] = {
      {1, true, true},
      {1, 1.0, true},
      {0, -0.0, true},
      {-5, -5.0, true},
      {NAN, NAN, true},
      {0x1p63, 1ull << 63, true},
      {Dictionary{{"a", 1}, {"b", 2}}, Dictionary{{"b", 2.0}, {"a", true}}, true},
      {1, "1", false},
      {-1, UINT64_MAX, false},
      {INT64_MAX, 0x1p63, false},
      {(1ll << 53) + 1, 0x1p53, false},
      {Value(), Value::null(), false},
      {0, Value(), false},
      {Array{}, Dictionary{}, false},
      {Array{1}, Array{2}, false},
      {Data("a"), "a", false},
      {Date{1}, 1, false}};
  for (const auto& [a, b, areEqual] : rows) {
    EXPECT_EQ(a == b, areEqual) << a.description() << " " << b.description();
    EXPECT_TRUE(!areEqual || a.hash() == b.hash()) << a.description();
  }
}

TEST(Value, DescriptionsMatchThePlatform) {
  const auto file = vectors::jsonFile("description.json");
  for (const auto& row : file["cases"].GetArray()) {
    const Value value = vectors::valueOf(row["value"]);
    EXPECT_EQ(value.description(), vectors::textOf(row, "expected")) << vectors::textOf(row, "id");
    EXPECT_EQ(stringWithFormat("%@", {value}), value.description());
  }
  EXPECT_EQ(Array({"a\xFF\xE2\x82"}).description(), "(\n    \"a\\Ufffd\\Ufffd\"\n)");
}

TEST(Value, KeyPathsWorkAsOnThePlatform) {
  const auto file = vectors::jsonFile("key_path.json");
  for (const auto& row : file["cases"].GetArray()) {
    const auto& expected = row["expected"];
    std::string text = vectors::textOf(expected, "v");
    if (vectors::textOf(expected, "t") != "raises") {
      const Value value = vectors::valueOf(expected);
      text = value.className() + " " + value.description();
    }
    EXPECT_EQ(keyPathAnswer(vectors::valueOf(row["root"]), vectors::textOf(row, "keyPath")), text)
        << vectors::textOf(row, "id");
  }
  std::string longPath = "a";
  for (int i = 0; i < 1000; ++i) longPath += ".@sum";
  EXPECT_EQ(keyPathAnswer(Array{1}, longPath), kRangeException);
}

TEST(Value, TextsConvertToNumbersAsOnThePlatform) {
  std::setlocale(LC_ALL, "de_DE.UTF-8");  // has a decimal comma, if installed
  for (const vectors::Row& row : vectors::tableFile("number_conversion.tsv"))
    EXPECT_EQ(number(inputOf(row), row.at("operation")), row.at("expected")) << row.at("id");
  for (const vectors::Row& row : vectors::tableFile("scan_hex.tsv")) {
    const HexScan scan = scanHexInt(vectors::cellText(row.at("string")), std::stoul(row.at("start")));
    EXPECT_EQ(scan.found ? std::to_string(scan.value) : "", row.at("value")) << row.at("id");
    EXPECT_EQ(std::to_string(scan.position), row.at("end")) << row.at("id");
  }
}
