// SPDX-License-Identifier: Apache-2.0
#include <filesystem>
#include <fstream>

#include "ConfigModel.h"
#include "Conversion.h"
#include "core/CoreFixture.h"
#include "tidewell/base/formats/KeyedArchive.h"

#import "Record.h"

namespace tidewell {
namespace {

using facade::objectOf;
using facade::raisingCpp;
using facade::textOf;
using facade::valueOf;

std::string archivedByPeer(id root, NSPropertyListFormat format) {
  return raisingCpp([&] {
    NSMutableData* const bytes = [NSMutableData data];
    NSKeyedArchiver* const archiver = [[NSKeyedArchiver alloc] initForWritingWithMutableData:bytes];
    [archiver setOutputFormat:format];
    [archiver encodeObject:root forKey:@"root"];
    [archiver finishEncoding];
    [archiver release];
    return std::string(static_cast<const char*>([bytes bytes]), [bytes length]);
  });
}

/// The root of an archive, read by GNUstep. Not released: each test is a process.
id readByPeer(const std::string& bytes) {
  return raisingCpp([&] {
    return [[NSKeyedUnarchiver unarchiveObjectWithData:[NSData dataWithBytes:bytes.data()
                                                                      length:bytes.size()]] retain];
  });
}

/// As JSON, which tells 1, 1.0 and true apart; dates and data by their descriptions.
std::string shown(const base::Value& value) {
  if (value.array()) {
    std::string text = "[";
    for (const base::Value& entry : *value.array()) text += shown(entry) + " ";
    return text + "]";
  }
  if (value.dictionary()) {
    std::vector<std::string> keys = value.dictionary()->allKeys();
    std::sort(keys.begin(), keys.end());
    std::string text = "{";
    for (const std::string& key : keys)
      text += key + ":" + shown(value.dictionary()->objectForKey(key)) + " ";
    return text + "}";
  }
  if (value.isNil() || value.data()) return value.description();
  if (value.date()) return "date " + std::to_string(value.date()->secondsSince1970);
  return base::dataWithJSONObject(base::Array{value});
}

constexpr const char* kUsual =
    R"("i_d_e":1,"p_f_t":2,"dt_s_t":3,"u_a_c_t":4,"s_i_d":5,"d_t_opt_out":false,"user_push_opt_out":false,"user_inapp_opt_out":false,"e_b_c":6)";
struct Row {
  const char* what;
  std::string json;   ///< the fields by key; numbers and booleans are always there
  const char* gates;  ///< the answers, in the order of `configModelGates`
};
const Row kRows[] = {
    {"only numbers", std::string("{") + kUsual + "}", "YYYYNYNYYY"},
    {"every key",
     R"({"a_s":"allowed","i_s":"blocked","g_s":"allowed","in_s":"blocked","le_s":"allowed","p_f_s":"blocked","d_t":"allowed",
         "i_d_e":604800,"p_f_t":0,"dt_s_t":9223372036854775807,"u_a_c_t":4294967296,"s_i_d":255,"b_e":["a","b","a"],
         "f_e":["purchase"],"d_t_w_e":["é✅"],"src_ext":["a"],"b_uid_r":["[0-9]+"],"d_t_opt_out":true,
         "user_push_opt_out":false,"user_inapp_opt_out":false,"e_b_c":65536,"d_r_r":"Europe","le_tkn":"token"})",
     "YNNNYNYNYY"},
    {"odd values",
     std::string(
         R"({"a_s":"","i_s":"$","g_s":true,"in_s":1.5,"le_s":["blocked"],"b_e":[null,7,true,-1,2.5,"",[],{}],)") +
         R"("f_e":{"k":{"l":[null]},"$x":"$y"},"src_ext":"text","le_tkn":"$class","d_r_r":"SERV3",)" +
         kUsual + "}",
     nullptr},
};

class ArchiveExchange : public CoreFixture {
 protected:
  ~ArchiveExchange() override { [pool release]; }
  NSAutoreleasePool* const pool = [NSAutoreleasePool new];
};

TEST_F(ArchiveExchange, RecordsKeepEveryKeyAndTypeInBothDirections) {
  const std::string path = *TWConfigManager().getFilePathForConfig();
  for (const Row& row : kRows) {
    const base::Value expected = base::JSONObjectWithData(row.json);
    PeerRecord* const record = [PeerRecord new];
    record.fields = objectOf(expected);
    for (const auto format : {NSPropertyListBinaryFormat_v1_0, NSPropertyListXMLFormat_v1_0}) {
      SCOPED_TRACE(std::string(row.what) + ", format " + std::to_string(format));
      ASSERT_FALSE(files().replaceFile(path, archivedByPeer(record, format)));
      TWConfigManager manager;
      base::Dictionary read;
      for (const ConfigModelField& field : configModelFields()) {
        const base::Value value = field.get(*manager.tdwConfig());
        if (!value.isNil()) read.setObject(value, field.key);
      }
      EXPECT_EQ(shown(read), shown(expected));
      std::string answers;
      for (const ConfigModelGate& gate : configModelGates()) answers += (manager.*gate.ask)() ? 'Y' : 'N';
      EXPECT_TRUE(row.gates == nullptr || answers == row.gates) << answers;
      manager.setDataRedirectionRegion(manager.getDataRedirectionRegion());  // writes the archive
      read.setObject(manager.tdwConfig()->dataRedirectionRegion(), "d_r_r");
      PeerRecord* const back = readByPeer(*files().contents(path));
      EXPECT_EQ(shown(valueOf(back.fields)), shown(read));
    }
  }
}

TEST_F(ArchiveExchange, BothReadTheRecordedArchivesAlike) {
  int read = 0;
  for (const auto& file : std::filesystem::directory_iterator(TIDEWELL_TEST_DATA "/keyed_archive")) {
    if (file.path().extension() != ".plist") continue;
    SCOPED_TRACE(file.path().stem());
    std::ifstream stream(file.path(), std::ios::binary);
    const std::string bytes{std::istreambuf_iterator<char>(stream), {}};
    id const theirs = readByPeer(bytes);
    ++read;
    if (![theirs isKindOfClass:[PeerRecord class]]) {
      EXPECT_EQ(shown(base::unarchiveObjectWithData(bytes)), shown(valueOf(theirs)));
      continue;
    }
    base::Dictionary ours;
    base::unarchiveRecord(bytes, "TWConfig", [&](base::KeyedDecoder& decoder) {
      const TWConfig record(decoder);
      for (const ConfigModelField& field : configModelFields()) {
        const base::Value value = field.get(record);  // Objective-C's integers are signed
        if (!value.isNil())
          ours.setObject(
              field.original.kind() == base::ValueKind::integer ? base::Value(value.integerValue()) : value,
              field.key);
      }
    });
    EXPECT_EQ(shown(ours), shown(valueOf([theirs fields])));
  }
  EXPECT_GT(read, 20);
}

TEST_F(ArchiveExchange, ValuesAreReadOnTheOtherSide) {
  const double whole = 1542042309, fraction = 1542042309.25;
  struct {
    const char* what;
    id written;
    base::Value binary;
    base::Value xml;
    bool isReadBack = true;  ///< whether GNUstep reads what the library writes
  } const rows[] = {
      {"a date", [NSDate dateWithTimeIntervalSince1970 : whole], base::Date { whole }, base::Date{whole}},
      {"a date with a fraction", [NSDate dateWithTimeIntervalSince1970 : fraction], base::Date { fraction },
       base::Date{whole}},
      {"data", [NSMutableData dataWithBytes:"ab" length:2], base::Data("ab"), base::Data("ab")},
      {"the null object", [NSNull null], base::Value::null(), base::Value::null()},
      {"mutable text", [NSMutableString stringWithString:@"é"], "é", "é"},
      {"text beyond 16 bits", facade::stringOf("🛑"), "🛑", "\\UD83D\\UDED1"},
      {"the text $x", @"$x", "$x", "$x"},
      {"the least integer", [NSNumber numberWithLongLong:INT64_MIN], INT64_MIN, INT64_MIN},
      {"a 64-bit unsigned integer", [NSNumber numberWithUnsignedLongLong:UINT64_MAX], -1, UINT64_MAX, false},
      {"a float", [NSNumber numberWithFloat:1.25f], 1.25, 1.25},
  };
  for (const auto& row : rows) {
    for (const bool isXml : {false, true}) {
      SCOPED_TRACE(std::string(row.what) + (isXml ? ", XML" : ""));
      NSArray* const root = [NSArray arrayWithObject:row.written];
      const std::string bytes =
          archivedByPeer(root, isXml ? NSPropertyListXMLFormat_v1_0 : NSPropertyListBinaryFormat_v1_0);
      EXPECT_EQ(shown(base::unarchiveObjectWithData(bytes)),
                shown(base::Array{isXml ? row.xml : row.binary}));
      const base::Array ours{valueOf(row.written)};
      try {
        EXPECT_EQ(shown(valueOf(readByPeer(base::archivedDataWithRootObject(ours)))), shown(ours));
        EXPECT_TRUE(row.isReadBack);
      } catch (const base::Exception&) {
        EXPECT_FALSE(row.isReadBack);
      }
    }
  }
}

}  // namespace
}  // namespace tidewell
