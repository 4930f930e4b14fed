#include "tidewell/core/foundation/TWDateUtils.h"

#include "core/CoreFixture.h"

namespace tidewell {
namespace {

using MaybeDate = std::optional<base::Date>;

class DateUtilsTest : public CoreFixture {
 protected:
  DateUtilsTest() {
    platform->testClock().setSystemTimeZone(base::TimeZone::timeZoneForSecondsFromGMT(19800));
  }
};

TEST_F(DateUtilsTest, DatesAreWrittenAndReadInGMTOrTheSystemsZone) {
  const struct {
    double seconds;
    std::string_view format;
    bool inGMT;
    std::string_view text;
  } cases[] = {
      {1542042309, kTWDateFormatISO8601, true, "2018-11-12T17:05:09Z"},
      {1542042309, kTWDateFormatISO8601, false, "2018-11-12T22:35:09Z"},
      {1542042309, kTWDateFormatISO8601WithoutZ, true, "2018-11-12T17:05:09"},
      {1542042309.25, kTWDateFormatISO8601MilliSec, true, "2018-11-12T17:05:09.250Z"},
      {1541961000, kTWDateFormatShort, false, "2018-11-12"},
      {0, kTWDateFormatISO8601, true, "1970-01-01T00:00:00Z"},
  };
  for (const auto& each : cases) {
    const base::Date date{each.seconds};
    EXPECT_EQ(TWDateUtils::getStringForDate(date, each.format, each.inGMT), Text(each.text));
    EXPECT_EQ(TWDateUtils::getDateForString(each.text, each.format, each.inGMT), MaybeDate(date));
  }
  EXPECT_EQ(TWDateUtils::getStringForDate(std::nullopt, kTWDateFormatShort, true), Text());
  EXPECT_EQ(TWDateUtils::getStringForDate(base::Date{0}, std::nullopt, true), Text());
  EXPECT_EQ(TWDateUtils::getDateForString(std::nullopt, kTWDateFormatShort, true), MaybeDate());
  EXPECT_EQ(TWDateUtils::getDateForString("2018-11-12", std::nullopt, true), MaybeDate());
  EXPECT_EQ(TWDateUtils::getDateForString("2018-11-12", kTWDateFormatISO8601, true), MaybeDate());
}

TEST_F(DateUtilsTest, TheCurrentTimeIsCutToSecondsAndALaterDateFirstIsPositive) {
  platform->testClock().setNow({1542000000.9});
  EXPECT_EQ(TWDateUtils::getGMTtime(), "1542000000");
  EXPECT_EQ(TWDateUtils::getLocalTime(), "12:11:2018:10:50:00");
  EXPECT_TRUE(TWDateUtils::isDateTimeGreaterThanNow(1542000001));
  EXPECT_FALSE(TWDateUtils::isDateTimeGreaterThanNow(1542000000.9));
  platform->testClock().setNow({-0.5});
  EXPECT_EQ(TWDateUtils::getGMTtime(), "-1");
  const base::Date nine{1542013200}, halfPastTen{1542018600};
  EXPECT_EQ(TWDateUtils::getTimeDifferenceBetweenDate(halfPastTen, nine), (base::DateComponents{1, 30}));
}

TEST_F(DateUtilsTest, ComparisonsAreExactAndTakeNil) {
  const struct {
    MaybeDate first, second;
    bool same, later, earlier;
  } cases[] = {
      {base::Date{1.001}, base::Date{1}, false, true, false},
      {base::Date{1}, base::Date{1.001}, false, false, true},
      {MaybeDate(), base::Date{1}, true, false, false},
      {MaybeDate(), MaybeDate(), true, false, false},
      {base::Date{1}, MaybeDate(), false, false, false},
  };
  for (const auto& [first, second, same, later, earlier] : cases) {
    EXPECT_EQ(TWDateUtils::isDate1SameAsDate2(first, second), same);
    EXPECT_EQ(TWDateUtils::isDate1LaterToDate2(first, second), later);
    EXPECT_EQ(TWDateUtils::isDate1EarlierToDate2(first, second), earlier);
  }
}

}  // namespace
}  // namespace tidewell
