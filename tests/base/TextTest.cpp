// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>
#include <openssl/evp.h>
#include <openssl/hmac.h>
#include <unwind.h>

#include <array>
#include <climits>
#include <clocale>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <functional>
#include <locale>
#include <set>
#include <stdexcept>

#include "tidewell/base/Exception.h"
#include "tidewell/base/formats/TextFormat.h"
#include "tidewell/base/internal/Digest.h"
#include "tidewell/base/internal/PercentEncoding.h"
#include "tidewell/base/internal/Unicode.h"

using namespace tidewell::base;
using namespace std::string_view_literals;

TEST(Unicode, ReplacesEachMaximalIllFormedPart) {
  // The examples of the Unicode Standard, tables 3-8 to 3-11.
  const std::pair<std::string_view, std::string_view> rows[] = {
      {"\xC0\xAF\xE0\x80\xBF\xF0\x81\x82\x41"sv, "\uFFFD\uFFFD\uFFFD\uFFFD\uFFFD\uFFFD\uFFFD\uFFFDA"sv},
      {"\xED\xA0\x80\xED\xBF\xBF\xED\xAF\x41"sv, "\uFFFD\uFFFD\uFFFD\uFFFD\uFFFD\uFFFD\uFFFD\uFFFDA"sv},
      {"\xF4\x91\x92\x93\xFF\x41\x80\xBF\x42"sv, "\uFFFD\uFFFD\uFFFD\uFFFD\uFFFDA\uFFFD\uFFFDB"sv},
      {"\xE1\x80\xE2\xF0\x91\x92\xF1\xBF\x41"sv, "\uFFFD\uFFFD\uFFFD\uFFFDA"sv},
      {"eight bytes \xE2\x82"sv, "eight bytes \uFFFD"sv}};
  for (const auto& [bytes, expected] : rows) {
    EXPECT_FALSE(isValidUtf8(bytes));
    EXPECT_EQ(validUtf8(bytes), expected);
    EXPECT_EQ(utf8FromUtf16(utf16FromUtf8(bytes)), expected);
    EXPECT_EQ(utf16Length(bytes), utf16FromUtf8(bytes).size());
  }
  EXPECT_EQ(utf8FromUtf16(u"\xD800 \xDC00\xD800"), "\uFFFD \uFFFD\uFFFD");
}

// The URL vectors cover encoding and decoding.
TEST(PercentEncoding, TurnsIdentifiersIntoFileNames) {
  for (const auto& [identifier, name] : {std::pair("."sv, "%2E"sv),
                                         {"..", "%2E."},
                                         {"../a%\u00e9", "%2E.%2Fa%25%C3%A9"},
                                         {"com.example", "com.example"},
                                         {"a\0b"sv, "a%00b"}})
    EXPECT_EQ(fileNameForIdentifier(identifier), name);
}

TEST(Digest, MatchesTheStandardsAlsoInAFipsHost) {
  const auto hex = [](const auto& digest) { return hexString(digest.data(), digest.size()); };
  unsigned char peer[EVP_MAX_MD_SIZE];
  for (std::string text; text.size() < 200; text += static_cast<char>(text.size() * 37)) {
    ASSERT_TRUE(EVP_Digest(text.data(), text.size(), peer, nullptr, EVP_md5(), nullptr));
    EXPECT_EQ(hex(md5(text)), hexString(peer, 16)) << text.size();
    const std::string message = text.substr(text.size() / 3) + "end";
    ASSERT_TRUE(HMAC(EVP_sha256(), text.data(), static_cast<int>(text.size()),
                     reinterpret_cast<const unsigned char*>(message.data()), message.size(), peer, nullptr));
    EXPECT_EQ(hex(hmacSha256(text, message)), hexString(peer, 32)) << text.size();
  }
  ASSERT_TRUE(EVP_set_default_properties(nullptr, "fips=yes"));
  ASSERT_EQ(EVP_MD_fetch(nullptr, "MD5", nullptr), nullptr);
  EXPECT_EQ(hex(md5("")), "d41d8cd98f00b204e9800998ecf8427e");  // RFC 1321, A.5
  EXPECT_EQ(hex(md5("message digest")), "f96b697d7cb7938d525a2f31aaf161d0");
  const std::tuple<std::string, std::string, const char*> codes[] = {
      {"Jefe", "what do ya want for nothing?",  // RFC 4231, 4.3
       "5bdcc146bf60754e6a042426089575c75a003f089d2739839dec58b964ec3843"},
      {std::string(131, '\xAA'), "Test Using Larger Than Block-Size Key - Hash Key First",  // RFC 4231, 4.7
       "60e431591ee0b67f0d8a26aacbf5b77f8e0bc6213728c5140546040f0ee37f54"},
      {"", "", "b613679a0814d9ec772f95d778c35fc5ff1697c493715653c6c712144292c5ad"}};
  for (const auto& [key, text, code] : codes) EXPECT_EQ(hex(hmacSha256(key, text)), code);
  std::set<std::string> seen;
  for (int i = 0; i < 1000; ++i) {
    const std::string uuid = UUIDString();
    EXPECT_EQ(uuid.size(), 36u);
    EXPECT_TRUE(uuid[14] == '4' && "89AB"sv.find(uuid[19]) != std::string::npos) << uuid;
    EXPECT_TRUE(seen.insert(uuid).second) << uuid;
  }
  const std::uint8_t bytes[16] = {0, 1, 2, 3, 4, 5, 0xF6, 7, 0xF8, 9, 10, 11, 12, 13, 14, 255};
  EXPECT_EQ(UUIDStringWithBytes(bytes), "00010203-0405-4607-B809-0A0B0C0D0EFF");
}

/// Raises an exception as the runtime of another language does.
void raiseForeign() {
  static struct {
    std::array<unsigned char, 256> before;  // no part of the exception
    _Unwind_Exception exception;
  } foreign;
  foreign.before.fill(0x41);
  foreign.exception = {};
  std::memcpy(&foreign.exception.exception_class, "FOREIGN", 8);  // a number, or characters on ARM
  _Unwind_RaiseException(&foreign.exception);
}

TEST(Exception, HasADescriptionAndTheCallStackOfTheThrow) {
  const std::tuple<std::function<void()>, const char*, const char*> rows[] = {
      {[] { raise(kRangeException, "beyond the end"); }, "beyond the end",
       TIDEWELL_TEST_SHARED ? "tidewell::base::raise" : "0 "},
      {[] { throw std::runtime_error("what went wrong"); }, "what went wrong",
       "(the frames that caught the exception, not those that threw it)\n0 "},
      {[] { throw 42; }, "an exception of type int", "0 "},
      {raiseForeign, "an exception of another language", "0 "}};
  for (const auto& [raising, description, frames] : rows) {
    std::string stack;
    try {
      raising();
    } catch (...) {
      EXPECT_EQ(currentExceptionDescription(), description);
      stack = currentExceptionCallStackSymbols();
    }
    EXPECT_NE(stack.find(frames), std::string::npos) << stack;
    // A program exports no symbols, so its frames show module and offset.
    EXPECT_NE(stack.find("(tests_base+0x"), std::string::npos) << stack;
  }
}

// Formats

namespace {

template <class T>
std::string printed(const std::string& format, T argument) {
  char text[6000];
  std::snprintf(text, sizeof text, format.c_str(), argument);
  return text;
}

}  // namespace

// Compares with the C library where both support a format.
TEST(TextFormat, FormatsNumbersLikePrintf) {
  for (const char* flags : {"", "-", "+", " ", "0", "#", "-0", "+0", "#0"}) {
    for (const char* size : {"", "5", "12", ".0", ".3", "9.2", "25.12"}) {
      const std::string start = std::string("[%") + flags + size;
      for (const long long number : {0LL, 7LL, -42LL, LLONG_MAX, LLONG_MIN}) {
        for (const char* letter : {"d]", "i]", "u]", "x]", "X]", "o]"}) {
          const std::string wide = start + "ll" + letter, narrow = start + letter;
          EXPECT_EQ(stringWithFormat(wide, {number}), printed(wide, number)) << wide;
          EXPECT_EQ(stringWithFormat(narrow, {number}), printed(narrow, static_cast<int>(number))) << narrow;
        }
      }
      for (const double number : {0.0, -0.0, 1.5, -2.675, 123456789.125, 1e-7, 1e300, HUGE_VAL, -HUGE_VAL}) {
        for (const char* letter : {"f]", "e]", "g]", "G]", "E]"}) {
          const std::string format = start + letter;
          EXPECT_EQ(stringWithFormat(format, {number}), printed(format, number)) << format << number;
        }
      }
    }
  }
}

TEST(TextFormat, HandlesEveryFormatWithinLimitsInAnyLocale) {
  struct Commas final : std::numpunct<char> {
    char do_decimal_point() const override { return ','; }
    char do_thousands_sep() const override { return '.'; }
    std::string do_grouping() const override { return "\3"; }
  };
  std::locale::global(std::locale(std::locale(), new Commas));
  std::setlocale(LC_ALL, "de_DE.UTF-8");  // if it is installed
  const std::tuple<const char*, std::vector<Value>, const char*> rows[] = {
      {"%f %@ %d", {1.5, 1.5, 12345}, "1.500000 1.5 12345"},
      {"%@", {Array({1234.5})}, "(\n    \"1234.5\"\n)"},
      {"%@ %@|%d|%f", {"one"}, "one (null)|0|0.000000"},
      {"none", {"unused"}, "none"},
      {"100%% %", {}, "100% %"},
      {"%k %1$@ %w", {"a"}, "%k %1$@ %w"},
      {"%5@|%-5@|%.2@", {"a\u00e9", "b", "\u00e9\u00e9\u00e9"}, "   a\u00e9|b    |\u00e9\u00e9"},
      {"%*d|%-*d|%.*f", {4, 7, 3, 7, 1, 2.25}, "   7|7  |2.2"},
      {"%s %c%c", {"text", 65, "z"}, "text Az"},
      {"%p", {BoxedPointer{}}, "0x0"},
      {"%@", {"%@"}, "%@"},
      {"%hhd %hu %zu", {255, -1, -1}, "-1 65535 18446744073709551615"},
      {"", {}, ""}};
  for (const auto& [format, arguments, expected] : rows)
    EXPECT_EQ(stringWithFormat(format, arguments.data(), arguments.size()), expected) << format;
  EXPECT_THROW((void)stringWithFormat("%d", {Array{}}), Exception);
  for (const char* format :
       {"%99999999999999999999d", "%.99999999999999999999f", "%99999999@", "%-99999999x"}) {
    const std::size_t size = stringWithFormat(format, {1}).size();
    EXPECT_TRUE(size >= kMaximumFormatWidth + 0u && size <= kMaximumFormatWidth + 2u) << format << size;
  }
}
