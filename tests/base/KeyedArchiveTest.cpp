#include "tidewell/base/formats/KeyedArchive.h"

#include <plist/plist.h>

#include "VectorFile.h"
#include "tidewell/base/Exception.h"

using namespace tidewell::base;
namespace rj = vectors::rj;

namespace {

/// XML in which `N` stands for a reference to entry N.
std::string withReferences(std::string text) {
  for (std::size_t at = 0; (at = text.find('`', at)) != std::string::npos;) {
    const std::size_t end = text.find('`', at + 1);
    const std::string number = text.substr(at + 1, end - at - 1);
    text.replace(at, end - at + 1, "<dict><key>CF$UID</key><integer>" + number + "</integer></dict>");
  }
  return text;
}

/// An archive whose entries after "$null" are given.
std::string xmlArchive(const std::string& objects, int root = 1, const char* version = "100000") {
  return withReferences(
      "<plist><dict><key>$archiver</key><string>NSKeyedArchiver</string><key>$version</key><integer>" +
      std::string(version) + "</integer><key>$top</key><dict><key>root</key>`" + std::to_string(root) +
      "`</dict><key>$objects</key><array><string>$null</string>" + objects + "</array></dict></plist>");
}

std::string arrayEntry(const std::string& references, int classEntry) {
  return "<dict><key>NS.objects</key><array>" + references + "</array><key>$class</key>`" +
         std::to_string(classEntry) + "`</dict>";
}
std::string classEntry(const std::string& name) {
  return "<dict><key>$classes</key><array><string>" + name +
         "</string><string>NSObject</string></array></dict>";
}

}  // namespace

// The archives of whole records are read, and written again, by the class that they are of.
TEST(KeyedArchive, ReadsThePlatformsArchivesAndItsOwn) {
  const auto parsed = [](const std::string& name) {
    rj::Document document;
    document.Parse(vectors::contents("keyed_archive/" + name + ".json"));
    return document;
  };
  int read = 0;
  const rj::Document index = parsed("index");
  for (const auto& each : index["archives"].GetArray()) {
    const std::string name = vectors::textOf(each);
    const rj::Document twin = parsed(name);
    if (!twin.HasMember("value")) continue;
    const Value expected = vectors::valueOf(twin["value"]);
    const Value value = unarchiveObjectWithData(vectors::contents("keyed_archive/" + name + ".plist"));
    EXPECT_EQ(value, expected) << name;
    EXPECT_EQ(value.kind(), expected.kind()) << name;
    ++read;
  }
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

// What another implementation's reader sees: the layout, and that equal strings lie in the archive once.
TEST(KeyedArchive, HasThePlatformsLayout) {
  const std::string bytes = archivedDataWithRecord("TWConfig", [](KeyedEncoder& encoder) {
    encoder.encodeObject("allowed", "a_s");
    encoder.encodeObject(Array{"allowed", Value::null(), Value::null()}, "b_e");
    encoder.encodeInt64(-1, "p_f_t");
    encoder.encodeBool(true, "$flag");
    encoder.encodeObject(Value(), "le_tkn");
  });
  plist_t list = nullptr;
  plist_from_bin(bytes.data(), static_cast<std::uint32_t>(bytes.size()), &list);
  char* xml = nullptr;
  std::uint32_t length = 0;
  plist_to_xml(list, &xml, &length);
  std::string text(xml, length);
  plist_free(list);
  plist_to_bin_free(xml);
  std::erase_if(text, [](char c) { return c == '\t' || c == '\n'; });
  const auto described = [](const std::string& name) {
    return "<dict><key>$classname</key><string>" + name + "</string><key>$classes</key><array><string>" +
           name + "</string><string>NSObject</string></array></dict>";
  };
  const std::string expected = withReferences(
      "<key>$version</key><integer>100000</integer><key>$objects</key><array><string>$null</string><dict>"
      "<key>a_s</key>`2`<key>b_e</key>`3`<key>p_f_t</key><integer>-1</integer><key>$$flag</key><true/>"
      "<key>le_tkn</key>`0`<key>$class</key>`7`</dict><string>allowed</string>"
      "<dict><key>NS.objects</key><array>`2``4``4`</array><key>$class</key>`6`</dict><dict><key>$class</"
      "key>`5`"
      "</dict>" +
      described("NSNull") + described("NSArray") + described("TWConfig") +
      "</array><key>$archiver</key><string>NSKeyedArchiver</string><key>$top</key><dict><key>root</key>`1`</"
      "dict>");
  EXPECT_NE(text.find(expected), std::string::npos) << text;
}

TEST(KeyedArchive, GivesTheScalarsOfARecordOfThatClassOnly) {
  const std::string bytes = archivedDataWithRecord("Record", [](KeyedEncoder& encoder) {
    encoder.encodeInt64(7, "number");
    encoder.encodeObject("7", "text");
    encoder.encodeBool(true, "$flag");
    encoder.encodeObject(true, "boxed");
    encoder.encodeObject(Array{"entry"}, "list");
    encoder.encodeObject(Value(), "none");
  });
  EXPECT_EQ(scalarsOfArchivedRecord(bytes, "Record"),
            (Dictionary{{"number", 7}, {"text", "7"}, {"$flag", true}, {"boxed", true}}));
  EXPECT_EQ(scalarsOfArchivedRecord(bytes, "Other"), std::nullopt);
  const auto fails = [](KeyedDecoder&) { ADD_FAILURE(); };
  EXPECT_THROW((void)unarchiveRecord(bytes, "Other", fails), Exception);
  EXPECT_FALSE(unarchiveRecord(xmlArchive("", 0), "Record", fails));
}

TEST(KeyedArchive, RefusesWhatIsNoArchive) {
  const std::string array = classEntry("NSArray");
  const std::pair<const char*, std::string> rows[] = {
      {"no bytes", ""},
      {"a plain list", "<plist><dict/></plist>"},
      {"another version", xmlArchive("<string>a</string>", 1, "100001")},
      {"a root beyond the end", xmlArchive("<string>a</string>", 9)},
      {"a cycle", xmlArchive(arrayEntry("`1`", 2) + array)},
      {"a longer cycle", xmlArchive(arrayEntry("`3`", 2) + array + arrayEntry("`1`", 2))},
      {"an entry beyond the end", xmlArchive(arrayEntry("`99`", 2) + array)},
      {"an entry that is nil", xmlArchive(arrayEntry("`0`", 2) + array)},
      {"an entry in place", xmlArchive(arrayEntry("<string>a</string>", 2) + array)},
      {"a class beyond the end", xmlArchive(arrayEntry("", 99))},
      {"a class that is a string", xmlArchive(arrayEntry("", 2) + "<string>NSArray</string>")},
      {"a class that is not known", xmlArchive(arrayEntry("", 2) + classEntry("NSWindow"))},
      {"no class", xmlArchive("<dict/>")},
      {"a list as an entry", xmlArchive("<array/>")},
      {"a date without time", xmlArchive("<dict><key>$class</key>`2`</dict>" + classEntry("NSDate"))},
      {"a string that is itself",
       xmlArchive("<dict><key>NS.string</key>`1`<key>$class</key>`2`</dict>" + classEntry("NSString"))},
      {"more keys than objects", xmlArchive("<dict><key>NS.keys</key><array>`3`</array><key>NS.objects</"
                                            "key><array/><key>$class</key>`2`</dict>" +
                                            classEntry("NSDictionary") + "<string>k</string>")},
      {"a key that is a number",
       xmlArchive("<dict><key>NS.keys</key><array>`3`</array><key>NS.objects</key><array>`3`</array>"
                  "<key>$class</key>`2`</dict>" +
                  classEntry("NSDictionary") + "<integer>1</integer>")},
  };
  for (const auto& [what, bytes] : rows) {
    try {
      (void)unarchiveObjectWithData(bytes);
      ADD_FAILURE() << what;
    } catch (const Exception& exception) {
      EXPECT_EQ(exception.name(), kInvalidUnarchiveOperationException) << what;
    }
  }
  EXPECT_EQ(unarchiveObjectWithData(xmlArchive("<string>a</string>")), Value("a"));
}

TEST(KeyedArchive, DecodesWhatIsSharedOnceAndRefusesWhatGrows) {
  const Value twice = unarchiveObjectWithData(xmlArchive(arrayEntry("`3``3`", 2) + classEntry("NSArray") +
                                                         arrayEntry("`4`", 2) + "<string>x</string>"));
  ASSERT_TRUE(twice.array());
  EXPECT_EQ(twice.array()->objectAtIndex(0).array()->begin(),
            twice.array()->objectAtIndex(1).array()->begin());

  for (const bool doubling : {false, true}) {
    // A chain of arrays, deepest first or last, that holds each next one once or twice.
    for (const int length : {20, kMaximumArchiveDepth - 2, kMaximumArchiveDepth + 5}) {
      std::string objects = arrayEntry("`3`", 2) + classEntry("NSArray");
      for (int i = 3; i < length + 3; ++i) {
        const std::string next = "`" + std::to_string(i + 1) + "`";
        objects += arrayEntry(i + 1 == length + 3 ? "" : doubling ? next + next : next, 2);
      }
      bool fits = true;
      try {
        (void)unarchiveObjectWithData(xmlArchive(objects));
      } catch (const Exception&) {
        fits = false;
      }
      EXPECT_EQ(fits, length == 20 || (!doubling && length < kMaximumArchiveDepth)) << length;
    }
  }
}
