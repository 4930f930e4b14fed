// SPDX-License-Identifier: Apache-2.0
#include "tidewell/base/formats/PropertyList.h"

#include <cmath>
#include <numeric>

#include "VectorFile.h"
#include "tidewell/base/Exception.h"
#include "tidewell/base/formats/KeyedArchive.h"

using namespace tidewell::base;
using vectors::expectSame;

namespace {

// Builds binary property lists byte by byte, including invalid ones.

std::string bigEndian(std::uint64_t number, int size) {
  std::string bytes;
  for (int i = size - 1; i >= 0; --i) bytes += static_cast<char>(number >> (8 * i));
  return bytes;
}

std::string binaryArray(const std::vector<int>& entries, int referenceSize) {
  std::string bytes = "\xaf\x12" + bigEndian(entries.size(), 4);
  for (const int entry : entries) bytes += bigEndian(static_cast<std::uint64_t>(entry), referenceSize);
  return bytes;
}

/// A list of these objects; empty ones refer to `offsetOfEmpty`.
std::string binaryList(const std::vector<std::string>& objects, std::uint64_t root, int referenceSize,
                       std::size_t offsetOfEmpty = 0) {
  std::string bytes = "bplist00";
  std::string table;
  for (const std::string& object : objects) {
    table += bigEndian(object.empty() ? offsetOfEmpty : bytes.size(), 4);
    bytes += object;
  }
  const std::size_t tableOffset = bytes.size();
  return bytes + table + std::string(6, '\0') + '\x04' + static_cast<char>(referenceSize) +
         bigEndian(objects.size(), 8) + bigEndian(root, 8) + bigEndian(tableOffset, 8);
}

Dictionary everything() {
  return {{"empty", ""},
          {"ascii", "plain & <tagged> \"quoted\"\n\ttext\r"},
          {"unicod\xC3\xA9", "caf\xC3\xA9 \xF0\x9F\x98\x80"},
          {"long", std::string(70000, 'x')},
          {"data", Data(std::string("\0\xFF\x80", 3))},
          {"no data", Data()},
          {"date", Date{1542000000}},
          {"distant past", Date{-62135596800.0}},
          {"far", Date{253402300799.0}},
          {"numbers", Array{0, 1, 255, 256, 65536, std::int64_t{1} << 40, -1, INT64_MIN, INT64_MAX,
                            UINT64_MAX, 0.1, -0.0, 1e300, 5e-324, true, false}},
          {"empty array", Array{}},
          {"nested", Dictionary{{"z", 1}, {"a", Array{Dictionary{}, "x"}}}}};
}

Value nested(int depth) {
  Value value = Array{};
  for (int i = 1; i < depth; ++i) value = Array{value};
  return value;
}

}  // namespace

TEST(PropertyList, RoundTripsThroughTheLibraryAndAnotherReader) {
  Dictionary common = everything();
  common.removeObjectForKey("distant past");  // the other reader has 32-bit seconds
  common.removeObjectForKey("far");
  for (const auto format : {PropertyListFormat::binary, PropertyListFormat::xml}) {
    expectSame(propertyListWithData(dataWithPropertyList(everything(), format)), everything());
    for (const bool toXml : {false, true})
      EXPECT_EQ(propertyListWithData(vectors::rewrittenByPeer(dataWithPropertyList(common, format), toXml)),
                Value(common));
  }
  const Value fraction = Date{1542000000.123456};
  expectSame(propertyListWithData(dataWithPropertyList(fraction, PropertyListFormat::binary)), fraction);
}

TEST(PropertyList, RefusesToWriteUnsupportedValues) {
  for (const auto format : {PropertyListFormat::binary, PropertyListFormat::xml}) {
    for (const Value& value :
         {Value(), Value::null(), Value(BoxedPointer{}), Value(Url::URLWithString("a"))}) {
      EXPECT_THROW((void)dataWithPropertyList(value, format), Exception);
      EXPECT_THROW((void)dataWithPropertyList(Array{Dictionary{{"k", Array{value}}}}, format), Exception);
    }
    EXPECT_NO_THROW((void)dataWithPropertyList(nested(kMaximumPropertyListDepth), format));
    EXPECT_THROW((void)dataWithPropertyList(nested(kMaximumPropertyListDepth + 1), format), Exception);
  }
  for (const Value& value : {Value("\x01"), Value(Date{1e300}), Value(Date{NAN})}) {
    EXPECT_THROW((void)dataWithPropertyList(value, PropertyListFormat::xml), Exception);
  }
}

TEST(PropertyList, ReadsWellFormedXmlOnly) {
  for (const vectors::Row& row : vectors::tableFile("property_list_xml.tsv")) {
    vectors::rj::Document expected;
    expected.Parse(row.at("expected"));
    SCOPED_TRACE(row.at("id"));
    expectSame(propertyListWithData(vectors::cellText(row.at("xml"))), vectors::valueOf(expected));
  }
}

TEST(PropertyList, RefusesDeepNestingWithoutRecursion) {
  for (const int depth : {kMaximumPropertyListDepth, kMaximumPropertyListDepth + 1, 100'000}) {
    std::string xml;
    std::vector<std::string> objects;
    for (int i = 1; i < depth; ++i) objects.push_back(binaryArray({i}, 4));
    objects.push_back(binaryArray({}, 4));
    for (int i = 0; i < depth; ++i) xml += "<array>";
    for (int i = 0; i < depth; ++i) xml += "</array>";
    const bool fits = depth <= kMaximumPropertyListDepth;
    EXPECT_EQ(propertyListWithData(xml).isNil(), !fits);
    EXPECT_EQ(propertyListWithData(binaryList(objects, 0, 4)).isNil(), !fits);
  }
}

TEST(PropertyList, RefusesInconsistentOrExpandingBinaryLists) {
  // Each array contains the next one twice: 2^40 entries in 300 bytes.
  std::vector<std::string> doubling;
  for (int i = 0; i < 40; ++i) doubling.push_back(binaryArray({i + 1, i + 1}, 1));
  doubling.push_back("\x08");
  // A thousand objects that share one megabyte.
  std::vector<int> entries(999);
  std::iota(entries.begin(), entries.end(), 1);
  std::vector<std::string> megabytes{binaryArray(entries, 2)};
  megabytes.push_back(std::string("\x5f\x12\x00\x10\x00\x00", 6) + std::string(1 << 20, 'x'));
  const std::size_t offset = 8 + megabytes[0].size();
  megabytes.resize(1000);
  const std::string huge("\x13\x7f\xff\xff\xff\xff\xff\xff\xff", 9);
  const std::pair<const char*, std::string> rows[] = {
      {"doubling", binaryList(doubling, 0, 1)},
      {"shared megabyte", binaryList(megabytes, 0, 2, offset)},
      {"a cycle", binaryList({binaryArray({1}, 1), binaryArray({0}, 1)}, 0, 1)},
      {"no such object", binaryList({binaryArray({9}, 1)}, 0, 1)},
      {"no such root", binaryList({"\x09"}, 1, 1)},
      {"2^63 entries", binaryList({"\xaf" + huge}, 0, 1)},
      {"2^63 bytes", binaryList({"\x4f" + huge}, 0, 1)},
      {"2^63 units", binaryList({"\x6f" + huge}, 0, 1)},
      {"2^63 keys", binaryList({"\xdf" + huge}, 0, 1)},
      {"a key that is not a string", binaryList({std::string("\xd1\x01\x01", 3), "\x09"}, 0, 1)},
      {"a UID", binaryList({std::string("\x80\x00", 2)}, 0, 1)},
      {"null", binaryList({std::string("\x00", 1)}, 0, 1)},
      {"a set", binaryList({"\xc0"}, 0, 1)},
      {"an integer of 128 bits", binaryList({"\x14" + std::string(16, '\x01')}, 0, 1)},
      {"2^32 - 1 objects", binaryList({"\x09"}, 0, 1).replace(13 + 8, 4, "\xff\xff\xff\xff")},
  };
  for (const auto& [what, bytes] : rows) EXPECT_TRUE(propertyListWithData(bytes).isNil()) << what;
  EXPECT_EQ(propertyListWithData(binaryList({"\x09"}, 0, 1)), Value(true)) << "`binaryList` is correct";
}

// Keyed archives

namespace {

/// XML in which `N` denotes a reference to entry N.
std::string withReferences(std::string text) {
  for (std::size_t at = 0; (at = text.find('`', at)) != std::string::npos;) {
    const std::size_t end = text.find('`', at + 1);
    const std::string number = text.substr(at + 1, end - at - 1);
    text.replace(at, end - at + 1, "<dict><key>CF$UID</key><integer>" + number + "</integer></dict>");
  }
  return text;
}

/// An archive with these entries after "$null".
std::string xmlArchive(const std::string& objects, const std::string& root = "1",
                       const std::string& version = "100000") {
  return withReferences(
      "<plist><dict><key>$archiver</key><string>NSKeyedArchiver</string><key>$version</key><integer>" +
      version + "</integer><key>$top</key><dict><key>root</key>`" + root +
      "`</dict><key>$objects</key><array><string>$null</string>" + objects + "</array></dict></plist>");
}

/// An array, in an archive whose second entry is `kArrayClass`.
std::string arrayEntry(const std::string& references) {
  return "<dict><key>NS.objects</key><array>" + references + "</array><key>$class</key>`2`</dict>";
}
const std::string kArrayClass =
    "<dict><key>$classes</key><array><string>NSArray</string><string>NSObject</string></array></dict>";

}  // namespace

// Archives of records are read and rewritten by the tests of their class.
TEST(KeyedArchive, ReadsArchivesOfThePlatformAndItsOwn) {
  int read = 0;
  vectors::eachKeyedArchive(
      [&](const std::string&, const std::string& bytes, const vectors::rj::Value& twin) {
        if (!twin.HasMember("value")) return;
        const Value expected = vectors::valueOf(twin["value"]);
        const Value value = unarchiveObjectWithData(bytes);
        EXPECT_EQ(value, expected);
        EXPECT_EQ(value.kind(), expected.kind());
        ++read;
      });
  EXPECT_GT(read, 0);
  Array events;
  for (int i = 0; i < 300'000; ++i) events.addObject("event " + std::to_string(i));
  const Value plain = Dictionary{{"a", Array{1, -1, UINT64_MAX, 0.5, true, "x", "x", Value::null()}},
                                 {"when", Date{1542000000.25}},
                                 {"raw", Data(std::string("\0\1", 2))},
                                 {"d", Dictionary{{"$k", Array{}}}},
                                 {"long", events}};
  const std::string bytes = archivedDataWithRootObject(plain);
  EXPECT_LT(bytes.size(), events.count() * 40);
  EXPECT_EQ(unarchiveObjectWithData(bytes), plain);
  EXPECT_TRUE(unarchiveObjectWithData(archivedDataWithRootObject(Value())).isNil());
  EXPECT_THROW((void)archivedDataWithRootObject(Array{BoxedPointer{}}), Exception);
}

TEST(KeyedArchive, DecodesScalarsOnlyOfTheGivenClass) {
  const std::string bytes = archivedDataWithRecord("Record", [](KeyedEncoder& encoder) {
    encoder.encodeInt64(7, "number");
    encoder.encodeBool(true, "$flag");
    encoder.encodeObject(true, "boxed");
    encoder.encodeObject(Array{"entry"}, "list");
  });
  EXPECT_EQ(scalarsOfArchivedRecord(bytes, "Record"),
            (Dictionary{{"number", 7}, {"$flag", true}, {"boxed", true}}));
  EXPECT_EQ(scalarsOfArchivedRecord(bytes, "Other"), std::nullopt);
  const auto fails = [](KeyedDecoder&) { ADD_FAILURE(); };
  EXPECT_THROW((void)unarchiveRecord(bytes, "Other", fails), Exception);
  EXPECT_FALSE(unarchiveRecord(xmlArchive("", "0"), "Record", fails));
}

TEST(KeyedArchive, RefusesOtherPropertyLists) {
  std::map<std::string, std::string> archives{{"no bytes", ""}, {"a plain list", "<plist><dict/></plist>"}};
  for (const auto& row : vectors::tableFile("keyed_archive_refused.tsv"))
    archives[row.at("what")] = xmlArchive(row.at("objects"), row.at("root"), row.at("version"));
  for (const auto& [what, bytes] : archives) {
    const std::string raised =
        vectors::raisedBy([&, &archive = bytes] { return unarchiveObjectWithData(archive); });
    EXPECT_TRUE(raised.starts_with(kInvalidUnarchiveOperationException)) << what;
  }
  EXPECT_EQ(unarchiveObjectWithData(xmlArchive("<string>a</string>")), Value("a"));
}

TEST(KeyedArchive, DecodesSharedObjectsOnceAndRefusesDeepNesting) {
  for (const bool doubling : {false, true}) {
    // A chain of arrays, deepest first or last, each containing the next one once or twice.
    for (const int length : {20, kMaximumArchiveDepth - 2, kMaximumArchiveDepth + 5}) {
      std::string objects = arrayEntry("`3`") + kArrayClass;
      for (int i = 3; i < length + 3; ++i) {
        const std::string next = "`" + std::to_string(i + 1) + "`";
        objects += arrayEntry(i + 1 == length + 3 ? "" : doubling ? next + next : next);
      }
      const bool fits =
          vectors::raisedBy([&] { return unarchiveObjectWithData(xmlArchive(objects)); }).empty();
      EXPECT_EQ(fits, length == 20 || (!doubling && length < kMaximumArchiveDepth)) << length;
    }
  }
}
