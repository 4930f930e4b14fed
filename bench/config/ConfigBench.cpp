// SPDX-License-Identifier: Apache-2.0
#include <unicode/uregex.h>
#include <unicode/ustring.h>

#include <atomic>
#include <functional>
#include <string>
#include <thread>
#include <unordered_set>
#include <vector>

#include "Floor.h"
#include "JsonFloor.h"
#include "Ratio.h"
#include "tidewell/base/formats/Json.h"
#include "tidewell/core/TWConfigManager/ConfigurationLint.h"
#include "tidewell/core/TWConfigManager/TWConfigManager.h"
#include "tidewell/testing/TestingPlatform.h"

using namespace tidewell;

namespace {

base::Array eventNames(int count) {
  base::Array names;
  for (int index = 0; index < count; ++index) names.addObject("event_name_" + std::to_string(index));
  return names;
}

base::Dictionary replyWithEvents(int count) {
  return {{"b_e", eventNames(count)}, {"f_e", eventNames(count)}, {"a_s", "allowed"}};
}

TWConfigManager& shared() { return TWConfigManager::sharedInstance(); }

/// Runs work while a second thread repeats a task. There is no thread before and after, since malloc is
/// slower in a process with several.
void runBeside(const std::function<void()>& task, const std::function<void()>& work) {
  std::atomic<bool> isRunning{false}, ends{false};
  std::thread companion([&] {
    while (!ends) {
      task();
      isRunning = true;
    }
  });
  while (!isRunning) std::this_thread::yield();
  work();
  ends = true;
  companion.join();
}

bench::Work asking() {
  return [](std::size_t times) {
    const TWConfigManager& manager = shared();
    while (times--) bench::keep(manager.isGeofenceServiceActive());
  };
}

bench::Work askingBeside(std::function<void()> task) {
  return [task = std::move(task)](std::size_t times) { runBeside(task, [&] { asking()(times); }); };
}

void addGates() {
  // Long turns, because each begins by starting a thread.
  const bench::Options beside{.turns = 15, .secondsPerTurn = 0.1};
  static const bench::BareLoad floor;
  const bench::Work load = [](std::size_t times) {
    while (times--) bench::keep(floor.answer());
  };
  bench::ratio("gate question / exported function with a bare load", 1.5, asking(), load);
  bench::ratio(
      "the same with sharedInstance() in front", 2.0,
      [](std::size_t times) {
        while (times--) bench::keep(TWConfigManager::sharedInstance().isGeofenceServiceActive());
      },
      load);
  bench::ratio("gate question beside a second reader / alone", 1.2, askingBeside([] {
                 for (int times = 0; times < 1000; ++times) bench::keep(shared().isGeofenceServiceActive());
               }),
               asking(), beside);
  bench::ratio(
      "gate question beside merges / alone", 1.2,
      askingBeside([reply = base::Value(replyWithEvents(10))] { shared().updateConfigFromResponse(reply); }),
      asking(), beside);
  static TWConfigManager large;
  bench::ratio(
      "gate question, 1,000,000 events / 10 events", 1.2,
      [](std::size_t times) {
        static const bool filled = (large.tdwConfig()->setBlackListedEventsArray(eventNames(1000000)), true);
        bench::keep(filled);
        while (times--) bench::keep(large.isGeofenceServiceActive());
      },
      asking());
}

/// Some names of a list of a given length, asked in turn; they stay in the cache, like the names of one
/// application. There are enough of them for equal numbers of collisions in the library's table and in the
/// bare one, which has another hash key.
constexpr int kHotNames = 64;
std::vector<std::string> hotNames(int count) {
  std::vector<std::string> names;
  for (std::int64_t index = 0; index < kHotNames; ++index) {
    names.push_back("event_name_" + std::to_string(index * count / kHotNames));
  }
  return names;
}

/// A manager with a list of a given number of events, and a lower bound for the same questions.
struct Listed {
  explicit Listed(int count) : names(hotNames(count)), bare(eventNames(count)) {
    manager.tdwConfig()->setBlackListedEventsArray(eventNames(count));
    for (const base::Value& name : eventNames(count)) peer.insert(*name.string());
  }
  void ask(std::size_t times) const {
    while (times--) bench::keep(manager.isEventBlackListed(names[times % kHotNames]));
  }
  void probe(std::size_t times) const {
    while (times--) bench::keep(bare.contains(names[times % kHotNames]));
  }
  void probePeer(std::size_t times) const {
    while (times--) bench::keep(peer.count(names[times % kHotNames]));
  }

  TWConfigManager manager;
  std::vector<std::string> names;
  bench::BareProbe bare;
  std::unordered_set<std::string> peer;
};

const Listed& listed(int count) {
  static std::unordered_map<int, std::unique_ptr<Listed>> lists;
  auto& list = lists[count];
  if (!list) list = std::make_unique<Listed>(count);
  return *list;
}

void addEvents() {
  for (const int count : {10, 10000, 1000000}) {
    const std::string events = std::to_string(count) + " events";
    bench::ratio(
        "event-list test, " + events + " / bare probe", 1.2,
        [count](std::size_t times) { listed(count).ask(times); },
        [count](std::size_t times) { listed(count).probe(times); });
    bench::ratio(
        "event-list test, " + events + " / std::unordered_set", 0,
        [count](std::size_t times) { listed(count).ask(times); },
        [count](std::size_t times) { listed(count).probePeer(times); });
  }
  bench::ratio(
      "event-list test, 10,000 events / 10 events", 1.6, [](std::size_t times) { listed(10000).ask(times); },
      [](std::size_t times) { listed(10).ask(times); });
}

const std::vector<std::string>& expressions() {
  static const std::vector<std::string> patterns = {"guest.*",
                                                    "test-[0-9]+",
                                                    "[0-9]{1,3}",
                                                    "(anonymous|unknown)",
                                                    "null|nil|undefined",
                                                    "0+(-0+)*",
                                                    ".*@example\\.(com|org)",
                                                    "[a-f0-9]{8}-x",
                                                    "device_\\w+",
                                                    "\\s*"};
  return patterns;
}

/// Ten ICU matchers that one thread reuses.
class Matchers {
 public:
  Matchers() {
    for (const std::string& pattern : expressions()) {
      UErrorCode status = U_ZERO_ERROR;
      UParseError where;
      const std::u16string text(pattern.begin(), pattern.end());
      matchers_.push_back(
          uregex_open(text.data(), static_cast<std::int32_t>(text.size()), 0, &where, &status));
    }
  }
  ~Matchers() {
    for (URegularExpression* const matcher : matchers_) uregex_close(matcher);
  }
  bool anyMatches(std::string_view id) {
    UErrorCode status = U_ZERO_ERROR;
    UChar text[128];
    std::int32_t length = 0;
    u_strFromUTF8(text, 128, &length, id.data(), static_cast<std::int32_t>(id.size()), &status);
    for (URegularExpression* const matcher : matchers_) {
      uregex_setText(matcher, text, length, &status);
      if (uregex_matches(matcher, -1, &status)) return true;
    }
    return false;
  }

 private:
  std::vector<URegularExpression*> matchers_;
};

void addExpressions(testing::TestingPlatform& platform) {
  static TWConfigManager manager;
  base::Array list;
  for (const std::string& pattern : expressions()) list.addObject(pattern);
  manager.updateConfigFromResponse(base::Dictionary{{"b_uid_r", list}});
  platform.runUntilIdle();
  static const std::string id = "customer-4711@shop";
  const auto ours = [](std::size_t times) {
    while (times--) bench::keep(manager.isUniqueIDRestricted(id));
  };
  const auto floor = [](std::size_t times) {
    thread_local Matchers matchers;
    while (times--) bench::keep(matchers.anyMatches(id));
  };
  bench::ratio("restricted ID, 10 expressions / reused ICU matchers", 1.1, ours, floor);
  const auto onTwoThreads = [](const bench::Work& work) {
    return [work](std::size_t times) {
      std::thread second([&] { work(times); });
      work(times);
      second.join();
    };
  };
  bench::ratio("the same on two threads", 1.1, onTwoThreads(ours), onTwoThreads(floor));
}

/// A manager with a given number of restricted IDs without metacharacters; a question takes one probe.
bench::Work askingPlainExpressions(int count) {
  const auto manager = std::make_shared<TWConfigManager>();
  manager->updateConfigFromResponse(base::Dictionary{{"b_uid_r", eventNames(count)}});
  return [manager, ids = hotNames(count)](std::size_t times) {
    while (times--) bench::keep(manager->isUniqueIDRestricted(ids[times % kHotNames]));
  };
}

void addPlainExpressions() {
  const bench::Work many = askingPlainExpressions(10000);
  bench::ratio("restricted ID, 10,000 plain expressions / 10", 2, many, askingPlainExpressions(10));
  bench::ratio("the same / bare probe", 0, many, [](std::size_t times) { listed(10000).probe(times); });
}

void addReplies() {
  static TWConfigManager manager;
  for (const auto& [what, count] : {std::pair("2 KB", 40), std::pair("1 MB", 25000)}) {
    const std::string text = base::dataWithJSONObject(replyWithEvents(count));
    bench::ratio(
        "reply bytes to published answers, " + std::string(what) + " / RapidJSON DOM", 1.2,
        [text](std::size_t times) {
          while (times--) manager.updateConfigFromResponse(base::JSONObjectWithData(text));
        },
        bench::parsingToDom(text));
  }
}

/// A reply of 0.9 MB with every list near its limit; some restricted IDs are expressions.
std::string largestReply() {
  const auto list = [](int count, std::size_t bytes) {
    base::Array entries;
    for (int index = 0; index < count; ++index) {
      std::string entry = std::to_string(index) + "_event";
      entry.resize(bytes, 'x');
      if (bytes > 31 && index % 500 == 0) entry = expressions()[static_cast<std::size_t>(index) / 500 % 10];
      entries.addObject(entry);
    }
    return entries;
  };
  return base::dataWithJSONObject(base::Dictionary{{"b_e", list(2000, 31)},
                                                   {"f_e", list(2000, 31)},
                                                   {"d_t_w_e", list(2000, 31)},
                                                   {"src_ext", list(2000, 31)},
                                                   {"b_uid_r", list(10000, 50)}},
                                  base::JsonWriting::prettyPrinted);
}

void addLint(testing::TestingPlatform& platform) {
  const std::string text = largestReply();
  const auto merging = [text](std::size_t times) {
    static TWConfigManager manager;
    while (times--) manager.updateConfigFromResponse(base::JSONObjectWithData(text));
  };
  const auto linting = [text](std::size_t times) {
    while (times--) bench::keep(lintConfiguration(text).findings().size());
  };
  bench::ratio("lint of a reply of 0.9 MB / its merge without archive", 0, linting, merging);
  const auto archiving = [merging, &platform](std::size_t times) {
    platform.testFiles().setLibraryPath("/library");
    merging(times);
    platform.testFiles().setLibraryPath(std::nullopt);
  };
  bench::ratio("lint of a reply of 0.9 MB / its merge", 3, linting, archiving);
}

}  // namespace

int main(int argc, char** argv) {
  const auto platform = testing::TestingPlatform::install();
  platform->testFiles().setLibraryPath(std::nullopt);  // no archive is written
  addGates();
  addEvents();
  addExpressions(*platform);
  addPlainExpressions();
  addReplies();
  addLint(*platform);
  return bench::run(argc, argv);
}
