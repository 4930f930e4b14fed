// SPDX-License-Identifier: Apache-2.0
#include "tidewell/base/internal/HazardPointer.h"

#include <pthread.h>

#include <algorithm>
#include <chrono>
#include <iterator>

#include "tidewell/base/internal/ProcessFence.h"

namespace tidewell::base {

constinit thread_local HazardRecord* threadHazardRecord = nullptr;
constinit std::atomic<bool> readersFence{false};

namespace {

#if defined(__SANITIZE_THREAD__)
constexpr bool kThreadSanitizer = true;
#elif defined(__has_feature)
#if __has_feature(thread_sanitizer)
constexpr bool kThreadSanitizer = true;
#else
constexpr bool kThreadSanitizer = false;
#endif
#else
constexpr bool kThreadSanitizer = false;
#endif

/// The records beyond `firstRecords`.
constinit std::atomic<HazardRecord*> records{nullptr};
/// The minimum time between two fences of `heavyFenceUnlessRecent`.
constexpr std::chrono::microseconds kMoment{500};
/// How long an unfenced announcement can take to become visible. A processor drains its store buffer within
/// microseconds, even if the thread is descheduled.
constexpr std::chrono::milliseconds kLongestDelayOfStores{100};
/// When the last unfenced announcement is visible. Valid once `readersFence` is set.
constinit std::atomic<std::chrono::steady_clock::rep> visibleAt{0};
/// The record that the thread keeps until it exits.
constinit thread_local HazardRecord* keptRecord = nullptr;
constinit thread_local bool threadEnds = false;

/// Releases the record of an exiting thread. Destructors that run later acquire one per guard.
void returnRecord(void* record) {
  keptRecord = nullptr;
  threadHazardRecord = nullptr;
  threadEnds = true;
  // Pairs with the exchange in `tryToTake`: the next owner sees an empty record.
  static_cast<HazardRecord*>(record)->taken.store(false, std::memory_order_release);
}

/// Created while the library is loaded, so that a fork never finds it half created. Not available earlier.
struct EndKey {
  pthread_key_t number{};
  bool isMade = pthread_key_create(&number, returnRecord) == 0;
};
const EndKey endKey;

/// Has `returnRecord` called at thread exit; returns false if that is impossible. Not a `thread_local` object
/// with a destructor: the C library ends the process if it has no memory to register one.
bool returnsWhenThreadEnds(HazardRecord& record) noexcept {
  return endKey.isMade && pthread_setspecific(endKey.number, &record) == 0;
}

/// Enough for most processes, so that a query needs no allocation.
constinit HazardRecord firstRecords[32];

bool tryToTake(HazardRecord& record) noexcept {
  // The load only avoids exchanges that fail. The exchange pairs with the releases of former owners.
  return !record.taken.load(std::memory_order_relaxed) &&
         !record.taken.exchange(true, std::memory_order_acq_rel);
}

HazardRecord& takeRecord() {
  for (HazardRecord& record : firstRecords) {
    if (tryToTake(record)) return record;
  }
  // Pairs with the exchange below: a record in the list is complete.
  for (HazardRecord* record = records.load(std::memory_order_acquire); record != nullptr;
       record = record->next) {
    if (tryToTake(*record)) return *record;
  }
  auto* const record = new HazardRecord;
  record->taken.store(true, std::memory_order_relaxed);
  record->next = records.load(std::memory_order_relaxed);
  // Sequentially consistent: without a process-wide fence, a writer whose scan misses this record must have
  // published before it, so that the reader finds the new snapshot. Pairs with the load in `isProtected`.
  while (!records.compare_exchange_weak(record->next, record, std::memory_order_seq_cst)) {
  }
  return *record;
}

/// Whether writers fence for all threads, so that readers need no fence. Not under ThreadSanitizer, which
/// does not model fences on behalf of other threads.
bool writersHaveFence() noexcept {
  enum class Answer { unknown, no, yes };
  // Not a function-local static: registering can take milliseconds, and the child of a fork would wait
  // forever for a thread that was doing so.
  static constinit std::atomic<Answer> answer{Answer::unknown};
  // Acquire: registration precedes the answer. Pairs with the exchange below.
  Answer known = answer.load(std::memory_order_acquire);
  if (known == Answer::unknown) {
    const bool writersDo = !kThreadSanitizer && registerProcessFence() && processFence();
    const Answer found = writersDo ? Answer::yes : Answer::no;
    if (answer.compare_exchange_strong(known, found, std::memory_order_acq_rel)) known = found;
  }
  return known == Answer::yes;
}

}  // namespace

HazardRecord& acquireHazardRecord() {
  if (keptRecord != nullptr && keptRecord->held.load(std::memory_order_relaxed) == nullptr)
    return *keptRecord;
  HazardRecord& record = takeRecord();
  if (keptRecord == nullptr && !threadEnds && returnsWhenThreadEnds(record)) {
    keptRecord = &record;
    if (writersHaveFence()) threadHazardRecord = &record;
  }
  return record;
}

void releaseHazardRecord(HazardRecord& record) noexcept {
  if (&record != keptRecord) record.taken.store(false, std::memory_order_release);
}

// A reader announces, then reads the flag, and only then uses the snapshot. Readers that see the flag set
// announce again with a fence. Those that did not had already stored their announcement, so it becomes
// visible within `kLongestDelayOfStores`.
bool heavyFence() noexcept {
  if (!writersHaveFence()) return true;
  using std::chrono::steady_clock;
  // Pairs with the store below: `visibleAt` is valid.
  if (!readersFence.load(std::memory_order_acquire)) {
    if (processFence()) return true;
    const auto visible = steady_clock::now() + kLongestDelayOfStores;
    // Relaxed: published by the flag.
    visibleAt.store(visible.time_since_epoch().count(), std::memory_order_relaxed);
    readersFence.store(true, std::memory_order_seq_cst);
  }
  return steady_clock::now().time_since_epoch().count() >= visibleAt.load(std::memory_order_relaxed);
}

bool heavyFenceUnlessRecent() noexcept {
  using std::chrono::steady_clock;
  static std::atomic<steady_clock::time_point> due{steady_clock::time_point::min()};
  const auto now = steady_clock::now();
  // Relaxed: a stale value costs one fence more or less.
  if (now < due.load(std::memory_order_relaxed)) return false;
  due.store(now + kMoment, std::memory_order_relaxed);
  return heavyFence();
}

bool isProtected(const void* snapshot) noexcept {
  const auto holds = [snapshot](const HazardRecord& record) {
    // Pairs with every store to `held`; its order is explained in `readWithFences`.
    return record.held.load(std::memory_order_seq_cst) == snapshot;
  };
  if (std::any_of(std::begin(firstRecords), std::end(firstRecords), holds)) return true;
  // Pairs with the exchange in `takeRecord`.
  for (HazardRecord* record = records.load(std::memory_order_seq_cst); record != nullptr;
       record = record->next) {
    if (holds(*record)) return true;
  }
  return false;
}

}  // namespace tidewell::base
