// SPDX-License-Identifier: Apache-2.0
// The cost of hostile bytes: processor time and memory per byte, for every reader and compiler of foreign
// bytes. Prints a table and fails if a row exceeds its limit. Limits are several times the cost on an idle
// machine; only processor time of this thread counts, so results do not depend on the machine's load.
#include <time.h>

#include <cstring>
#include <fstream>
#include <functional>
#include <tuple>

#include "attack/Attack.h"
#include "attack/Heap.h"
#include "tidewell/base/Exception.h"
#include "tidewell/base/TimeZone.h"
#include "tidewell/base/Url.h"
#include "tidewell/base/formats/DateFormatter.h"
#include "tidewell/base/formats/Json.h"
#include "tidewell/base/formats/KeyedArchive.h"
#include "tidewell/base/formats/PropertyList.h"
#include "tidewell/base/formats/RegularExpression.h"
#include "tidewell/base/formats/TextFormat.h"
#include "tidewell/base/internal/PercentEncoding.h"
#include "tidewell/base/internal/Unicode.h"
#include "tidewell/core/TWConfigManager/ConfigurationLint.h"
#include "tidewell/core/TWConfigManager/TWConfigManager.h"
#include "tidewell/testing/TestingPlatform.h"

namespace {

using namespace tidewell;
using namespace tidewell::base;
using namespace tidewell::attack;

double threadSeconds() {
  timespec now{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
  return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

std::string repeated(std::string_view unit, std::size_t bytes) {
  std::string text;
  while (text.size() + unit.size() <= bytes) text += unit;
  return text;
}

using Read = std::function<void(const std::string&)>;

struct Row {
  const char* reader;
  const char* shape;
  std::string input;
  Read read;
  double nanosecondsPerByte, bytesPerByte;
  double milliseconds = 5, kilobytes = 512;  ///< allowed in addition
};

const Read json = [](const std::string& text) { ignore(JSONObjectWithData(text)); };
const Read propertyList = [](const std::string& bytes) { ignore(propertyListWithData(bytes)); };
const Read archive = [](const std::string& bytes) { ignore(unarchiveObjectWithData(bytes)); };
const Read url = [](const std::string& text) {
  if (const auto read = Url::URLWithString(text)) ignore((read->path() + read->query().value_or("")));
};
const Read number = [](const std::string& text) {
  const Value value(text);
  ignore(value.integerValue(), value.doubleValue(), value.boolValue());
};
const Read datePattern = [](const std::string& pattern) {
  const DateFormatter dates(pattern, TimeZone::UTC());
  ignore(dates.dateFromString(dates.stringFromDate({1e9})));
};
const Read dateText = [](const std::string& text) {
  ignore(DateFormatter("yyyy-MM-dd'T'HH:mm:ss.SSS'Z'", TimeZone::UTC()).dateFromString(text));
};
const Read format = [](const std::string& text) { ignore(stringWithFormat(text, {7, "text"})); };
const Read expression = [](const std::string& pattern) { ignore(RegularExpression(pattern)); };

const Read lint = [](const std::string& reply) { ignore(lintConfiguration(reply).findings().size()); };
/// A reply whose key has a list, or that has keys, each of which begins with `unit`.
std::string replyOf(const char* key, const std::string& unit, int count) {
  std::string reply;
  for (int i = 0; i < count; ++i) reply += ",\"" + unit + std::to_string(i) + (*key ? "\"" : "\":[]");
  reply[0] = *key ? '[' : '{';
  return *key ? "{\"" + std::string(key) + "\":" + reply + "]}" : reply + "}";
}

/// Matches the pattern against a text of `letters` letters.
Read matching(const char* pattern, std::size_t letters) {
  return [pattern, letters](const std::string& letter) {
    MatchBudget budget;
    ignore(RegularExpression(pattern).matches(repeated(letter, letters), budget));
  };
}
/// A query of a list with the input `times` times.
Read question(std::size_t times) {
  return [times](const std::string& pattern) {
    TWConfigManager manager;
    Array list;
    for (std::size_t i = 0; i < times; ++i) list.addObject(pattern + "|" + std::to_string(i) + "[a]");
    manager.updateConfigFromResponse(Dictionary{{"b_uid_r", list}});
    ignore(manager.restrictionOfUniqueID(std::string(40, 'a')));
  };
}

/// Merges a decoded reply, as on the main queue, and writes the archive. Its texts are filled with `unit`.
Row merge(const char* unit) {
  const auto reply = std::make_shared<Dictionary>();
  for (const auto& [key, count, bytes] : {std::tuple{"b_e", 2'000, 31},
                                          {"f_e", 2'000, 31},
                                          {"d_t_w_e", 2'000, 31},
                                          {"src_ext", 2'000, 31},
                                          {"b_uid_r", 10'200, 25}}) {
    Array list;
    for (int i = 0; i < count; ++i) {
      const std::string start = key[0] + std::to_string(i) + key[2];
      list.addObject(start + repeated(unit, bytes - start.size()));
    }
    reply->setObject(list, key);
  }
  const Read read = [reply](const std::string&) {
    TWConfigManager::sharedInstance().updateConfigFromResponse(std::exchange(*reply, {}));
  };
  return {"merge", unit, "", read, 0, 0, 50, 128 << 10};
}

constexpr const char* kStart = "start";
/// A start with an archive up to the decision to sync, which repairs the archive.
Row start(const char* shape, int count, const std::function<Value(std::string)>& element) {
  Array list;
  for (int i = 0; i < count; ++i) list.addObject(element(std::to_string(i)));
  const std::string file = archivedDataWithRecord("TWConfig", [&](KeyedEncoder& encoder) {
    encoder.encodeObject(list, "src_ext");
    encoder.encodeBool(true, "user_push_opt_out");
  });
  const Read read = [](const std::string&) { ignore(TWConfigManager().shouldSyncConfig()); };
  return {kStart, shape, file, read, 0, 1, 200, 64 << 10};
}

/// The rows that need a real file system.
std::vector<Row> rowsWithFiles() {
  std::vector<Row> all;
  for (const char* unit : {"x", "\xC3\xA9", "|ab", "[ab]", "|(a)"}) all.push_back(merge(unit));
  for (const int count : {3'000, 60'000, 600'000, 1'200'000}) {
    all.push_back(start("[[],[],…]", count, [](const auto&) { return Value(Array()); }));
    all.push_back(start("texts", count, [](const auto& text) { return Value(text + std::string(40, 'x')); }));
  }
  return all;
}

std::vector<Row> rows() {
  constexpr std::size_t kMega = 1 << 20;
  constexpr std::size_t kLongest = RegularExpression::kMaximumPatternLength;
  const std::string manyArrays = "[" + repeated("[],", kMega) + "0]";
  const Value nested = JSONObjectWithData(manyArrays);
  const Read percent = [](const std::string& text) { ignore(percentDecode(text)); };
  const Read utf8 = [](const std::string& text) { ignore(utf16FromUtf8(text)); };
  const auto plist = [&](PropertyListFormat as) { return dataWithPropertyList(nested, as); };
  std::vector<Row> all = {
      {"JSON", "deep", repeated("[", kMega), json, 100, 40},
      {"JSON", "[[],[],…]", manyArrays, json, 300, 100},
      {"JSON", "{\"a\":{},…}", "{" + repeated("\"a\":{},", kMega) + "\"b\":0}", json, 300, 100},
      {"JSON", "long key", "{\"" + std::string(kMega, 'k') + "\":0}", json, 50, 20},
      {"JSON", "escapes", "[\"" + repeated("\\ud83d\\ude00", kMega) + "\"]", json, 100, 20},
      {"JSON", "long number", "[" + std::string(kMega, '9') + "]", json, 100, 20},
      {"JSON", "long fraction", "[0." + std::string(kMega, '3') + "e-5]", json, 100, 20},
      {"lint", "long key", "{\"" + std::string(kMega, 'k') + "\":0}", lint, 100, 20},
      {"lint", "{\"k\":0,…}", "{" + repeated("\"k\":0,", kMega) + "\"k\":0}", lint, 300, 100},
      {"lint", "keys", replyOf("", "k", 200'000), lint, 600, 200},
      {"lint", "entries", replyOf("f_e", "e", 200'000), lint, 600, 200},
      {"lint", "10000 texts", replyOf("b_uid_r", "text", 10'000), lint, 0, 0, 100, 16384},
      {"lint", "1500 × nearly hopeless", replyOf("b_uid_r", "(a|aa)+b|", 1500), lint, 0, 0, 800, 32768},
      {"lint", "3000 × .*$x", replyOf("b_uid_r", ".*$x", 3000), lint, 0, 0, 1500, 32768},
      {"lint", "2000 × (?=.*x)…", replyOf("b_uid_r", "(?=.*x)(?=.*y)(?!.*z).*", 2000), lint, 0, 0, 1500,
       32768},
      {"property list", "binary", plist(PropertyListFormat::binary), propertyList, 60, 20},
      {"property list", "XML", plist(PropertyListFormat::xml), propertyList, 60, 20},
      {"property list", "XML deep", "<plist>" + repeated("<array>", kMega), propertyList, 60, 20},
      {"property list", "entities", "<plist><string>" + repeated("&amp;", kMega) + "</string></plist>",
       propertyList, 60, 20},
      {"keyed archive", "[[],[],…]", archivedDataWithRootObject(nested), archive, 400, 40},
      {"URL", "segments", "https://h/" + repeated("../a/", kMega), url, 50, 15},
      {"URL", "queries", "https://h/?" + repeated("a&=;", kMega), url, 50, 15},
      {"percent-decoding", "%41…", repeated("%41", kMega), percent, 50, 10},
      {"percent-decoding", "%…", repeated("%", kMega), percent, 50, 10},
      {"UTF-8", "ill-formed", repeated("\xF0\x9F", kMega), utf8, 50, 20},
      {"number", "digits", std::string(kMega, '9'), number, 100, 10},
      {"number", "blanks", std::string(kMega, ' '), number, 100, 10},
      {"number", "fraction", "0." + std::string(kMega, '0') + "1e5", number, 100, 10},
      {"date pattern", "long", repeated("yyyy", kMega), datePattern, 5, 5, 50, 4096},
      {"date pattern", "zones", repeated("zzzz ", 1000), datePattern, 50000, 5000, 50, 4096},
      {"date", "digits", std::string(kMega, '1'), dateText, 20, 5, 50, 4096},
      {"text format", "widths", repeated("%4096d", 6000), format, 50000, 3000},
      {"text format", "%@…", repeated("%2$@%@", kMega), format, 60, 20},
      {"match", "(a+)+b", "a", matching("(a+)+b", 40), 0, 0, 60, 2048},
      {"match", "(.*)*.*.*z, long text", "a", matching("(.*)*.*.*z", 60000), 0, 0, 100, 4096},
      {"match", "stack", "a", matching("(?:a|b)*c", 1 << 20), 0, 0, 100, 8192},
      {"question", "1500 × nearly hopeless", "(a|aa)+b", question(1500), 0, 0, 400, 32768},
      {"question", "32 × \\N{OX}…", repeated("\\N{OX}", 7800), question(32), 0, 0, 200, 16384},
      {"question", "570 × (?i)…", "(?i)" + repeated("[\\p{L}]", 448), question(570), 0, 0, 200, 16384},
      {"question", "20000 × (?i)[^a]", "(?i)[^a]", question(20000), 0, 0, 400, 65536},
  };
  // Patterns of maximum length: compiling any of them takes bounded time.
  for (const char* unit :
       {"a",          "(a)",     "a|",        "a*",     "(a)*",       "()*",       "(a?)+",   "a?+",
        "(ab){3,9}",  "a{1,10}", "a{0,9}",    "a{11,}", "[ab]",       "[^a]",      "[[a]]",   "[\\w-[a]]",
        "\\d",        "|\\D",    "\\w",       "\\p{L}", "\\p{Greek}", "\\p{nv=1}", "[:Lu:]",  "\\N{OX}",
        "\\x{1F600}", "(?<=a)",  "(?<!a|bc)", "(?=a)",  "\\X",        "\\b",       "[a&&[b]]"}) {
    for (const char* prefix : {"", "(?i)", "[", "(?i)["})
      all.push_back({"expression", unit,
                     prefix + repeated(unit, kLongest - 8) + (strchr(prefix, '[') ? "]" : ""), expression, 0,
                     0, 100, 8192});
  }
  return all;
}

bool holds(const Row& row) {
  const auto size = static_cast<double>(row.input.size());
  if (row.reader == kStart)
    std::ofstream(*TWConfigManager::sharedInstance().getFilePathForConfig(), std::ios::binary) << row.input;
  const std::int64_t before = heldBytes;
  peakBytes = heldBytes;
  const double start = threadSeconds();
  try {
    row.read(row.input);
  } catch (const Exception&) {  // refused; the limits apply all the same
  }
  const double seconds = threadSeconds() - start;
  const auto peak = static_cast<double>(peakBytes - before);
  const double secondsAllowed =
      COST_SLOWER * (row.nanosecondsPerByte * size * 1e-9 + row.milliseconds * 1e-3);
  const double bytesAllowed = row.bytesPerByte * size + row.kilobytes * 1024;
  const bool isWithin = seconds <= secondsAllowed && peak <= bytesAllowed;
  std::printf("%-17s %-28s %8.0f B %9.2f of %7.0f ms %9.0f of %7.0f KB%s\n", row.reader, row.shape, size,
              seconds * 1e3, secondsAllowed * 1e3, peak / 1024, bytesAllowed / 1024,
              isWithin ? "" : "  EXCEEDED");
  return isWithin;
}

}  // namespace

int main(int argc, char** argv) {
  std::setvbuf(stdout, nullptr, _IOLBF, 0);
  const std::string wanted = argc > 1 ? argv[1] : "";
  std::size_t count = 0, exceeded = 0;
  const auto check = [&](const std::vector<Row>& all) {
    for (const Row& row : all) {
      if (!wanted.empty() && wanted != row.reader) continue;
      ++count;
      exceeded += holds(row) ? 0 : 1;
    }
  };
  ignore(RegularExpression("[\\w\\p{L}](?i)[a-z]").isValid());  // reads ICU's data
  const TemporaryFolder folder;
  posix::install(optionsFor(folder.path));
  check(rowsWithFiles());

  const auto platform = testing::TestingPlatform::install();
  platform->testFiles().setLibraryPath(std::nullopt);  // no archive is written
  check(rows());
  return conclude(count, "costs", exceeded);
}
