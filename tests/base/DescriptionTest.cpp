#include "VectorFile.h"
#include "tidewell/base/Error.h"
#include "tidewell/base/formats/TextFormat.h"

using namespace tidewell::base;

TEST(Description, PrintsAsThePlatformDoes) {
  const auto file = vectors::jsonFile("description.json");
  for (const auto& row : file["cases"].GetArray()) {
    const Value value = vectors::valueOf(row["value"]);
    EXPECT_EQ(value.description(), vectors::textOf(row, "expected")) << vectors::textOf(row, "id");
    EXPECT_EQ(stringWithFormat("%@", {value}), value.description());
  }
}

TEST(Description, OrdersKeysByUtf16AndNotByBytes) {
  // U+1F600 begins with the unit D83D, so it stands before U+FB01 although its UTF-8 is greater.
  const Dictionary dictionary{{"\uFB01", 1}, {"\U0001F600", 2}, {"b", 3}, {"ab", 4}, {"a", 5}};
  EXPECT_EQ(dictionary.description(),
            "{\n    a = 5;\n    ab = 4;\n    b = 3;\n    \"\\Ud83d\\Ude00\" = 2;\n    \"\\Ufb01\" = 1;\n}");
}

TEST(Description, IllFormedTextIsPrintedWithReplacements) {
  EXPECT_EQ(Array({"a\xFF\xE2\x82"}).description(), "(\n    \"a\\Ufffd\\Ufffd\"\n)");
}

TEST(Description, DatesFollowTheCalendarOfTheirTime) {
  // Checked with GNU date for the Gregorian calendar and with tables of Julian days before it.
  const std::pair<double, const char*> cases[] = {
      {951782400, "2000-02-29 00:00:00 +0000"},    {4107542400, "2100-03-01 00:00:00 +0000"},
      {-0.5, "1969-12-31 23:59:59 +0000"},         {-12219292800, "1582-10-15 00:00:00 +0000"},
      {-12219292801, "1582-10-04 23:59:59 +0000"}, {-62135769600, "0001-01-01 00:00:00 +0000"},
      {-62135769601, "0001-12-31 23:59:59 +0000"}, {1e300, "1e+300"}};
  for (const auto& [seconds, expected] : cases) EXPECT_EQ(Date{seconds}.description(), expected) << seconds;
}

TEST(Description, NestingWithoutBoundIsCutAndNotACrash) {
  Value value = "core";
  for (int i = 0; i < 200000; ++i) {
    value = i % 2 ? Value(Array{value}) : Value(Dictionary{{"k", value}});
  }
  EXPECT_NE(value.description().find("..."), std::string::npos);
}

TEST(Description, ErrorsNameDomainCodeAndSentence) {
  EXPECT_EQ((Error{std::string(kUrlErrorDomain), -1001, "The request timed out."}.description()),
            "Error Domain=NSURLErrorDomain Code=-1001 \"The request timed out.\"");
}
