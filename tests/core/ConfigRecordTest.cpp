#include "ConfigModel.h"
#include "VectorFile.h"
#include "core/CoreFixture.h"
#include "tidewell/base/formats/KeyedArchive.h"

namespace tidewell {
namespace {

base::Value shown(const base::Value& value) {
  if (value.kind() == base::ValueKind::unsignedInteger) return value.integerValue();
  return value.isNil() ? base::Value("(nil)") : value;
}

/// The fields of a record by the names of their getters.
base::Dictionary fieldsOf(const TWConfig& record) {
  base::Dictionary fields;
  for (const ConfigModelField& field : configModelFields())
    fields.setObject(shown(field.get(record)), field.getter);
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
  for (const ConfigModelField& field : configModelFields()) {
    SCOPED_TRACE(field.getter);
    const bool isFlag = field.original.kind() == base::ValueKind::boolean;
    const bool isNumber = field.original.kind() == base::ValueKind::integer;
    keys += (isFlag ? " b:" : isNumber ? " i:" : " o:") + std::string(field.key);
    base::Dictionary expected = fieldsOf(record);
    EXPECT_EQ(expected.objectForKey(field.getter), field.original);
    const base::Value value = isFlag ? base::Value(true) : isNumber ? base::Value(7) : base::Array{"x"};
    expected.setObject(value, field.getter);
    record.updateConfigProperty(field.number, value);
    EXPECT_EQ(fieldsOf(record), expected);
    record.updateConfigProperty(field.number, {});
    EXPECT_EQ(shown(field.get(record)), field.original);
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
  EXPECT_EQ(TWConfig::getDefaultValForStatusProperty(9), "allowed");
  EXPECT_EQ(TWConfig::getDefaultValForDurationProperty(4), 0);
  EXPECT_TRUE(TWConfig::getDefaultValForMiscProperty(4).isNil());
  EXPECT_FALSE(TWConfig::getDefaultValForGDPRProperty(7));
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
