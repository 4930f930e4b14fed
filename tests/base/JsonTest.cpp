// SPDX-License-Identifier: Apache-2.0
#include "tidewell/base/formats/Json.h"

#include <cmath>

#include "VectorFile.h"
#include "tidewell/base/Exception.h"

using namespace tidewell::base;
using vectors::repeated;

namespace {

/// The row's text, given literally or as a repeated pattern.
std::string bytesOf(const vectors::rj::Value& row) {
  if (!row.HasMember("build")) return vectors::bytesOfHex(vectors::textOf(row, "hex"));
  const std::string pattern = vectors::textOf(row["build"], "pattern");
  const std::size_t count = row["build"]["count"].GetUint();
  const bool object = pattern.front() == '{';
  return repeated(pattern, count) + (object ? "null" : "") + repeated(object ? "}" : "]", count);
}

}  // namespace

TEST(JsonReading, ParsesAsThePlatformDoes) {
  const auto file = vectors::jsonFile("json_read.json");
  for (const auto& row : file["cases"].GetArray()) {
    if (vectors::textOf(row, "options") == "fragments") continue;  // not supported
    SCOPED_TRACE(vectors::textOf(row, "id"));
    const std::string type = vectors::textOf(row["expected"], "t");
    Error error;
    const Value value = JSONObjectWithData(bytesOf(row), &error);
    if (type == "error") {
      EXPECT_TRUE(value.isNil());
      EXPECT_EQ(error.domain + std::to_string(error.code), std::string(kCocoaErrorDomain) + "3840");
    } else if (type == "nested") {
      EXPECT_EQ(dataWithJSONObject(value), bytesOf(row));
    } else {
      vectors::expectSame(value, vectors::valueOf(row["expected"]));
      EXPECT_EQ(error, Error());
    }
  }
}

TEST(JsonReading, FindsWhatEndsAPlainTextAtEveryPlaceOfAWord) {
  for (std::size_t length = 0; length < 20; ++length) {
    for (std::size_t at = 0; at <= length; ++at) {
      std::string text(length, '\xff');
      for (std::size_t i = 0; i + 1 < length; i += 2) text.replace(i, 2, "\u00e9");
      if (length % 2 != 0) text.back() = 'x';
      if (at % 2 != 0 && at != length) continue;  // inside a character
      const auto with = [&](std::string_view part) { return std::string(text).insert(at, part); };
      EXPECT_EQ(JSONObjectWithData("[\"" + text + "\"]"), Value(Array{text}));
      EXPECT_EQ(JSONObjectWithData("[\"" + with("\\\"") + "\"]"), Value(Array{with("\"")}));
      EXPECT_EQ(JSONObjectWithData("[\"" + with("\x7f~!") + "\"]"), Value(Array{with("\x7f~!")}));
      for (const char* part : {"\"", "\x1f", "\n"})
        EXPECT_TRUE(JSONObjectWithData("[\"" + with(part) + "\"]").isNil()) << length << ' ' << at;
      for (const auto& [part, escaped] : {std::pair("/", "\\/"), {"\\", "\\\\"}, {"\x1f", "\\u001f"}})
        EXPECT_EQ(dataWithJSONObject(Array{with(part)}), "[\"" + with(escaped) + "\"]");
    }
  }
}

TEST(JsonWriting, WritesAsThePlatformDoes) {
  const auto file = vectors::jsonFile("json_write.json");
  for (const auto& row : file["cases"].GetArray()) {
    const std::string id = vectors::textOf(row, "id");
    const Value value = vectors::valueOf(row["value"]);
    if (row["raises"].GetBool()) {
      EXPECT_THROW((void)dataWithJSONObject(value), Exception) << id;
      continue;
    }
    const std::string compact = dataWithJSONObject(value);
    EXPECT_EQ(JSONObjectWithData(compact), value) << id << compact;
    EXPECT_EQ(row.HasMember("compact") ? vectors::textOf(row, "compact") : compact, compact) << id;
    if (row.HasMember("pretty")) {
      EXPECT_EQ(dataWithJSONObject(value, JsonWriting::prettyPrinted), vectors::textOf(row, "pretty")) << id;
    }
  }
  EXPECT_EQ(dataWithJSONObject(Dictionary{{"\xFF", "a\xC3"}}), "{\"\uFFFD\":\"a\uFFFD\"}");
  Value nested = 1;
  for (int i = 0; i < 100000; ++i) nested = Array{nested};
  const std::pair<Value, const char*> raising[] = {
      {Array{Date{1}}, "Invalid type in JSON write (NSDate)"},
      {Array{NAN}, "Invalid number value (NaN) in JSON write"},
      {Array{Value()}, "Invalid type in JSON write (nil)"},
      {nested, "Too many nested arrays or dictionaries in JSON write"}};
  for (const auto& [value, reason] : raising) {
    EXPECT_EQ(vectors::raisedBy([&, &written = value] { return dataWithJSONObject(written); }),
              std::string(kInvalidArgumentException) + ": " + reason);
  }
}
