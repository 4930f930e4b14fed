// SPDX-License-Identifier: Apache-2.0
#include "tidewell/base/formats/DateFormatter.h"

#include <cmath>

#include "VectorFile.h"

using namespace tidewell::base;

namespace {

DateFormatter formatter(std::string_view pattern, std::string_view zone = "UTC") {
  const auto timeZone = TimeZone::timeZoneWithName(zone);
  EXPECT_TRUE(timeZone) << zone;
  return DateFormatter(pattern, timeZone.value_or(TimeZone::UTC()));
}

}  // namespace

TEST(DateFormatter, FormatsAndParsesAsThePlatformDoes) {
  for (const auto& row : vectors::tableFile("date_format.tsv")) {
    const DateFormatter dates = formatter(row.at("pattern"), row.at("zone"));
    if (row.at("operation") == "format") {
      EXPECT_EQ(dates.stringFromDate({std::stod(row.at("input"))}), vectors::cellText(row.at("expected")))
          << row.at("id");
      continue;
    }
    const auto date = dates.dateFromString(vectors::cellText(row.at("input")));
    ASSERT_EQ(date.has_value(), row.at("expected") != "nil") << row.at("id");
    EXPECT_EQ(date ? date->secondsSince1970 : 0, date ? std::stod(row.at("expected")) : 0) << row.at("id");
  }
}

TEST(DateFormatter, LimitsPatternsAndTexts) {
  const std::string tooLong(DateFormatter::kMaximumPatternLength + 1, 'y');
  EXPECT_EQ(formatter(tooLong).stringFromDate({0}), "");
  EXPECT_EQ(formatter("\xFF'\xFF").stringFromDate({0}), "\xFF\xFF");
  EXPECT_FALSE(formatter("yyyy-MM-dd").dateFromString(std::string(5000, '1')));
}

TEST(TimeZone, HasDaylightSavingNamesAndFixedOffsets) {
  const auto berlin = TimeZone::timeZoneWithName("Europe/Berlin");
  ASSERT_TRUE(berlin);
  for (const auto& [date, offset] : {std::pair(1542000000.0, 3600), {1532000000.0, 7200}, {NAN, 3600}})
    EXPECT_EQ(berlin->secondsFromGMTForDate({date}), offset);
  EXPECT_EQ(berlin->secondsFromGMTForDate({1e300}), berlin->secondsFromGMTForDate({1e299}));
  EXPECT_EQ(TimeZone::timeZoneWithName("Asia/Calcutta")->name(), "Asia/Calcutta") << "alias is kept";
  const std::string tooLong(100000, 'A');
  for (const char* name : {"", "Nowhere/City", "Etc/Unknown", "europe/berlin ", "\xFF", tooLong.c_str()})
    EXPECT_FALSE(TimeZone::timeZoneWithName(name)) << name;
  const std::tuple<std::int32_t, const char*, std::int32_t> fixed[] = {{0, "GMT", 0},
                                                                       {19800, "GMT+0530", 19800},
                                                                       {-12600, "GMT-0330", -12600},
                                                                       {INT32_MIN, "GMT-1800", -64800},
                                                                       {3661, "GMT+010101", 3661}};
  for (const auto& [seconds, name, offset] : fixed) {
    const TimeZone zone = TimeZone::timeZoneForSecondsFromGMT(seconds);
    EXPECT_EQ(zone.name(), name);
    EXPECT_EQ(zone.secondsFromGMTForDate({0}), offset) << name;
  }
}

TEST(DateComponents, CountHoursAndMinutesAsThePlatformDoes) {
  for (const auto& row : vectors::tableFile("date_difference.tsv")) {
    const DateComponents expected{std::stoll(row.at("hour")), std::stoll(row.at("minute"))};
    EXPECT_EQ(
        hourAndMinuteComponents({std::stod(row.at("second_epoch_s"))}, {std::stod(row.at("first_epoch_s"))}),
        expected)
        << row.at("id");
  }
  EXPECT_GT(hourAndMinuteComponents({-1e300}, {1e300}).hour, 0);
}
