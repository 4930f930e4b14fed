#include "tidewell/base/formats/PropertyList.h"

#include <plist/plist.h>

#include <cmath>
#include <numeric>

#include "VectorFile.h"
#include "tidewell/base/Exception.h"

using namespace tidewell::base;

/// Makes binary property lists byte by byte, wrong ones too.
namespace binary {

inline std::string bigEndian(std::uint64_t number, int size) {
  std::string bytes;
  for (int i = size - 1; i >= 0; --i) bytes += static_cast<char>(number >> (8 * i));
  return bytes;
}

inline std::string array(const std::vector<int>& entries, int referenceSize) {
  std::string bytes = "\xaf\x12" + bigEndian(entries.size(), 4);
  for (const int entry : entries) bytes += bigEndian(static_cast<std::uint64_t>(entry), referenceSize);
  return bytes;
}

/// The list of these objects; the empty ones stand at `offsetOfEmpty`.
inline std::string list(const std::vector<std::string>& objects, std::uint64_t root, int referenceSize,
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

}  // namespace binary

namespace {

Value everything() {
  Array numbers{0,     1,         255,       256,        65536, std::int64_t{1} << 40,
                -1,    INT64_MIN, INT64_MAX, UINT64_MAX, 0.1,   -0.0,
                1e300, 5e-324,    true,      false};
  Dictionary entries;
  entries.setObject("", "empty");
  entries.setObject("plain & <tagged> \"quoted\"\n\ttext\r", "ascii");
  entries.setObject("caf\xC3\xA9 \xF0\x9F\x98\x80", "unicod\xC3\xA9");
  entries.setObject(std::string(70000, 'x'), "long");
  entries.setObject(Data(std::string("\0\xFF\x80", 3)), "data");
  entries.setObject(Data(), "no data");
  entries.setObject(Date{1542000000}, "date");
  entries.setObject(Date{-62135596800.0}, "distant past");
  entries.setObject(Date{253402300799.0}, "far");
  entries.setObject(numbers, "numbers");
  entries.setObject(Array{}, "empty array");
  entries.setObject(Dictionary{{"z", 1}, {"a", Array{Dictionary{}, "x"}}}, "nested");
  return entries;
}

/// Equality that tells kinds apart, and dictionaries of different order.
void expectSame(const Value& actual, const Value& expected) {
  ASSERT_EQ(actual.kind(), expected.kind()) << expected.description();
  EXPECT_EQ(actual, expected);
  for (std::size_t i = 0; expected.array() && i < expected.array()->count(); ++i)
    expectSame(actual.array()->objectAtIndex(i), expected.array()->objectAtIndex(i));
  if (!expected.dictionary()) return;
  ASSERT_EQ(actual.dictionary()->allKeys(), expected.dictionary()->allKeys());
  for (const auto& [key, value] : *expected.dictionary())
    expectSame(actual.dictionary()->objectForKey(key), value);
}

Value nested(int depth) {
  Value value = Array{};
  for (int i = 1; i < depth; ++i) value = Array{value};
  return value;
}

/// The list as another implementation reads and writes it again.
std::string rewrittenByPeer(const std::string& bytes, bool toXml) {
  plist_t list = nullptr;
  plist_from_memory(bytes.data(), static_cast<std::uint32_t>(bytes.size()), &list);
  EXPECT_NE(list, nullptr);
  char* out = nullptr;
  std::uint32_t length = 0;
  (toXml ? plist_to_xml : plist_to_bin)(list, &out, &length);
  plist_free(list);
  std::string result(out, length);
  plist_to_bin_free(out);
  return result;
}

}  // namespace

TEST(PropertyList, IsReadBackByTheLibraryAndItsPeer) {
  Dictionary common = *everything().dictionary();
  common.removeObjectForKey("distant past");  // the peer counts seconds in 32 bits
  common.removeObjectForKey("far");
  for (const auto format : {PropertyListFormat::binary, PropertyListFormat::xml}) {
    expectSame(propertyListWithData(dataWithPropertyList(everything(), format)), everything());
    for (const bool toXml : {false, true})
      EXPECT_EQ(propertyListWithData(rewrittenByPeer(dataWithPropertyList(common, format), toXml)),
                Value(common));
  }
  const Value fraction = Date{1542000000.123456};
  expectSame(propertyListWithData(dataWithPropertyList(fraction, PropertyListFormat::binary)), fraction);
}

TEST(PropertyList, RefusesToWriteWhatItCannotCarry) {
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
    for (int i = 1; i < depth; ++i) objects.push_back(binary::array({i}, 4));
    objects.push_back(binary::array({}, 4));
    for (int i = 0; i < depth; ++i) xml += "<array>";
    for (int i = 0; i < depth; ++i) xml += "</array>";
    const bool fits = depth <= kMaximumPropertyListDepth;
    EXPECT_EQ(propertyListWithData(xml).isNil(), !fits);
    EXPECT_EQ(propertyListWithData(binary::list(objects, 0, 4)).isNil(), !fits);
  }
}

TEST(PropertyList, RefusesBinaryListsThatLieOrGrow) {
  // Each array holds the next one twice: 2^40 entries in 300 bytes.
  std::vector<std::string> doubling;
  for (int i = 0; i < 40; ++i) doubling.push_back(binary::array({i + 1, i + 1}, 1));
  doubling.push_back("\x08");
  // A thousand objects that are all the same megabyte.
  std::vector<int> entries(999);
  std::iota(entries.begin(), entries.end(), 1);
  std::vector<std::string> megabytes{binary::array(entries, 2)};
  megabytes.push_back(std::string("\x5f\x12\x00\x10\x00\x00", 6) + std::string(1 << 20, 'x'));
  const std::size_t offset = 8 + megabytes[0].size();
  megabytes.resize(1000);
  const std::string huge("\x13\x7f\xff\xff\xff\xff\xff\xff\xff", 9);
  const std::pair<const char*, std::string> rows[] = {
      {"doubling", binary::list(doubling, 0, 1)},
      {"overlapping", binary::list(megabytes, 0, 2, offset)},
      {"a cycle", binary::list({binary::array({1}, 1), binary::array({0}, 1)}, 0, 1)},
      {"no such object", binary::list({binary::array({9}, 1)}, 0, 1)},
      {"no such root", binary::list({"\x09"}, 1, 1)},
      {"2^63 entries", binary::list({"\xaf" + huge}, 0, 1)},
      {"2^63 bytes", binary::list({"\x4f" + huge}, 0, 1)},
      {"2^63 units", binary::list({"\x6f" + huge}, 0, 1)},
      {"2^63 keys", binary::list({"\xdf" + huge}, 0, 1)},
      {"a key that is no string", binary::list({std::string("\xd1\x01\x01", 3), "\x09"}, 0, 1)},
      {"a reference of an archive", binary::list({std::string("\x80\x00", 2)}, 0, 1)},
      {"null", binary::list({std::string("\x00", 1)}, 0, 1)},
      {"a set", binary::list({"\xc0"}, 0, 1)},
      {"an integer of 128 bits", binary::list({"\x14" + std::string(16, '\x01')}, 0, 1)},
      {"four thousand million objects", binary::list({"\x09"}, 0, 1).replace(13 + 8, 4, "\xff\xff\xff\xff")},
  };
  for (const auto& [what, bytes] : rows) EXPECT_TRUE(propertyListWithData(bytes).isNil()) << what;
  EXPECT_EQ(propertyListWithData(binary::list({"\x09"}, 0, 1)), Value(true)) << "the maker itself is right";
}
