#include "tidewell/base/formats/DateFormatter.h"

#include <cmath>
#include <limits>

#include "VectorFile.h"

using namespace tidewell::base;

namespace {

constexpr double kInfinity = std::numeric_limits<double>::infinity();

DateFormatter formatter(std::string_view pattern, std::string_view zone = "UTC") {
  const auto timeZone = TimeZone::timeZoneWithName(zone);
  EXPECT_TRUE(timeZone) << zone;
  return DateFormatter(pattern, timeZone.value_or(TimeZone::UTC()));
}

}  // namespace

TEST(DateFormatter, FormatsAndReadsAsThePlatformDoes) {
  for (const auto& row : vectors::tableFile("date_format.tsv")) {
    SCOPED_TRACE(row.at("id"));
    const DateFormatter dates = formatter(row.at("pattern"), row.at("zone"));
    if (row.at("operation") == "format") {
      EXPECT_EQ(dates.stringFromDate({std::stod(row.at("input"))}), vectors::cellText(row.at("expected")));
      continue;
    }
    const auto date = dates.dateFromString(vectors::cellText(row.at("input")));
    ASSERT_EQ(date.has_value(), row.at("expected") != "nil");
    if (date) {
      EXPECT_EQ(date->secondsSince1970, std::stod(row.at("expected")));
    }
  }
}

TEST(DateFormatter, ReadsBackWhatItWrote) {
  for (const char* pattern :
       {"yyyy-MM-dd'T'HH:mm:ss.SSS'Z'", "d/M/y H:m:s.SSS", "EEE, dd MMM yyyy HH:mm:ss.SSS zzz",
        "yyyyMMddHHmmssSSS", "G y-DDD HH:mm:ss.SSS"}) {
    const DateFormatter dates = formatter(pattern, "Asia/Kolkata");
    for (double seconds = -5.0e9; seconds < 9.0e9; seconds += 123456789.125) {
      const std::string text = dates.stringFromDate({seconds});
      const auto date = dates.dateFromString(text);
      ASSERT_TRUE(date) << text;
      EXPECT_NEAR(date->secondsSince1970, seconds, 0.0011) << text;
    }
  }
}

TEST(DateFormatter, AnswersNothingWhereThereIsNothingToSay) {
  const DateFormatter dates = formatter("yyyy-MM-dd");
  for (const double seconds : {std::nan(""), kInfinity, -kInfinity})
    EXPECT_EQ(dates.stringFromDate({seconds}), "");
  EXPECT_EQ(dates.stringFromDate({1e300}), "5828963-12-20");  // the end of ICU's calendar
  EXPECT_FALSE(dates.dateFromString("99999999999999999999-01-01"));
  EXPECT_FALSE(dates.dateFromString(std::string(5000, '1')));
  EXPECT_FALSE(formatter("").dateFromString(""));
  EXPECT_FALSE(formatter("'x'").dateFromString(" "));
  const std::string tooLong(DateFormatter::kMaximumPatternLength + 1, 'y');
  EXPECT_EQ(formatter(tooLong).stringFromDate({0}), "");
  EXPECT_EQ(formatter("\xFF'\xFF").stringFromDate({0}), "\xFF\xFF");
}

TEST(TimeZone, KnowsDaylightSavingAndKeepsTheNameThatItWasAskedBy) {
  const auto berlin = TimeZone::timeZoneWithName("Europe/Berlin");
  ASSERT_TRUE(berlin);
  EXPECT_EQ(berlin->secondsFromGMTForDate({1542000000}), 3600);
  EXPECT_EQ(berlin->secondsFromGMTForDate({1532000000}), 7200);
  EXPECT_EQ(berlin->secondsFromGMTForDate({std::nan("")}), 3600);
  EXPECT_EQ(berlin->secondsFromGMTForDate({1e300}), berlin->secondsFromGMTForDate({1e299}));
  ASSERT_TRUE(TimeZone::timeZoneWithName("Asia/Calcutta"));
  EXPECT_EQ(TimeZone::timeZoneWithName("Asia/Calcutta")->name(), "Asia/Calcutta");
  const std::string tooLong(100000, 'A');
  for (const char* name : {"", "Nowhere/City", "Etc/Unknown", "europe/berlin ", "\xFF", tooLong.c_str()})
    EXPECT_FALSE(TimeZone::timeZoneWithName(name)) << name;
}

TEST(TimeZone, OfFixedOffsetsNamesThem) {
  struct {
    std::int32_t seconds;
    const char* name;
    std::int32_t offset;
  } const cases[] = {{0, "GMT", 0},
                     {19800, "GMT+0530", 19800},
                     {-12600, "GMT-0330", -12600},
                     {64800, "GMT+1800", 64800},
                     {INT32_MIN, "GMT-1800", -64800},
                     {3661, "GMT+010101", 3661}};
  for (const auto& expected : cases) {
    const TimeZone zone = TimeZone::timeZoneForSecondsFromGMT(expected.seconds);
    EXPECT_EQ(zone.name(), expected.name);
    EXPECT_EQ(zone.secondsFromGMTForDate({0}), expected.offset) << expected.name;
  }
}

TEST(DateComponents, CountHoursAndMinutesAsThePlatformDoes) {
  for (const auto& row : vectors::tableFile("date_difference.tsv")) {
    const Date first{std::stod(row.at("first_epoch_s"))};
    const Date second{std::stod(row.at("second_epoch_s"))};
    const DateComponents expected{std::stoll(row.at("hour")), std::stoll(row.at("minute"))};
    EXPECT_EQ(hourAndMinuteComponents(second, first), expected) << row.at("id");
  }
  EXPECT_EQ(hourAndMinuteComponents({0.1}, {60.1}), (DateComponents{0, 1}));
  EXPECT_EQ(hourAndMinuteComponents({kInfinity}, {0}), DateComponents{});
  EXPECT_GT(hourAndMinuteComponents({-1e300}, {1e300}).hour, 0);
}
