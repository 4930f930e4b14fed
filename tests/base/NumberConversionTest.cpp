#include <clocale>
#include <cmath>
#include <limits>

#include "VectorFile.h"
#include "tidewell/base/Exception.h"
#include "tidewell/base/formats/Json.h"
#include "tidewell/base/internal/Unicode.h"

using namespace tidewell::base;

namespace {

Value inputOf(const vectors::Row& row) {
  const std::string& kind = row.at("kind");
  const std::string& input = row.at("input");
  if (kind == "nil") return {};
  if (kind == "null") return Value::null();
  if (kind == "string") return vectors::cellText(input);
  if (kind == "url") return Url::URLWithString(vectors::cellText(input));
  if (kind == "data") return Data(vectors::bytesOfHex(input));
  if (kind == "bool") return input == "true";
  if (kind == "int") return std::int64_t{std::stoll(input)};
  if (kind == "uint") return std::uint64_t{std::stoull(input)};
  if (kind == "double") return std::stod(input);
  return JSONObjectWithData(input);
}

std::string answerTo(const Value& value, const std::string& operation) {
  try {
    if (operation == "boolValue") return value.boolValue() ? "YES" : "NO";
    return std::to_string(value.integerValue());
  } catch (const Exception& exception) {
    return exception.name() == kInvalidArgumentException ? "raises" : exception.name();
  }
}

}  // namespace

TEST(NumberConversion, AnswersAsThePlatformDoes) {
  for (const vectors::Row& row : vectors::tableFile("number_conversion.tsv")) {
    EXPECT_EQ(answerTo(inputOf(row), row.at("operation")), row.at("expected"))
        << row.at("id") << row.at("input");
  }
}

TEST(NumberConversion, RealsBeyondTheIntegersAreHeldToThem) {
  EXPECT_EQ(Value(1e300).integerValue(), INT64_MAX);
  EXPECT_EQ(Value(-1e300).integerValue(), INT64_MIN);
  EXPECT_EQ(Value(9223372036854775808.0).integerValue(), INT64_MAX);
  EXPECT_EQ(Value(std::numeric_limits<double>::quiet_NaN()).integerValue(), 0);
}

TEST(NumberConversion, TextsAreDecimalWhateverTheLocaleOfTheProcess) {
  std::setlocale(LC_ALL, "de_DE.UTF-8");  // where it is installed, its separator is a comma
  const std::pair<const char*, double> cases[] = {
      {"1.5", 1.5}, {" -2.25e2x", -225}, {"0x10", 0}, {"inf", 0}, {"nan", 0}, {".5", 0.5},
      {"1e", 1},    {"5.", 5},           {"e5", 0},   {"-", 0},   {".", 0},   {"1e400", HUGE_VAL}};
  for (const auto& [text, expected] : cases) EXPECT_EQ(Value(text).doubleValue(), expected) << text;
}

TEST(HexScan, ReadsAsThePlatformsScanner) {
  for (const vectors::Row& row : vectors::tableFile("scan_hex.tsv")) {
    const HexScan scan = scanHexInt(vectors::cellText(row.at("string")), std::stoul(row.at("start")));
    EXPECT_EQ(scan.found ? "YES" : "NO", row.at("scanned")) << row.at("id");
    EXPECT_EQ(scan.found ? std::to_string(scan.value) : "", row.at("value")) << row.at("id");
    EXPECT_EQ(std::to_string(scan.position), row.at("end")) << row.at("id");
  }
}
