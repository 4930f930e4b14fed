#include <tuple>

#include "core/CoreFixture.h"
#include "tidewell/core/foundation/NSDictionary+TWExtension.h"
#include "tidewell/core/foundation/NSMutableDictionary+TWExtension.h"
#include "tidewell/core/foundation/TWDateUtils.h"
#include "tidewell/core/foundation/TWModelObject.h"
#include "tidewell/runtime/KeyValueCoding.h"

namespace tidewell {
namespace {

using base::Date;
using base::Value;
using MaybeDate = std::optional<Date>;

class FoundationTest : public CoreFixture {};

TEST_F(FoundationTest, DictionariesStoreNilAsEmptyAndReadNullAsNil) {
  TWLogger::debug(1);
  base::Dictionary payload;
  setObjectNilHandled(payload, {}, "x");
  setObjectNilHandled(payload, Value::null(), "y");
  setObjectNilHandled(payload, base::Dictionary{{"text", "t"}, {"null", Value::null()}}, "z");
  setObjectNilHandled(payload, {}, std::nullopt);
  EXPECT_EQ(lines(), Lines{"Tidewell - Key can't be nil. Object is (null)"});
  EXPECT_EQ(validObjectForKey(payload, "x"), Value(""));
  EXPECT_EQ(validObjectForKeyPath(payload, "z.text"), Value("t"));
  for (const std::optional<std::string_view> key : {std::optional<std::string_view>("y"), {"absent"}, {}}) {
    EXPECT_TRUE(validObjectForKey(payload, key).isNil());
    EXPECT_TRUE(validObjectForKeyPath(payload, key).isNil());
  }
  EXPECT_TRUE(validObjectForKeyPath(payload, "z.null").isNil());
  EXPECT_THROW((void)validObjectForKeyPath(payload, "y.text"), base::Exception);
  for (const std::optional<std::string_view> key : {std::optional<std::string_view>("x"), {"absent"}, {}})
    removeValidObjectForKey(payload, key);
  EXPECT_EQ(payload.allKeys(), (Lines{"y", "z"}));
}

TEST_F(FoundationTest, DatesAreWrittenReadAndComparedExactly) {
  platform->testClock().setSystemTimeZone(base::TimeZone::timeZoneForSecondsFromGMT(19800));
  const struct {
    double seconds;
    std::string_view format;
    bool inGMT;
    std::string_view text;
  } texts[] = {
      {1542042309, kTWDateFormatISO8601, true, "2018-11-12T17:05:09Z"},
      {1542042309, kTWDateFormatISO8601WithoutZ, false, "2018-11-12T22:35:09"},
      {1542042309.25, kTWDateFormatISO8601MilliSec, true, "2018-11-12T17:05:09.250Z"},
      {1541961000, kTWDateFormatShort, false, "2018-11-12"},
  };
  for (const auto& [seconds, format, inGMT, text] : texts) {
    EXPECT_EQ(TWDateUtils::getStringForDate(Date{seconds}, format, inGMT), Text(text));
    EXPECT_EQ(TWDateUtils::getDateForString(text, format, inGMT), MaybeDate(Date{seconds}));
  }
  EXPECT_EQ(TWDateUtils::getStringForDate(std::nullopt, kTWDateFormatShort, true), Text());
  EXPECT_EQ(TWDateUtils::getStringForDate(Date{0}, std::nullopt, true), Text());
  EXPECT_EQ(TWDateUtils::getDateForString(std::nullopt, kTWDateFormatShort, true), MaybeDate());
  EXPECT_EQ(TWDateUtils::getDateForString("2018-11-12", std::nullopt, true), MaybeDate());
  EXPECT_EQ(TWDateUtils::getTimeDifferenceBetweenDate(Date{5400}, Date{0}), (base::DateComponents{1, 30}));
  const std::tuple<MaybeDate, MaybeDate, std::string> orders[] = {{Date{1.001}, Date{1}, "later"},
                                                                  {Date{1}, Date{1.001}, "earlier"},
                                                                  {MaybeDate(), Date{1}, "same"},
                                                                  {MaybeDate(), MaybeDate(), "same"},
                                                                  {Date{1}, MaybeDate(), "none"}};
  for (const auto& [first, second, order] : orders) {
    EXPECT_EQ(TWDateUtils::isDate1LaterToDate2(first, second), order == "later");
    EXPECT_EQ(TWDateUtils::isDate1EarlierToDate2(first, second), order == "earlier");
    EXPECT_EQ(TWDateUtils::isDate1SameAsDate2(first, second), order == "same");
  }
  platform->testClock().setNow({1542000000.9});
  EXPECT_EQ(TWDateUtils::getLocalTime(), "12:11:2018:10:50:00");
  EXPECT_TRUE(TWDateUtils::isDateTimeGreaterThanNow(1542000001));
  EXPECT_FALSE(TWDateUtils::isDateTimeGreaterThanNow(1542000000.9));
  platform->testClock().setNow({-0.5});
  EXPECT_EQ(TWDateUtils::getGMTtime(), "-1") << "rounded down";
}

class Banner : public runtime::Subclass<Banner, TWModelObject> {
 public:
  using Subclass::Subclass;
  std::optional<std::string> link;
  std::shared_ptr<Banner> next;
  base::Array list;
  Value extra;
  static void describe(runtime::ClassBuilder<Banner>& c) {
    c.property<&Banner::link>("link").property<&Banner::next>("next");
    c.property<&Banner::list>("list").property<&Banner::extra>("extra");
  }
};

class Sale : public runtime::Subclass<Sale, Banner> {
 public:
  double discount = 0.5;
  static void describe(runtime::ClassBuilder<Sale>& c) { c.property<&Sale::discount>("discount"); }
};

TEST_F(FoundationTest, AModelObjectAnswersThePropertiesOfItsOwnClassInOrder) {
  const auto banner = runtime::make<Banner>(base::Dictionary{{"link", "ignored"}});
  EXPECT_EQ(banner->dictionaryWithProperties(), (base::Dictionary{{"list", base::Array{}}}));
  const auto next = runtime::make<Banner>();
  banner->extra = Value::null();
  banner->list.addObject(runtime::objectValue(next));
  banner->next = next;
  banner->link = "shop:cart";
  EXPECT_EQ(banner->dictionaryWithProperties().description(),
            base::Dictionary({{"link", "shop:cart"},
                              {"next", base::Dictionary{{"list", base::Array{}}}},
                              {"list", base::Array{runtime::objectValue(next)}},
                              {"extra", Value::null()}})
                .description());
  next->next = banner;
  EXPECT_THROW((void)banner->dictionaryWithProperties(), base::Exception) << "the two hold each other";
  next->next = nullptr;
  EXPECT_EQ(banner->dictionaryWithProperties().count(), 4u) << "the depth is counted anew";

  const auto sale = runtime::make<Sale>();
  EXPECT_EQ(sale->dictionaryWithProperties(), (base::Dictionary{{"discount", 0.5}}));
  runtime::Class& subclass = *runtime::allocateClassPair(&sale->isa(), "SubclassWithoutProperties");
  runtime::registerClassPair(subclass);
  runtime::setClass(sale.get(), subclass);
  EXPECT_TRUE(sale->dictionaryWithProperties().empty());
}

}  // namespace
}  // namespace tidewell
