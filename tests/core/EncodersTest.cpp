#include <cmath>

#include "core/CoreFixture.h"
#include "tidewell/base/formats/Json.h"
#include "tidewell/core/TWUtils/TWCoreUtils.h"
#include "tidewell/core/TWUtils/TWLogger/TWLogger.h"

namespace tidewell {
namespace {

using namespace std::string_view_literals;

class EncodersTest : public CoreFixture {};

TEST_F(EncodersTest, BytesBecomeHexAndTextsDigests) {
  std::string bytes;
  for (char byte = 0; byte < 40; ++byte) bytes += byte;
  EXPECT_EQ(TWCoreUtils::hexTokenForData(base::Data(bytes)),
            "000102030405060708090a0b0c0d0e0f101112131415161718191a1b1c1d1e1f")
      << "the first 32 bytes";
  EXPECT_EQ(TWCoreUtils::hexTokenForData(base::Data("\xFF\x80")), "ff80");
  EXPECT_EQ(TWCoreUtils::hexTokenForData(std::nullopt), "");
  // RFC 1321, A.5; the one with letters beyond ASCII is of md5sum.
  EXPECT_EQ(TWCoreUtils::MD5hashForString(std::nullopt), "d41d8cd98f00b204e9800998ecf8427e");
  EXPECT_EQ(TWCoreUtils::MD5hashForString("abc\0def"sv), "900150983cd24fb0d6963f7d28e17f72")
      << "up to a zero";
  EXPECT_EQ(TWCoreUtils::MD5hashForString("héllo"), "be50e8478cf24ff3595bc7307fb91b50");
}

TEST_F(EncodersTest, ADictionaryBecomesPrettyJSONOrALine) {
  TWLogger::debug(1);
  const base::Dictionary good{{"b", "a/b"}, {"a", base::Array{1}}};
  EXPECT_EQ(TWCoreUtils::getJSONStringFromDictionary(good),
            Text("{\n  \"b\" : \"a\\/b\",\n  \"a\" : [\n    1\n  ]\n}"));
  EXPECT_EQ(TWCoreUtils::getJSONStringFromDictionary(std::nullopt), Text());
  EXPECT_EQ(lines(), Lines());
  for (const base::Value& bad : {base::Value(base::Date{0}), base::Value(NAN)}) {
    EXPECT_EQ(TWCoreUtils::getJSONStringFromDictionary(base::Dictionary{{"k", bad}}), Text());
    const Lines logged = lines();
    ASSERT_EQ(logged.size(), 1u);
    EXPECT_TRUE(logged[0].starts_with("Tidewell - Error while constructing JSON String: ")) << logged[0];
  }
}

TEST_F(EncodersTest, ColoursAreReadAsTheyAlwaysWere) {
  const struct {
    std::optional<std::string_view> text;
    int red, green, blue;
  } cases[] = {
      {std::nullopt, 0, 0, 0},  {"", 0, 0, 0},
      {"#", 0, 0, 0},           {"#ffffff", 255, 255, 255},
      {"#FF8000", 255, 128, 0}, {"FF8000", 15, 128, 0},
      {"#F80", 0, 15, 128},     {"#80FF8000", 255, 128, 0},
      {"#zz", 0, 0, 0},         {"#12zz", 0, 0, 18},
      {"😀FF8000", 0, 0, 0},     {"éFF8000", 255, 128, 0},
      {"#0x0000FF", 0, 0, 255}, {"#FFFFFFFFFF", 255, 255, 255},
  };
  for (const auto& [text, red, green, blue] : cases) {
    EXPECT_EQ(TWCoreUtils::getColorFromHexValue(text), (TWColor{red / 255.0, green / 255.0, blue / 255.0, 1}))
        << text.value_or("nil");
  }
}

TEST_F(EncodersTest, TextsAreSearchedLiterally) {
  EXPECT_TRUE(TWCoreUtils::checkIfString("a.b", "."));
  EXPECT_FALSE(TWCoreUtils::checkIfString("axb", "."));
  EXPECT_FALSE(TWCoreUtils::checkIfString("ABC", "b"));
  EXPECT_FALSE(TWCoreUtils::checkIfString("abc", ""));
  EXPECT_FALSE(TWCoreUtils::checkIfString("abc", std::nullopt));
  EXPECT_TRUE(TWCoreUtils::checkIfString(std::nullopt, "x"));
}

TEST_F(EncodersTest, APayloadKeepsWhatJSONCanCarry) {
  const base::Array untouched{base::Date{1}};
  const base::Dictionary payload{
      {"null", base::Value::null()},
      {"nested", base::Dictionary{{"date", base::Date{1.5}}, {"n", base::Value::null()}}},
      {"data", base::Data("\x01\xFF")},
      {"url", *base::Url::URLWithString("https://h.example/a?b=c")},
      {"array", untouched},
      {"number", 7}};
  const base::Dictionary expected{
      {"null", ""},         {"nested", base::Dictionary{{"date", 1500.0}, {"n", ""}}},
      {"data", "01ff"},     {"url", "https://h.example/a?b=c"},
      {"array", untouched}, {"number", 7}};
  const base::Dictionary transformed = TWCoreUtils::transformPayloadForIncompatibleTypes(payload);
  EXPECT_EQ(transformed.description(), expected.description());
}

TEST_F(EncodersTest, APayloadNestedTooDeeplyIsLoggedAndCutOff) {
  TWLogger::debug(1);
  const auto nested = [](int depth) {
    base::Dictionary payload{{"leaf", "x"}};
    for (int level = 1; level < depth; ++level) payload = {{"k", payload}};
    return payload;
  };
  const base::Dictionary deepest = nested(512);
  EXPECT_EQ(TWCoreUtils::transformPayloadForIncompatibleTypes(deepest), deepest);
  EXPECT_EQ(lines(), Lines());
  EXPECT_EQ(TWCoreUtils::transformPayloadForIncompatibleTypes(nested(100'000)).count(), 1u);
  const Lines logged = lines();
  ASSERT_EQ(logged.size(), 1u);
  EXPECT_TRUE(
      logged[0].starts_with("Tidewell - <file - TWCoreUtils, line number - 529 , method - "
                            "'transformPayloadForIncompatibleTypes:'> error while transforming data is "));
}

}  // namespace
}  // namespace tidewell
