#include <gtest/gtest.h>
#include <openssl/evp.h>

#include <functional>
#include <set>
#include <stdexcept>
#include <thread>

#include "tidewell/base/Exception.h"
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

TEST(PercentEncoding, EscapesAllButTheKeptAndMakesFileNames) {
  EXPECT_EQ(percentEncode("a-._~/b?\u00e9%", "/"), "a-._~/b%3F%C3%A9%25");
  std::string all;
  for (int byte = 0; byte < 256; ++byte) all += static_cast<char>(byte);
  EXPECT_EQ(percentDecode(percentEncode(all, "")), all);
  EXPECT_EQ(percentDecode("%4x%4%%41%"), "%4x%4%A%");
  const std::pair<std::string_view, std::string_view> rows[] = {{".", "%2E"},
                                                                {"..", "%2E."},
                                                                {"../a", "%2E.%2Fa"},
                                                                {"com.example", "com.example"},
                                                                {"a\0b"sv, "a%00b"}};
  for (const auto& [identifier, name] : rows) EXPECT_EQ(fileNameForIdentifier(identifier), name);
}

TEST(Digest, GivesTheValuesOfTheStandardsInAFipsHostToo) {
  ASSERT_TRUE(EVP_set_default_properties(nullptr, "fips=yes"));
  ASSERT_EQ(EVP_MD_fetch(nullptr, "MD5", nullptr), nullptr);
  const auto hex = [](const auto& digest) { return hexString(digest.data(), digest.size()); };
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

TEST(Exception, DescribesItselfAndTheFramesThatThrewIt) {
  const std::tuple<std::function<void()>, const char*, const char*> rows[] = {
      {[] { raise(kRangeException, "beyond the end"); }, "beyond the end", "tidewell::base::raise"},
      {[] { throw std::runtime_error("what went wrong"); }, "what went wrong",
       "(the frames that caught the exception, not those that threw it)\n0 "},
      {[] { throw 42; }, "an exception of type int", "0 "}};
  for (const auto& [raising, description, frames] : rows) {
    std::string stack;
    try {
      raising();
    } catch (...) {
      EXPECT_EQ(currentExceptionDescription(), description);
      stack = currentExceptionCallStackSymbols();
    }
    EXPECT_NE(stack.find(frames), std::string::npos) << stack;
    // Functions of a program export no symbol: module and offset stand for them.
    EXPECT_NE(stack.find("(tests_base+0x"), std::string::npos) << stack;
  }
  try {
    raise(kRangeException, "read on another thread");
  } catch (const Exception& exception) {
    std::string stack;
    std::thread([&stack, copy = exception] { stack = copy.callStackSymbols(); }).join();
    EXPECT_EQ(stack, currentExceptionCallStackSymbols());
  }
}
