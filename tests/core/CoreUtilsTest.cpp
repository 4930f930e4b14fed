// SPDX-License-Identifier: Apache-2.0
#include <cmath>
#include <thread>
#include <tuple>

#include "VectorFile.h"
#include "core/CoreFixture.h"
#include "tidewell/core/TWNetwork/Utils/TWNetworkUtils.h"
#include "tidewell/core/TWUtils/KeychainServices/TWKeychain.h"
#include "tidewell/core/foundation/NSDictionary+TWExtension.h"
#include "tidewell/core/foundation/NSMutableDictionary+TWExtension.h"
#include "tidewell/core/foundation/TWDateUtils.h"
#include "tidewell/core/foundation/TWModelObject.h"
#include "tidewell/runtime/KeyValueCoding.h"

namespace tidewell {
namespace {

using namespace std::string_view_literals;

class CoreUtilsTest : public CoreFixture {};

// tests/life covers the keys and values that outlive a process.
TEST_F(CoreUtilsTest, IdentifiersAreStoredAtOnceAndRemovedWithNil) {
  TWCoreUtils::saveUniqueId("user");
  EXPECT_EQ(stored("TW_uniqueServiceId"), base::Value("user"));
  for (const auto& [save, read] : {std::pair(&TWCoreUtils::saveAppId, &TWCoreUtils::getTidewellAppId),
                                   {&TWCoreUtils::saveDeviceToken, &TWCoreUtils::getDeviceToken},
                                   {&TWCoreUtils::saveUniqueId, &TWCoreUtils::getUniqueId}}) {
    for (const Text& value : {Text("value"), Text()}) {
      save(value);
      EXPECT_EQ(read(), value);
    }
  }
  EXPECT_TRUE(stored("TW_uniqueServiceId").isNil());
}

// tests/life covers that it outlives the process and the application.
TEST_F(CoreUtilsTest, TheDeviceIDIsCreatedOnce) {
  platform->testDefaults().setObject("", "TW_identifierForVendor");
  platform->testDevice().identifierForVendorValue = std::nullopt;
  platform->testKeychain().setStatus(platform::errSecInteractionNotAllowed);
  EXPECT_EQ(TWCoreUtils::getSDKUniqueIdForUser(), Text());
  EXPECT_EQ(TWNetworkUtils::getDeviceUniqueID(), Text());

  platform->testKeychain().setStatus(platform::errSecSuccess);
  platform->testDevice().identifierForVendorValue = "V";
  platform->testClock().setNow({1542000000.6});
  const auto ask = [] { EXPECT_EQ(TWNetworkUtils::getDeviceUniqueID(), Text("P-V-1542000001")); };
  std::thread thread(ask);
  ask();
  thread.join();
  EXPECT_FALSE(TWNetworkUtils::isDeviceUniqueIDPresentInKeyChain()) << "saved on the global queue";
  platform->testGlobalQueue().runAll();
  EXPECT_EQ(TWKeychain::keychainItem("com.tidewell.org.example.shop"), "P-V-1542000001");
  TWKeychain::save("com.tidewell.org.example.shop", "P-other");
  ask();  // fixed for this process
  EXPECT_EQ(TWNetworkUtils::getDeviceUniqueIDFromKeyChain(), Text("P-other")) << "read by the next start";
}

TEST_F(CoreUtilsTest, KeychainItemsAreReplacedAndRemoved) {
  TWLogger::debug(1);
  TWKeychain::save("s", "first");
  TWKeychain::save("s", "second");
  TWKeychain::save("t", 7);
  EXPECT_EQ(platform->testKeychain().itemCount(), 2u);
  EXPECT_EQ(TWKeychain::load("s"), base::Value("second"));
  EXPECT_EQ(TWKeychain::keychainItem("t"), "") << "not a text";
  EXPECT_EQ(TWKeychain::getKeychainQuery("s"),
            (base::Dictionary{{"class", "genp"}, {"svce", "s"}, {"acct", "s"}, {"pdmn", "ck"}}));
  TWKeychain::remove("s");
  EXPECT_TRUE(TWKeychain::load("s").isNil());
  EXPECT_EQ(lines(), Lines());

  base::Dictionary garbage = TWKeychain::getKeychainQuery("a%@b");
  garbage.setObject(base::Data("garbage"), platform::kSecValueData);
  platform->keychain().itemAdd(garbage);
  EXPECT_TRUE(TWKeychain::load("a%@b").isNil());
  expectLinesBeginning({caughtLine("TWKeychain", 34, "load:", "Unarchive of a%@b failed: ")});
}

TEST_F(CoreUtilsTest, DeviceModelsHaveMarketingNames) {
  for (const vectors::Row& device : vectors::tableFile("device_names.tsv")) {
    platform->testDevice().machineValue = device.at("machine");
    EXPECT_EQ(TWCoreUtils::getDeviceName(), device.at("name")) << device.at("machine");
  }
}

// Encoders

TEST_F(CoreUtilsTest, HexDigestAndSubstringHelpers) {
  std::string bytes;
  for (char byte = 0; byte < 40; ++byte) bytes += byte;
  EXPECT_EQ(TWCoreUtils::hexTokenForData(base::Data(bytes)),
            "000102030405060708090a0b0c0d0e0f101112131415161718191a1b1c1d1e1f")
      << "only the first 32 bytes";
  EXPECT_EQ(TWCoreUtils::hexTokenForData(base::Data("\xFF\x80")), "ff80");
  EXPECT_EQ(TWCoreUtils::hexTokenForData(std::nullopt), "");
  // RFC 1321, A.5
  EXPECT_EQ(TWCoreUtils::MD5hashForString(std::nullopt), "d41d8cd98f00b204e9800998ecf8427e");
  EXPECT_EQ(TWCoreUtils::MD5hashForString("abc\0def"sv), "900150983cd24fb0d6963f7d28e17f72");
  EXPECT_TRUE(TWCoreUtils::checkIfString("a.b", ".") && TWCoreUtils::checkIfString(std::nullopt, "x"));
  for (const std::optional<std::string_view> part : {std::optional<std::string_view>("."), {""}, {}})
    EXPECT_FALSE(TWCoreUtils::checkIfString("axb", part));
}

TEST_F(CoreUtilsTest, ADictionaryBecomesPrettyJSONOrALogLine) {
  TWLogger::debug(1);
  EXPECT_EQ(TWCoreUtils::getJSONStringFromDictionary(base::Dictionary{{"b", "a/b"}, {"a", base::Array{1}}}),
            Text("{\n  \"b\" : \"a\\/b\",\n  \"a\" : [\n    1\n  ]\n}"));
  EXPECT_EQ(TWCoreUtils::getJSONStringFromDictionary(std::nullopt), Text());
  EXPECT_EQ(TWCoreUtils::getJSONStringFromDictionary(base::Dictionary{{"k", NAN}}), Text());
  expectLinesBeginning({"Tidewell - Error while constructing JSON String: "});
}

TEST_F(CoreUtilsTest, ColoursAreParsedAfterTheFirstCharacter) {
  const std::tuple<std::optional<std::string_view>, int, int, int> cases[] = {
      {std::nullopt, 0, 0, 0},    {"#", 0, 0, 0},       {"#FF8000", 255, 128, 0},
      {"FF8000", 15, 128, 0},     {"", 0, 0, 0},        {"#12zz", 0, 0, 18},
      {"#80FF8000", 255, 128, 0}, {"😀FF8000", 0, 0, 0}, {"éFF8000", 255, 128, 0}};
  for (const auto& [text, red, green, blue] : cases) {
    EXPECT_EQ(TWCoreUtils::getColorFromHexValue(text), (TWColor{red / 255.0, green / 255.0, blue / 255.0, 1}))
        << text.value_or("nil");
  }
}

TEST_F(CoreUtilsTest, PayloadsAreConvertedForJSONAtEveryDepth) {
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

// Dictionaries, dates and model objects

using base::Date;
using base::Value;
using MaybeDate = std::optional<Date>;

class FoundationTest : public CoreFixture {};

TEST_F(FoundationTest, DictionariesStoreNilAsEmptyTextAndReadNullAsNil) {
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

TEST_F(FoundationTest, DatesAreFormattedParsedAndComparedExactly) {
  platform->testClock().setSystemTimeZone(base::TimeZone::timeZoneForSecondsFromGMT(19800));
  const std::tuple<MaybeDate, std::optional<std::string_view>, bool, Text> texts[] = {
      {Date{1542042309}, kTWDateFormatISO8601, true, "2018-11-12T17:05:09Z"},
      {Date{1542042309}, kTWDateFormatISO8601WithoutZ, false, "2018-11-12T22:35:09"},
      {Date{1542042309.25}, kTWDateFormatISO8601MilliSec, true, "2018-11-12T17:05:09.250Z"},
      {Date{1541961000}, kTWDateFormatShort, false, "2018-11-12"},
      {std::nullopt, kTWDateFormatShort, true, std::nullopt},
  };
  for (const auto& [date, format, inGMT, text] : texts) {
    EXPECT_EQ(TWDateUtils::getStringForDate(date, format, inGMT), text);
    EXPECT_EQ(TWDateUtils::getDateForString(text, format, inGMT), date);
  }
  EXPECT_EQ(TWDateUtils::getStringForDate(Date{0}, std::nullopt, true), Text());
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

TEST_F(FoundationTest, ModelObjectsListThePropertiesOfTheirClassInOrder) {
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
  EXPECT_THROW((void)banner->dictionaryWithProperties(), base::Exception) << "the two reference each other";
  next->next = nullptr;
  EXPECT_EQ(banner->dictionaryWithProperties().count(), 4u) << "the depth is counted from 0 again";

  const auto sale = runtime::make<Sale>();
  EXPECT_EQ(sale->dictionaryWithProperties(), (base::Dictionary{{"discount", 0.5}}));
}

}  // namespace
}  // namespace tidewell
