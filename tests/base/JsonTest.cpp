#include "tidewell/base/formats/Json.h"

#include <cmath>

#include "VectorFile.h"
#include "tidewell/base/Exception.h"

using namespace tidewell::base;
using namespace std::string_view_literals;

namespace {

std::string repeated(std::string_view text, std::size_t count) {
  std::string all;
  while (count-- > 0) all += text;
  return all;
}

/// How many containers lie in each other, each the only entry of the one around it.
std::size_t levelsOf(Value value) {
  std::size_t levels = 0;
  for (; value.array() || value.dictionary(); ++levels) {
    if (value.dictionary()) {
      value = value.dictionary()->objectForKey("a");
    } else {
      value = value.array()->empty() ? Value() : value.array()->objectAtIndex(0);
    }
  }
  return levels;
}

/// The row's text, spelled out or built of a repeated pattern.
std::string bytesOf(const vectors::rj::Value& row) {
  if (!row.HasMember("build")) return vectors::bytesOfHex(vectors::textOf(row, "hex"));
  const std::string pattern = vectors::textOf(row["build"], "pattern");
  const std::size_t count = row["build"]["count"].GetUint();
  const bool object = pattern.front() == '{';
  return repeated(pattern, count) + (object ? "null" : "") + repeated(object ? "}" : "]", count);
}

}  // namespace

TEST(JsonReading, AnswersAsThePlatformDoes) {
  const auto file = vectors::jsonFile("json_read.json");
  for (const auto& row : file["cases"].GetArray()) {
    if (vectors::textOf(row, "options") == "fragments") continue;  // not supported
    const std::string id = vectors::textOf(row, "id");
    const std::string type = vectors::textOf(row["expected"], "t");
    Error error;
    const Value value = JSONObjectWithData(bytesOf(row), &error);
    if (type == "error") {
      EXPECT_TRUE(value.isNil()) << id;
      EXPECT_EQ(error.domain + std::to_string(error.code), std::string(kCocoaErrorDomain) + "3840") << id;
    } else if (type == "nested") {
      EXPECT_EQ(levelsOf(value), row["expected"]["v"].GetUint()) << id;
    } else {
      EXPECT_EQ(value, vectors::valueOf(row["expected"])) << id << value.description();
      EXPECT_EQ(error, Error()) << id;
    }
  }
}

TEST(JsonReading, NumbersAreExactAndMalformedEncodingsAreErrors) {
  const std::pair<std::string_view, Value> rows[] = {
      {"[9223372036854775807]", INT64_MAX},
      {"[-9223372036854775808]", INT64_MIN},
      {"[9223372036854775808]", std::uint64_t{1} << 63},
      {"[-9223372036854775809]", -0x1p63},
      {"[18446744073709551616]", 0x1p64},
      {"[1.0]", 1.0},
      {"[true]", true},
      {"[0.00000000000000001e-2147483639]", 0.0},
      {"[1e-999999999999999999999]", 0.0},
      {"[4.9406564584124654e-324]", 0x1p-1074},
      {"[1.7976931348623157e308]", 0x1.fffffffffffffp1023},
      {"[9007199254740993.0]", 9007199254740992.0},
      {"[0.500000000000000166533453693773481063544750213623046875]", 0x1.0000000000002p-1},
      {"\xFE\xFF\0[\0\"\xD8\x3D\xDE\0\0\"\0]"sv, "\U0001F600"},
      {"[1.7976931348623159e308]", {}},
      {"[1]\0"sv, {}},
      {"[1]\0[2]"sv, {}},
      {"\xEF\xBB"sv, {}},
      {"\xFF\xFE"sv, {}},
      {"\xFE\xFF\0[\0]\0"sv, {}},
      {"[\"\xED\xA0\x80\"]"sv, {}},
      {"\xFE\xFF\0[\0\"\xD8\0\0\"\0]"sv, {}},
      {"\xFE\xFF\0[\0\"\xDC\0\0\"\0]"sv, {}},
      {"\0\0\0[\0\x11\0\0\0\0\0]"sv, {}},
      {"\0"sv, {}}};
  for (const auto& [text, expected] : rows) {
    const Value root = JSONObjectWithData(text);
    const Value value = root ? root.array()->objectAtIndex(0) : Value();
    EXPECT_EQ(value, expected) << text;
    EXPECT_EQ(value.kind(), expected.kind()) << text;
  }
  for (std::size_t length = 4090; length <= 4100; ++length) {  // around the size of the reader's buffer
    const std::string inside(length - 4, 'x');
    EXPECT_EQ(JSONObjectWithData("[\"" + inside + "\"]"), Value(Array{inside})) << length;
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
    try {
      (void)dataWithJSONObject(value);
      ADD_FAILURE() << reason;
    } catch (const Exception& exception) {
      EXPECT_EQ(exception.name(), kInvalidArgumentException);
      EXPECT_EQ(exception.reason(), reason);
    }
  }
}
