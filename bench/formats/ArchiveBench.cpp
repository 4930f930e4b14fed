// SPDX-License-Identifier: Apache-2.0
#include <plist/plist.h>
#include <sys/resource.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "Ratio.h"
#include "tidewell/base/formats/KeyedArchive.h"

using namespace tidewell::base;

void addExpressions();

namespace {

std::vector<std::string> eventNames(std::size_t count) {
  std::vector<std::string> names;
  for (std::size_t i = 0; i < count; ++i) names.push_back("event_name_" + std::to_string(i));
  return names;
}

std::string encodedByUs(const Value& events) {
  return archivedDataWithRecord("TWConfig", [&events](KeyedEncoder& encoder) {
    encoder.encodeObject("allowed", "a_s");
    encoder.encodeInt64(30, "e_b_c");
    encoder.encodeObject(events, "b_e");
  });
}

/// The same archive made with bare libplist from known objects, without searching for duplicates.
std::string encodedByPeer(const std::vector<std::string>& events) {
  const plist_t objects = plist_new_array();
  plist_array_append_item(objects, plist_new_string("$null"));
  const plist_t record = plist_new_dict();
  plist_dict_set_item(record, "a_s", plist_new_uid(2));
  plist_dict_set_item(record, "e_b_c", plist_new_uint(30));
  plist_dict_set_item(record, "b_e", plist_new_uid(3));
  plist_dict_set_item(record, "$class", plist_new_uid(5));
  plist_array_append_item(objects, record);
  plist_array_append_item(objects, plist_new_string("allowed"));
  const plist_t list = plist_new_dict();
  const plist_t references = plist_new_array();
  for (std::size_t i = 0; i < events.size(); ++i) plist_array_append_item(references, plist_new_uid(6 + i));
  plist_dict_set_item(list, "NS.objects", references);
  plist_dict_set_item(list, "$class", plist_new_uid(4));
  plist_array_append_item(objects, list);
  for (const char* name : {"NSArray", "TWConfig"}) {
    const plist_t description = plist_new_dict();
    plist_dict_set_item(description, "$classname", plist_new_string(name));
    const plist_t names = plist_new_array();
    plist_array_append_item(names, plist_new_string(name));
    plist_array_append_item(names, plist_new_string("NSObject"));
    plist_dict_set_item(description, "$classes", names);
    plist_array_append_item(objects, description);
  }
  for (const std::string& event : events) plist_array_append_item(objects, plist_new_string(event.c_str()));
  const plist_t root = plist_new_dict();
  plist_dict_set_item(root, "$version", plist_new_uint(100000));
  plist_dict_set_item(root, "$objects", objects);
  plist_dict_set_item(root, "$archiver", plist_new_string("NSKeyedArchiver"));
  const plist_t top = plist_new_dict();
  plist_dict_set_item(top, "root", plist_new_uid(1));
  plist_dict_set_item(root, "$top", top);
  char* bytes = nullptr;
  std::uint32_t length = 0;
  plist_to_bin(root, &bytes, &length);
  std::string result(bytes, length);
  plist_to_bin_free(bytes);
  plist_free(root);
  return result;
}

/// Reads the list with bare libplist and accesses each string, without creating values.
std::size_t readByPeer(const std::string& bytes) {
  plist_t root = nullptr;
  plist_from_bin(bytes.data(), static_cast<std::uint32_t>(bytes.size()), &root);
  const plist_t objects = plist_dict_get_item(root, "$objects");
  plist_array_iter iterator = nullptr;
  plist_array_new_iter(objects, &iterator);
  std::size_t total = 0;
  for (plist_t item = nullptr;;) {
    plist_array_next_item(objects, iterator, &item);
    if (!item) break;
    std::uint64_t length = 0;
    if (plist_get_node_type(item) == PLIST_STRING && plist_get_string_ptr(item, &length)) total += length;
  }
  std::free(iterator);
  plist_free(root);
  return total;
}

/// Encodes a number of names, in a number of archives.
bench::Work encoding(std::size_t count, std::size_t parts = 1) {
  const std::vector<std::string> names = eventNames(count);
  std::vector<Value> lists;
  for (std::size_t part = 0; part < parts; ++part) {
    const auto at = [&](std::size_t i) {
      return names.begin() + static_cast<std::ptrdiff_t>(i * count / parts);
    };
    lists.emplace_back(Array(std::vector<Value>(at(part), at(part + 1))));
  }
  return [lists](std::size_t times) {
    while (times--) {
      for (const Value& list : lists) bench::keep(encodedByUs(list));
    }
  };
}

void addDecoding(std::size_t count, bench::Options options = {}) {
  const std::vector<std::string> names = eventNames(count);
  const std::string bytes = encodedByUs(Array(std::vector<Value>(names.begin(), names.end())));
  bench::ratio(
      "decode an archive, list of " + std::to_string(count) + ", beside bare libplist", 1.5,
      [bytes](std::size_t times) {
        while (times--) {
          (void)unarchiveRecord(bytes, "TWConfig", [](KeyedDecoder& decoder) {
            bench::keep(decoder.decodeObjectForKey("b_e"));
          });
        }
      },
      [bytes](std::size_t times) {
        while (times--) bench::keep(readByPeer(bytes));
      },
      options);
}

void addArchives(std::size_t count) {
  const std::vector<std::string> names = eventNames(count);
  bench::ratio("encode an archive, list of " + std::to_string(count) + ", beside bare libplist", 1.5,
               encoding(count), [names](std::size_t times) {
                 while (times--) bench::keep(encodedByPeer(names));
               });
  addDecoding(count);
}

/// The system's cost for memory that the work touches first. The memory of a long list exceeds what the
/// allocator keeps, so each archive requests it again; that of a short list is requested once.
std::string systemTimeOf(const bench::Work& work) {
  rusage before{};
  rusage after{};
  getrusage(RUSAGE_SELF, &before);
  work(1);
  getrusage(RUSAGE_SELF, &after);
  const auto seconds = [](const timeval& time) {
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) * 1e-6;
  };
  char text[64];
  std::snprintf(text, sizeof text, "%.0f ms for %ld pages",
                1e3 * (seconds(after.ru_stime) - seconds(before.ru_stime)),
                after.ru_minflt - before.ru_minflt);
  return text;
}

/// libplist's writer takes quadratic time, minutes for this list, so the rows compare the library with
/// itself.
void addLongArchives() {
  constexpr std::size_t kCount = 1'000'000;
  bench::Options options;
  options.turns = 3;
  bench::ratio("encode an archive, list of 1000000, beside two halves", 1.5, encoding(kCount),
               encoding(kCount, 2), options);
  bench::ratio("  beside 100 of 10000, which fit into the caches", 0, encoding(kCount), encoding(kCount, 100),
               options);
  bench::figure("  of the former, in the system for fresh memory",
                [work = encoding(kCount)] { return systemTimeOf(work); });
  bench::figure("  of the latter", [work = encoding(kCount, 100)] { return systemTimeOf(work); });
  addDecoding(kCount, options);
}

}  // namespace

int main(int argc, char** argv) {
  addArchives(100);
  addArchives(10'000);
  addLongArchives();
  addExpressions();
  return bench::run(argc, argv);
}
