// What hostile bytes cost: processor time and memory a byte, for every reader and compiler of foreign bytes.
// Prints a table and fails where a row is beyond its bound. Bounds are several times what is measured on an
// idle machine; only processor time of this thread counts, so that a busy machine does not decide.
#include <malloc.h>
#include <stdlib.h>
#include <time.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <string>
#include <tuple>
#include <vector>

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
#include "tidewell/core/TWConfigManager/TWConfigManager.h"
#include "tidewell/posix/PosixPlatform.h"
#include "tidewell/testing/TestingPlatform.h"

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define COST_COUNTS_HEAP 0  // the sanitizer has an allocator of its own
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define COST_COUNTS_HEAP 0
#endif
#endif
#ifndef COST_COUNTS_HEAP
#define COST_COUNTS_HEAP 1
#endif

namespace {
thread_local std::int64_t heldBytes = 0;
thread_local std::int64_t peakBytes = 0;
}  // namespace

#if COST_COUNTS_HEAP
// In place of the C library's, for every library of the process.
extern "C" {
void* __libc_malloc(std::size_t size);
void* __libc_realloc(void* block, std::size_t size);
void* __libc_memalign(std::size_t alignment, std::size_t size);
void __libc_free(void* block);

static void* counted(void* block) {
  if (block != nullptr) heldBytes += static_cast<std::int64_t>(malloc_usable_size(block));
  peakBytes = std::max(peakBytes, heldBytes);
  return block;
}
static void uncount(void* block) {
  if (block != nullptr) heldBytes -= static_cast<std::int64_t>(malloc_usable_size(block));
}
__attribute__((visibility("default"))) void* malloc(std::size_t size) { return counted(__libc_malloc(size)); }
__attribute__((visibility("default"))) void* calloc(std::size_t count, std::size_t size) {
  std::size_t bytes = 0;
  if (__builtin_mul_overflow(count, size, &bytes)) return nullptr;
  void* const block = counted(__libc_malloc(bytes));
  return block != nullptr ? std::memset(block, 0, bytes) : nullptr;
}
__attribute__((visibility("default"))) void* realloc(void* block, std::size_t size) {
  uncount(block);
  void* const moved = __libc_realloc(block, size);
  return counted(moved == nullptr && size > 0 ? block : moved) == moved ? moved : nullptr;
}
__attribute__((visibility("default"))) void* aligned_alloc(std::size_t alignment, std::size_t size) {
  return counted(__libc_memalign(alignment, size));
}
__attribute__((visibility("default"))) int posix_memalign(void** block, std::size_t alignment,
                                                          std::size_t size) {
  *block = counted(__libc_memalign(alignment, size));
  return *block != nullptr ? 0 : ENOMEM;
}
__attribute__((visibility("default"))) void free(void* block) {
  uncount(block);
  __libc_free(block);
}
}  // extern "C"
#endif

namespace {

using namespace tidewell;
using namespace tidewell::base;

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

/// Each object but the last is an array that names the next one twice.
std::string doublingPropertyList(std::uint8_t objects) {
  std::string file = "bplist00", offsets;
  for (std::uint8_t index = 0; index < objects; ++index) {
    offsets += static_cast<char>(file.size());
    const auto next = static_cast<char>(index + 1);
    file += index + 1 < objects ? std::string{'\xA2', next, next} : std::string{'\x50'};
  }
  const std::size_t table = file.size();
  file += offsets + std::string(6, '\0') + "\x01\x01";
  for (const std::size_t number : {std::size_t{objects}, std::size_t{0}, table}) {
    for (int shift = 56; shift >= 0; shift -= 8) file += static_cast<char>(number >> shift);
  }
  return file;
}

using Read = std::function<void(const std::string&)>;

struct Row {
  const char* reader;
  const char* shape;
  std::string input;
  Read read;
  double nanosecondsAByte, bytesAByte;
  double milliseconds = 5;                 ///< granted beside
  double kilobytes = 512;                  ///< the same
  std::function<std::string()> archive{};  ///< what a start finds; counts beside `input`
};

const Read json = [](const std::string& text) { (void)JSONObjectWithData(text); };
const Read propertyList = [](const std::string& bytes) { (void)propertyListWithData(bytes); };
const Read archive = [](const std::string& bytes) { (void)unarchiveObjectWithData(bytes); };
const Read url = [](const std::string& text) {
  if (const auto read = Url::URLWithString(text)) (void)(read->path() + read->query().value_or(""));
};
const Read number = [](const std::string& text) {
  const Value value(text);
  (void)value.integerValue();
  (void)value.doubleValue();
  (void)value.boolValue();
};
const Read datePattern = [](const std::string& pattern) {
  const DateFormatter dates(pattern, TimeZone::UTC());
  (void)dates.dateFromString(dates.stringFromDate({1e9}));
};
const Read dateText = [](const std::string& text) {
  (void)DateFormatter("yyyy-MM-dd'T'HH:mm:ss.SSS'Z'", TimeZone::UTC()).dateFromString(text);
};
const Read format = [](const std::string& text) { (void)stringWithFormat(text, {7, "text"}); };
const Read expression = [](const std::string& pattern) { (void)RegularExpression(pattern); };

/// Matches the pattern against so many letters.
Read matching(const char* pattern, std::size_t letters) {
  return [pattern, letters](const std::string& letter) {
    MatchBudget budget;
    (void)RegularExpression(pattern).matches(repeated(letter, letters), budget);
  };
}
/// A question about a list that consists of the input, so many times.
Read question(std::size_t times) {
  return [times](const std::string& pattern) {
    TWConfigManager manager;
    Array list;
    for (std::size_t i = 0; i < times; ++i) list.addObject(pattern + "|" + std::to_string(i) + "[a]");
    manager.updateConfigFromResponse(Dictionary{{"b_uid_r", list}});
    (void)manager.restrictionOfUniqueID(std::string(40, 'a'));
  };
}

/// The merge of a decoded reply, as it runs on the main queue, with the archive on the disk.
Row merge(const char* shape, Dictionary reply) {
  const auto waiting = std::make_shared<Value>(std::move(reply));
  const Read read = [waiting](const std::string&) {
    TWConfigManager::sharedInstance().updateConfigFromResponse(*waiting);
    *waiting = {};
  };
  return {"merge", shape, "", read, 0, 0, 50, 128 << 10};
}
Row merge(const char* shape, const std::function<std::string(std::size_t)>& textOfSize) {
  Dictionary reply;
  for (const auto& [key, count, bytes] : {std::tuple{"b_e", 2'000, 31},
                                          {"f_e", 2'000, 31},
                                          {"d_t_w_e", 2'000, 31},
                                          {"src_ext", 2'000, 31},
                                          {"b_uid_r", 10'200, 25}}) {
    Array list;
    for (int i = 0; i < count; ++i) {
      const std::string start = key[0] + std::to_string(i) + key[2];
      list.addObject(start + textOfSize(bytes - start.size()));
    }
    reply.setObject(list, key);
  }
  return merge(shape, std::move(reply));
}

/// A start on an archive, up to the question whether to sync, which mends the archive.
Row start(const char* shape, int count, const std::function<Value(std::string)>& element) {
  const auto file = [count, element] {
    Array list;
    for (int i = 0; i < count; ++i) list.addObject(element(std::to_string(i)));
    return archivedDataWithRecord("TWConfig", [&](KeyedEncoder& encoder) {
      encoder.encodeObject(list, "src_ext");
      encoder.encodeBool(true, "user_push_opt_out");
    });
  };
  const Read read = [](const std::string&) { (void)TWConfigManager().shouldSyncConfig(); };
  return {"start", shape, "", read, 0, 1, 200, 64 << 10, file};
}

/// Those that need a machine with files.
std::vector<Row> rowsWithFiles() {
  std::vector<Row> all;
  for (const char* unit : {"x", "\xC3\xA9", "|ab", "[ab]", "|(a)"}) {
    all.push_back(merge(unit, [unit](std::size_t bytes) { return repeated(unit, bytes); }));
  }
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
  std::vector<Row> all = {
      {"JSON", "deep", repeated("[", kMega), json, 100, 40},
      {"JSON", "[[],[],…]", manyArrays, json, 300, 100},
      {"JSON", "{\"a\":{},…}", "{" + repeated("\"a\":{},", kMega) + "\"b\":0}", json, 300, 100},
      {"JSON", "long key", "{\"" + std::string(kMega, 'k') + "\":0}", json, 50, 20},
      {"JSON", "escapes", "[\"" + repeated("\\ud83d\\ude00", kMega) + "\"]", json, 100, 20},
      {"JSON", "long number", "[" + std::string(kMega, '9') + "]", json, 100, 20},
      {"JSON", "long fraction", "[0." + std::string(kMega, '3') + "e-5]", json, 100, 20},
      {"property list", "doubling", doublingPropertyList(60), propertyList, 1000, 1000},
      {"property list", "binary", dataWithPropertyList(nested, PropertyListFormat::binary), propertyList, 60,
       20},
      {"property list", "XML", dataWithPropertyList(nested, PropertyListFormat::xml), propertyList, 60, 20},
      {"property list", "XML deep", "<plist>" + repeated("<array>", kMega), propertyList, 60, 20},
      {"property list", "XML entities", "<plist><string>" + repeated("&amp;", kMega) + "</string></plist>",
       propertyList, 60, 20},
      {"keyed archive", "doubling", doublingPropertyList(60), archive, 1000, 1000},
      {"keyed archive", "[[],[],…]", archivedDataWithRootObject(nested), archive, 400, 40},
      {"URL", "segments", "https://h/" + repeated("../a/", kMega), url, 50, 15},
      {"URL", "queries", "https://h/?" + repeated("a&=;", kMega), url, 50, 15},
      {"percent-decoding", "%41…", repeated("%41", kMega),
       [](const std::string& t) { (void)percentDecode(t); }, 50, 10},
      {"percent-decoding", "%…", repeated("%", kMega), [](const std::string& t) { (void)percentDecode(t); },
       50, 10},
      {"UTF-8", "ill-formed", repeated("\xF0\x9F", kMega),
       [](const std::string& t) { (void)utf16FromUtf8(t); }, 50, 20},
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
      {"question", "32 × 1300 × \\N{OX}", repeated("\\N{OX}", 7800), question(32), 0, 0, 200, 16384},
      {"question", "570 × (?i)[\\p{L}]…", "(?i)" + repeated("[\\p{L}]", 448), question(570), 0, 0, 200,
       16384},
      {"question", "20000 × (?i)[^a]", "(?i)[^a]", question(20000), 0, 0, 400, 65536},
  };
  // Patterns as long as they may be: whatever they are made of, compiling one takes a bounded time.
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

/// Sanitized code is so much slower.
constexpr double kSlower = COST_COUNTS_HEAP ? 1 : 10;

bool holds(const Row& row) {
  auto size = static_cast<double>(row.input.size());
  if (row.archive) {
    const std::string file = row.archive();
    std::ofstream(*TWConfigManager::sharedInstance().getFilePathForConfig(), std::ios::binary) << file;
    size = static_cast<double>(file.size());
  }
  const std::int64_t before = heldBytes;
  peakBytes = heldBytes;
  const double start = threadSeconds();
  try {
    row.read(row.input);
  } catch (const Exception&) {  // a refusal, which may not cost more
  }
  const double seconds = threadSeconds() - start;
  const auto peak = static_cast<double>(peakBytes - before);
  const double secondsGranted = kSlower * (row.nanosecondsAByte * size * 1e-9 + row.milliseconds * 1e-3);
  const double bytesGranted = row.bytesAByte * size + row.kilobytes * 1024;
  const bool isWithin = seconds <= secondsGranted && peak <= bytesGranted;
  std::printf("%-17s %-28s %8.0f B %9.2f of %7.0f ms %9.0f of %7.0f KB%s\n", row.reader, row.shape, size,
              seconds * 1e3, secondsGranted * 1e3, peak / 1024, bytesGranted / 1024,
              isWithin ? "" : "  BEYOND");
  return isWithin;
}

}  // namespace

int main(int argc, char** argv) {
  std::setvbuf(stdout, nullptr, _IOLBF, 0);
  const std::string wanted = argc > 1 ? argv[1] : "";
  int beyond = 0;
  const auto check = [&](const std::vector<Row>& all) {
    for (const Row& row : all) beyond += wanted.empty() || wanted == row.reader ? !holds(row) : 0;
  };
  (void)RegularExpression("[\\w\\p{L}](?i)[a-z]").isValid();  // reads ICU's data
  std::string folder = "/tmp/tidewell-cost-XXXXXX";
  posix::Options options;
  options.bundleIdentifier = "org.example.cost";
  options.version = "1";
  options.dataHome = mkdtemp(folder.data());
  options.consoleSink = [](std::string_view) {};
  posix::install(options);
  check(rowsWithFiles());
  std::filesystem::remove_all(folder);

  const auto platform = testing::TestingPlatform::install();
  platform->testFiles().setLibraryPath(std::nullopt);  // no archive is written
  check(rows());
  std::printf("%d beyond their bounds\n", beyond);
  return beyond == 0 ? 0 : 1;
}
