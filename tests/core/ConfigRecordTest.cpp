// SPDX-License-Identifier: Apache-2.0
#include <random>
#include <set>

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

/// The fields of a record by getter name.
base::Dictionary fieldsOf(const TWConfig& record) {
  base::Dictionary fields;
  for (const ConfigModelField& field : configModelFields())
    fields.setObject(shown(field.get(record)), field.getter);
  return fields;
}

class ConfigRecordTest : public CoreFixture {};

TEST_F(ConfigRecordTest, EachPropertyWritesOnlyItsField) {
  TWConfig record;
  for (const ConfigModelField& field : configModelFields()) {
    SCOPED_TRACE(field.getter);
    base::Dictionary expected = fieldsOf(record);
    EXPECT_EQ(expected.objectForKey(field.getter), field.original);
    const base::Value value = field.original.isNumber() ? base::Value(true) : base::Array{"x"};
    expected.setObject(value, field.getter);
    record.updateConfigProperty(field.number, value);
    EXPECT_EQ(fieldsOf(record), expected);
    record.updateConfigProperty(field.number, {});
    EXPECT_EQ(shown(field.get(record)), field.original);
  }
}

TEST_F(ConfigRecordTest, UnknownPropertyNumbersAreLoggedAndIgnored) {
  TWLogger::debug(TWLogLevelDebug);
  const std::string unknown = "Tidewell - Unknown Config property", invalid = "Tidewell - Invalid Property";
  TWConfig record;
  const base::Dictionary before = fieldsOf(record);
  for (const std::int64_t number : {std::int64_t{7}, std::int64_t{24}, INT64_MIN})
    record.updateConfigProperty(number, 1);
  record.updateStatusConfigProperty(8, "x");
  record.updateDurationConfigProperty(0, 5);
  record.updateArrayConfigProperty(18, base::Array{"x"});
  record.updateMiscConfigProperty(21, 5);
  record.updateGDPRConfigProperty(20, true);
  EXPECT_THROW(record.updateConfigProperty(9, base::Array()), base::Exception);
  EXPECT_THROW(record.updateConfigProperty(22, base::Value::null()), base::Exception);
  EXPECT_EQ(fieldsOf(record), before);
  // Logs a line although the property is known, as does creating a record.
  record.updateConfigProperty(17, base::Array{"x"});
  EXPECT_EQ(lines(), (Lines{unknown, invalid, invalid, invalid, "Tidewell - Unknown feature", unknown,
                            unknown, unknown, unknown, unknown}));
  EXPECT_EQ(TWConfig::getDefaultValForStatusProperty(9), "allowed");
  EXPECT_EQ(TWConfig::getDefaultValForDurationProperty(4), 0);
  EXPECT_TRUE(TWConfig::getDefaultValForMiscProperty(4).isNil());
  EXPECT_FALSE(TWConfig::getDefaultValForGDPRProperty(7));
}

TEST_F(ConfigRecordTest, ReadsArchivesOfThePlatformAndWritesThemBack) {
  // The others differ in details that reading ignores: order, classes, sharing, unknown keys.
  const std::set<std::string> written{"defaults",   "full",    "large_numbers",      "long_arrays",
                                      "nil_fields", "unicode", "unexpected_classes", "xml_format"};
  std::size_t read = 0;
  vectors::eachKeyedArchive([&](const std::string& name, std::string bytes, const vectors::rj::Value& twin) {
    if (vectors::textOf(twin, "rootClass") != "TWConfig") return;
    ++read;
    base::Dictionary expected;
    for (const auto& field : twin["fields"].GetObject())
      expected.setObject(shown(vectors::valueOf(field.value)), vectors::textOf(field.name));
    for (int round = 0; round < 2; ++round) {
      std::unique_ptr<TWConfig> record;
      base::unarchiveRecord(bytes, "TWConfig", [&](base::KeyedDecoder& decoder) {
        record = std::make_unique<TWConfig>(decoder);
      });
      ASSERT_TRUE(record);
      EXPECT_EQ(fieldsOf(*record), expected) << fieldsOf(*record).description();
      const std::string platforms = vectors::rewrittenByPeer(bytes, true);
      bytes = base::archivedDataWithRecord(
          "TWConfig", [&](base::KeyedEncoder& encoder) { record->encodeWithCoder(encoder); });
      EXPECT_TRUE(!written.contains(name) || vectors::rewrittenByPeer(bytes, true) == platforms);
    }
  });
  EXPECT_EQ(read, 21u);
}

// The manager compared with the plain model

using Values = std::vector<base::Value>;

const Lines kAskedNames{"a", "b", "purchase", "Purchase", "", "guest-1", "42"};

const Values kOddities{base::Value::null(),        7,   "text", base::Array{"x"},
                       base::Dictionary{{"k", 1}}, 1.5, false};
/// Typical values in replies for these keys.
const std::pair<Lines, Values> kUsual[] = {
    {{"a_s", "i_s", "in_s", "g_s", "le_s", "d_t", "p_f_s"}, {"blocked", "allowed", "Blocked"}},
    {{"p_f_t", "i_d_e", "dt_s_t", "u_a_c_t", "s_i_d", "e_b_c"},
     {0, 45, -7, "120", " 9x", 2.9, true, std::uint64_t{1} << 63, ""}},
    {{"b_e", "f_e", "d_t_w_e", "src_ext"},
     {base::Array(), base::Array{"a", "purchase", "a"}, base::Array{"b", 1, "a"},
      base::Array{base::Value::null(), "a"}, base::Array{""}}},
    {{"b_uid_r"},
     {base::Array{"guest.*", "b"}, base::Array{"a", "("}, base::Array{"[0-9]+", 3, "b"},
      base::Array{"[a-", "a"}}},
    {{"le_tkn"}, {"token", 5}}};

/// A random reply, possibly malformed. `below` returns random numbers below a bound.
template <class Below>
base::Value randomReply(Below& below) {
  if (below(20) == 0) return kOddities[below(kOddities.size())];
  base::Dictionary reply;
  for (const auto& [keys, usual] : kUsual) {
    for (const std::string& key : keys) {
      const Values& values = below(30) == 0 ? kOddities : usual;
      if (below(4) != 0) reply.setObject(values[below(values.size())], key);
    }
  }
  return reply;
}

class ConfigDifferential : public CoreFixture, public ::testing::WithParamInterface<std::uint32_t> {};

TEST_P(ConfigDifferential, MatchesThePlainModelThroughMergesSettersAndRestarts) {
  TWLogger::debug(TWLogLevelDebug);
  auto below = [random = std::mt19937(GetParam())](std::size_t bound) mutable { return random() % bound; };
  ConfigModel model;
  auto manager = std::make_unique<TWConfigManager>();
  for (int step = 0; step < 150; ++step) {
    SCOPED_TRACE(step);
    const bool flag = below(2) == 0;
    const std::size_t kind = below(8);
    const TWDataRegion region{static_cast<int>(below(5)) - 1};
    const base::Value reply = kind > 4 ? randomReply(below) : base::Value();
    SCOPED_TRACE(reply.description());
    const auto change = [&](auto& subject) {
      if (kind == 0) subject.setDataTrackingOptedOut(flag);
      if (kind == 1) subject.setUserPushNotificationOptedOut(flag);
      if (kind == 2) subject.setUserInAppNotificationOptedOut(flag);
      if (kind == 3) subject.setDataRedirectionRegion(region);
      if (kind > 4) subject.updateConfigFromResponse(reply);
    };
    if (kind == 4) {
      model.restart();
      manager = std::make_unique<TWConfigManager>();
    }
    change(model);
    change(*manager);
    if (flag) runUntilIdle();  // expressions are compiled now, or else by the first query
    ASSERT_EQ(answersOf(*manager, kAskedNames, [&] { return coordinatesOf(lines()); }),
              answersOf(model, kAskedNames, [&] { return std::exchange(model.logged, {}); }));
  }
}
INSTANTIATE_TEST_SUITE_P(Seeds, ConfigDifferential, ::testing::Range(1u, 9u));

}  // namespace
}  // namespace tidewell
