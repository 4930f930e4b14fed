#include "ConfigModel.h"
#include "VectorFile.h"
#include "core/CoreFixture.h"
#include "tidewell/base/formats/KeyedArchive.h"
#include "tidewell/core/TWConfigManager/TWConfig.h"

namespace tidewell {
namespace {

base::Value shown(const base::Value& value) { return value.isNil() ? base::Value("(nil)") : value; }
base::Value shown(std::uint64_t number) { return static_cast<std::int64_t>(number); }
base::Value shown(bool flag) { return flag; }

/// A field by the number with which it is written, its key in the archive, and its getter.
struct RecordField {
  std::int64_t number;
  const char* key;
  const char* getter;
  base::Value (*get)(const TWConfig&);
};
#define FIELD(number, key, getter)                                                      \
  {                                                                                     \
    number, key, #getter, [](const TWConfig& record) { return shown(record.getter()); } \
  }

/// In the order of the archive.
const RecordField kRecordFields[] = {
    FIELD(0, "a_s", accountStatus),
    FIELD(1, "i_s", inAppServiceStatus),
    FIELD(3, "g_s", geofenceServiceStatus),
    FIELD(2, "in_s", inboxServiceStatus),
    FIELD(4, "le_s", logEntriesServiceStatus),
    FIELD(6, "p_f_s", periodicSyncStatus),
    FIELD(5, "d_t", deviceTriggerServiceStatus),
    FIELD(8, "i_d_e", inboxDefaultDuration),
    FIELD(9, "p_f_t", periodicSyncInterval),
    FIELD(10, "dt_s_t", deviceTriggerSyncDuration),
    FIELD(11, "u_a_c_t", userAttrCachingDuration),
    FIELD(12, "s_i_d", analyticsSessionInactiveDuration),
    FIELD(13, "b_e", blackListedEventsArray),
    FIELD(15, "f_e", instantFlushEventsArray),
    FIELD(14, "d_t_w_e", dataTrackingOptedOutWhitelistedEventsArray),
    FIELD(16, "src_ext", analyticsSourceExtraKeysArray),
    FIELD(17, "b_uid_r", restrictedUniqueIDRegexArray),
    FIELD(21, "d_t_opt_out", dataTrackingOptedOut),
    FIELD(22, "user_push_opt_out", userPushOptedOut),
    FIELD(23, "user_inapp_opt_out", userInAppOptedOut),
    FIELD(18, "e_b_c", eventsBatchCount),
    FIELD(20, "d_r_r", dataRedirectionRegion),
    FIELD(19, "le_tkn", logEntriesToken),
};
#undef FIELD

base::Dictionary fieldsOf(const TWConfig& record) {
  base::Dictionary fields;
  for (const RecordField& field : kRecordFields) fields.setObject(field.get(record), field.getter);
  return fields;
}

class ConfigRecordTest : public CoreFixture {};

TEST_F(ConfigRecordTest, EachPropertyWritesItsFieldAndIsArchivedUnderItsKeyWithItsType) {
  class Listing final : public base::KeyedEncoder {
   public:
    void encodeObject(const base::Value&, std::string_view key) override { (text += " o:") += key; }
    void encodeInt64(std::int64_t, std::string_view key) override { (text += " i:") += key; }
    void encodeBool(bool, std::string_view key) override { (text += " b:") += key; }
    std::string text;
  } listing;
  TWConfig record;
  std::string keys;
  for (const RecordField& field : kRecordFields) {
    SCOPED_TRACE(field.getter);
    const base::Value original = ConfigModel::defaults().at(field.key);
    const bool isFlag = original.kind() == base::ValueKind::boolean;
    const bool isNumber = original.kind() == base::ValueKind::integer;
    keys += (isFlag ? " b:" : isNumber ? " i:" : " o:") + std::string(field.key);
    base::Dictionary expected = fieldsOf(record);
    EXPECT_EQ(expected.objectForKey(field.getter), original);
    const base::Value value = isFlag ? base::Value(true) : isNumber ? base::Value(7) : base::Array{"x"};
    expected.setObject(value, field.getter);
    record.updateConfigProperty(field.number, value);
    EXPECT_EQ(fieldsOf(record), expected);
    record.updateConfigProperty(field.number, {});
    EXPECT_EQ(field.get(record), original);
  }
  record.encodeWithCoder(listing);
  EXPECT_EQ(listing.text, keys);
}

TEST_F(ConfigRecordTest, NumbersOfNoPropertyOrOfAnotherGroupAreLoggedAndIgnored) {
  TWLogger::debug(TWLogLevelDebug);
  const std::string unknown = "Tidewell - Unknown Config property", invalid = "Tidewell - Invalid Property";
  TWConfig record;
  EXPECT_EQ(lines(), Lines{unknown}) << "making a record logs once";
  const base::Dictionary before = fieldsOf(record);
  for (const std::int64_t number : {std::int64_t{7}, std::int64_t{24}, std::int64_t{-1}, INT64_MIN})
    record.updateConfigProperty(number, 1);
  EXPECT_EQ(lines(), Lines(4, invalid));
  record.updateStatusConfigProperty(8, "x");
  record.updateDurationConfigProperty(0, 5);
  record.updateArrayConfigProperty(18, base::Array{"x"});
  record.updateMiscConfigProperty(21, 5);
  record.updateGDPRConfigProperty(20, true);
  EXPECT_EQ(lines(), (Lines{"Tidewell - Unknown feature", unknown, unknown, unknown, unknown}));
  EXPECT_THROW(record.updateConfigProperty(9, base::Array()), base::Exception);
  EXPECT_THROW(record.updateConfigProperty(22, base::Value::null()), base::Exception);
  EXPECT_EQ(fieldsOf(record), before);
  record.updateConfigProperty(17, base::Array{"x"});
  EXPECT_EQ(lines(), Lines{unknown}) << "logged although the property is known";
}

TEST_F(ConfigRecordTest, ReadsArchivesOfThePlatformAndWritesThemBack) {
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
    for (const auto& field : std::as_const(twin)["fields"].GetObject())
      expected.setObject(shown(vectors::valueOf(field.value)), vectors::textOf(field.name));
    std::string bytes = vectors::contents(path + ".plist");
    for (int round = 0; round < 2; ++round) {
      std::unique_ptr<TWConfig> record;
      base::unarchiveRecord(bytes, "TWConfig", [&](base::KeyedDecoder& decoder) {
        record = std::make_unique<TWConfig>(decoder);
      });
      ASSERT_TRUE(record);
      EXPECT_EQ(fieldsOf(*record), expected) << fieldsOf(*record).description();
      bytes = base::archivedDataWithRecord(
          "TWConfig", [&](base::KeyedEncoder& encoder) { record->encodeWithCoder(encoder); });
    }
  }
  EXPECT_EQ(read, 21);
}

}  // namespace
}  // namespace tidewell
