#include "tidewell/base/formats/TextFormat.h"

#include <gtest/gtest.h>

#include <climits>
#include <clocale>
#include <cmath>
#include <cstdio>
#include <locale>

#include "tidewell/base/Exception.h"

using namespace tidewell::base;

namespace {

template <class T>
std::string printed(const std::string& format, T argument) {
  char text[6000];
  std::snprintf(text, sizeof text, format.c_str(), argument);
  return text;
}

}  // namespace

// The C library is the oracle for what both know.
TEST(TextFormat, NumbersReadAsPrintfWritesThem) {
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

TEST(TextFormat, FormatsAreTotalAndBoundedInAnyLocale) {
  struct Commas final : std::numpunct<char> {
    char do_decimal_point() const override { return ','; }
    char do_thousands_sep() const override { return '.'; }
    std::string do_grouping() const override { return "\3"; }
  };
  std::locale::global(std::locale(std::locale(), new Commas));
  std::setlocale(LC_ALL, "de_DE.UTF-8");  // the C library's, where it is installed
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
