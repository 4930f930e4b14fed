#include <gtest/gtest.h>

#include "tidewell/base/internal/PercentEncoding.h"
#include "tidewell/base/internal/Unicode.h"

using namespace tidewell::base;
using namespace std::string_view_literals;

TEST(Unicode, IllFormedBytesBecomeOneReplacementForEachMaximalPart) {
  // The examples of the standard (tables 3-8 to 3-11).
  const std::pair<std::string_view, std::string_view> cases[] = {
      {"\xC0\xAF\xE0\x80\xBF\xF0\x81\x82\x41"sv, "\uFFFD\uFFFD\uFFFD\uFFFD\uFFFD\uFFFD\uFFFD\uFFFDA"sv},
      {"\xED\xA0\x80\xED\xBF\xBF\xED\xAF\x41"sv, "\uFFFD\uFFFD\uFFFD\uFFFD\uFFFD\uFFFD\uFFFD\uFFFDA"sv},
      {"\xF4\x91\x92\x93\xFF\x41\x80\xBF\x42"sv, "\uFFFD\uFFFD\uFFFD\uFFFD\uFFFDA\uFFFD\uFFFDB"sv},
      {"\xE1\x80\xE2\xF0\x91\x92\xF1\xBF\x41"sv, "\uFFFD\uFFFD\uFFFD\uFFFDA"sv},
      {"eight bytes \xE2\x82"sv, "eight bytes \uFFFD"sv}};
  for (const auto& [bytes, expected] : cases) {
    EXPECT_FALSE(isValidUtf8(bytes));
    EXPECT_EQ(validUtf8(bytes), expected);
    EXPECT_EQ(utf8FromUtf16(utf16FromUtf8(bytes)), expected);
    EXPECT_EQ(utf16Length(bytes), utf16FromUtf8(bytes).size());
  }
}

TEST(Unicode, EveryCharacterSurvivesTheWayThere) {
  std::string all;
  for (char32_t c = 0; c <= 0x10FFFF; ++c) {
    if (c >= 0xD800 && c < 0xE000) continue;
    std::u16string units(1, static_cast<char16_t>(c));
    if (c > 0xFFFF)
      units = {static_cast<char16_t>(0xD7C0 + (c >> 10)), static_cast<char16_t>(0xDC00 + (c & 0x3FF))};
    const std::string bytes = utf8FromUtf16(units);
    ASSERT_EQ(bytes.size(), c < 0x80 ? 1u : c < 0x800 ? 2u : c < 0x10000 ? 3u : 4u);
    ASSERT_EQ(utf16FromUtf8(bytes), units);
    all += bytes;
  }
  EXPECT_TRUE(isValidUtf8(all));
  EXPECT_EQ(utf16Length(all), 0x10000 - 0x800 + 2 * 0x100000u);
  EXPECT_EQ(utf8FromUtf16(u"\xD800 \xDC00\xD800"), "\uFFFD \uFFFD\uFFFD");
}

TEST(PercentEncoding, EscapesAllButTheKeptAndComesBack) {
  EXPECT_EQ(percentEncode("a-._~/b?\u00e9%", "/"), "a-._~/b%3F%C3%A9%25");
  std::string all;
  for (int byte = 0; byte < 256; ++byte) all += static_cast<char>(byte);
  EXPECT_EQ(percentDecode(percentEncode(all, "")), all);
  EXPECT_EQ(percentDecode("%4x%4%%41%"), "%4x%4%A%");
}

TEST(PercentEncoding, FileNamesAreOnePathComponent) {
  const std::pair<std::string_view, std::string_view> cases[] = {{".", "%2E"},
                                                                 {"..", "%2E."},
                                                                 {"../a", "%2E.%2Fa"},
                                                                 {"com.example", "com.example"},
                                                                 {"a\0b"sv, "a%00b"}};
  for (const auto& [identifier, name] : cases) EXPECT_EQ(fileNameForIdentifier(identifier), name);
}
