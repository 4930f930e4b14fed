#include "VectorFile.h"
#include "core/CoreFixture.h"
#include "tidewell/base/Exception.h"
#include "tidewell/base/formats/KeyedArchive.h"
#include "tidewell/core/TWConfigManager/TWConfig.h"
#include "tidewell/core/TWUtils/TWLogger/TWLogger.h"

namespace tidewell {
namespace {

using base::Value;
using ConfigRecord = CoreFixture;

/// Fields by the names of their getters.
base::Dictionary fieldsOf(const TWConfig& config) {
  base::Dictionary fields;
  const auto add = [&](const char* name, const Value& value) {
    fields.setObject(value.isNil() ? Value("(nil)") : value, name);
  };
  add("accountStatus", config.accountStatus());
  add("inAppServiceStatus", config.inAppServiceStatus());
  add("inboxServiceStatus", config.inboxServiceStatus());
  add("geofenceServiceStatus", config.geofenceServiceStatus());
  add("logEntriesServiceStatus", config.logEntriesServiceStatus());
  add("deviceTriggerServiceStatus", config.deviceTriggerServiceStatus());
  add("periodicSyncStatus", config.periodicSyncStatus());
  add("logEntriesToken", config.logEntriesToken());
  add("blackListedEventsArray", config.blackListedEventsArray());
  add("instantFlushEventsArray", config.instantFlushEventsArray());
  add("dataTrackingOptedOutWhitelistedEventsArray", config.dataTrackingOptedOutWhitelistedEventsArray());
  add("analyticsSourceExtraKeysArray", config.analyticsSourceExtraKeysArray());
  add("restrictedUniqueIDRegexArray", config.restrictedUniqueIDRegexArray());
  add("eventsBatchCount", static_cast<std::int64_t>(config.eventsBatchCount()));
  add("inboxDefaultDuration", static_cast<std::int64_t>(config.inboxDefaultDuration()));
  add("periodicSyncInterval", static_cast<std::int64_t>(config.periodicSyncInterval()));
  add("deviceTriggerSyncDuration", static_cast<std::int64_t>(config.deviceTriggerSyncDuration()));
  add("userAttrCachingDuration", static_cast<std::int64_t>(config.userAttrCachingDuration()));
  add("analyticsSessionInactiveDuration",
      static_cast<std::int64_t>(config.analyticsSessionInactiveDuration()));
  add("dataRedirectionRegion", config.dataRedirectionRegion());
  add("dataTrackingOptedOut", config.dataTrackingOptedOut());
  add("userPushOptedOut", config.userPushOptedOut());
  add("userInAppOptedOut", config.userInAppOptedOut());
  return fields;
}

// What a merge sends, and the setters of the manager, are compared with a plain model elsewhere.
TEST_F(ConfigRecord, NumbersOfNoPropertyAndOfOtherGroupsAreLoggedAndChangeNothing) {
  TWLogger::debug(TWLogLevelDebug);
  const std::string unknown = "Tidewell - Unknown Config property", invalid = "Tidewell - Invalid Property";
  TWConfig config;
  EXPECT_EQ(lines(), Lines{unknown}) << "making a record logs once";
  const base::Dictionary before = fieldsOf(config);
  for (const std::int64_t number : {std::int64_t{7}, std::int64_t{24}, std::int64_t{-1}, INT64_MIN})
    config.updateConfigProperty(number, 1);
  EXPECT_EQ(lines(), Lines(4, invalid));
  config.updateStatusConfigProperty(8, "x");
  config.updateDurationConfigProperty(0, 5);
  config.updateArrayConfigProperty(18, base::Array{"x"});
  config.updateMiscConfigProperty(21, 5);
  config.updateGDPRConfigProperty(20, true);
  EXPECT_EQ(lines(), (Lines{"Tidewell - Unknown feature", unknown, unknown, unknown, unknown}));
  EXPECT_THROW(config.updateConfigProperty(9, base::Array()), base::Exception);
  EXPECT_THROW(config.updateConfigProperty(22, Value::null()), base::Exception);
  EXPECT_EQ(fieldsOf(config), before);
  config.updateConfigProperty(17, base::Array{"x"});
  EXPECT_EQ(lines(), Lines{unknown}) << "known all the same";
  EXPECT_EQ(config.restrictedUniqueIDRegexArray(), Value(base::Array{"x"}));
}

TEST_F(ConfigRecord, ReadsArchivesOfThePlatformAndWritesThemBack) {
  namespace rj = vectors::rj;
  rj::Document index;
  index.Parse(vectors::contents("keyed_archive/index.json"));
  int read = 0;
  for (const rj::Value& name : index["archives"].GetArray()) {
    const std::string path = "keyed_archive/" + vectors::textOf(name);
    SCOPED_TRACE(path);
    rj::Document twin;
    twin.Parse(vectors::contents(path + ".json"));
    if (vectors::textOf(twin, "rootClass") != "TWConfig") continue;
    ++read;
    base::Dictionary expected;
    for (const auto& field : std::as_const(twin)["fields"].GetObject()) {
      const Value value = vectors::valueOf(field.value);
      expected.setObject(value.isNil() ? Value("(nil)") : value, vectors::textOf(field.name));
    }
    std::string bytes = vectors::contents(path + ".plist");
    for (int round = 0; round < 2; ++round) {
      std::unique_ptr<TWConfig> config;
      base::unarchiveRecord(bytes, "TWConfig", [&](base::KeyedDecoder& decoder) {
        config = std::make_unique<TWConfig>(decoder);
      });
      ASSERT_TRUE(config);
      EXPECT_EQ(fieldsOf(*config), expected) << fieldsOf(*config).description();
      bytes = base::archivedDataWithRecord(
          "TWConfig", [&](base::KeyedEncoder& encoder) { config->encodeWithCoder(encoder); });
    }
  }
  EXPECT_EQ(read, 21);
}

TEST_F(ConfigRecord, WritesItsKeysInTheirOrderAndWithTheirTypes) {
  class Listing final : public base::KeyedEncoder {
   public:
    void encodeObject(const Value&, std::string_view key) override { text.append(" o:").append(key); }
    void encodeInt64(std::int64_t, std::string_view key) override { text.append(" i:").append(key); }
    void encodeBool(bool, std::string_view key) override { text.append(" b:").append(key); }
    std::string text;
  } listing;
  TWConfig().encodeWithCoder(listing);
  EXPECT_EQ(
      listing.text,
      " o:a_s o:i_s o:g_s o:in_s o:le_s o:p_f_s o:d_t i:i_d_e i:p_f_t i:dt_s_t i:u_a_c_t i:s_i_d o:b_e o:f_e "
      "o:d_t_w_e o:src_ext o:b_uid_r b:d_t_opt_out b:user_push_opt_out b:user_inapp_opt_out i:e_b_c o:d_r_r "
      "o:le_tkn");
}

}  // namespace
}  // namespace tidewell
