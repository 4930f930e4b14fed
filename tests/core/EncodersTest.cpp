#include <cmath>

#include "core/CoreFixture.h"

namespace tidewell {
namespace {

using namespace std::string_view_literals;

class EncodersTest : public CoreFixture {};

TEST_F(EncodersTest, BytesAreWrittenInHexAndTextsHashedAndSearched) {
  std::string bytes;
  for (char byte = 0; byte < 40; ++byte) bytes += byte;
  EXPECT_EQ(TWCoreUtils::hexTokenForData(base::Data(bytes)),
            "000102030405060708090a0b0c0d0e0f101112131415161718191a1b1c1d1e1f")
      << "the first 32 bytes";
  EXPECT_EQ(TWCoreUtils::hexTokenForData(base::Data("\xFF\x80")), "ff80");
  EXPECT_EQ(TWCoreUtils::hexTokenForData(std::nullopt), "");
  // RFC 1321, A.5
  EXPECT_EQ(TWCoreUtils::MD5hashForString(std::nullopt), "d41d8cd98f00b204e9800998ecf8427e");
  EXPECT_EQ(TWCoreUtils::MD5hashForString("abc\0def"sv), "900150983cd24fb0d6963f7d28e17f72");
  EXPECT_TRUE(TWCoreUtils::checkIfString("a.b", "."));
  EXPECT_FALSE(TWCoreUtils::checkIfString("axb", "."));
  EXPECT_FALSE(TWCoreUtils::checkIfString("abc", ""));
  EXPECT_FALSE(TWCoreUtils::checkIfString("abc", std::nullopt));
  EXPECT_TRUE(TWCoreUtils::checkIfString(std::nullopt, "x"));
}

TEST_F(EncodersTest, ADictionaryBecomesPrettyJSONOrALogLine) {
  TWLogger::debug(1);
  EXPECT_EQ(TWCoreUtils::getJSONStringFromDictionary(base::Dictionary{{"b", "a/b"}, {"a", base::Array{1}}}),
            Text("{\n  \"b\" : \"a\\/b\",\n  \"a\" : [\n    1\n  ]\n}"));
  EXPECT_EQ(TWCoreUtils::getJSONStringFromDictionary(std::nullopt), Text());
  EXPECT_EQ(lines(), Lines());
  EXPECT_EQ(TWCoreUtils::getJSONStringFromDictionary(base::Dictionary{{"k", NAN}}), Text());
  expectLinesBeginning({"Tidewell - Error while constructing JSON String: "});
}

TEST_F(EncodersTest, ColoursAreReadBehindTheFirstCharacter) {
  const struct {
    std::optional<std::string_view> text;
    int red, green, blue;
  } cases[] = {
      {std::nullopt, 0, 0, 0}, {"", 0, 0, 0},        {"#", 0, 0, 0},          {"#FF8000", 255, 128, 0},
      {"FF8000", 15, 128, 0},  {"#F80", 0, 15, 128}, {"#12zz", 0, 0, 18},     {"#80FF8000", 255, 128, 0},
      {"😀FF8000", 0, 0, 0},    {"#zz", 0, 0, 0},     {"éFF8000", 255, 128, 0}};
  for (const auto& [text, red, green, blue] : cases) {
    EXPECT_EQ(TWCoreUtils::getColorFromHexValue(text), (TWColor{red / 255.0, green / 255.0, blue / 255.0, 1}))
        << text.value_or("nil");
  }
}

TEST_F(EncodersTest, APayloadIsConvertedForJSONDownToItsDeepestLevel) {
  const auto transform = &TWCoreUtils::transformPayloadForIncompatibleTypes;
  const base::Dictionary payload{
      {"null", base::Value::null()},         {"nested", base::Dictionary{{"date", base::Date{1.5}}}},
      {"data", base::Data("\x01\xFF")},      {"url", base::Url::URLWithString("https://h.example/a?b=c")},
      {"array", base::Array{base::Date{1}}}, {"number", 7}};
  const base::Dictionary expected{{"null", ""},
                                  {"nested", base::Dictionary{{"date", 1500.0}}},
                                  {"data", "01ff"},
                                  {"url", "https://h.example/a?b=c"},
                                  {"array", base::Array{base::Date{1}}},
                                  {"number", 7}};
  EXPECT_EQ(transform(payload).description(), expected.description());

  TWLogger::debug(1);
  base::Dictionary nested{{"leaf", "x"}};
  for (int depth = 1; depth < 512; ++depth) nested = {{"k", nested}};
  EXPECT_EQ(transform(nested), nested);
  EXPECT_EQ(lines(), Lines());
  EXPECT_EQ(transform({{"k", nested}}).count(), 1u);
  expectLinesBeginning({caughtLine(
      "TWCoreUtils", 529, "transformPayloadForIncompatibleTypes:", "error while transforming data is ")});
}

}  // namespace
}  // namespace tidewell
