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

/// Those beyond `firstRecords`.
constinit std::atomic<HazardRecord*> records{nullptr};
/// How long a fence keeps the next one away (`heavyFenceUnlessRecent`).
constexpr std::chrono::microseconds kMoment{500};
/// How long an announcement without a fence can take to become visible. A processor writes its stores out
/// within microseconds, even if the thread is stopped.
constexpr std::chrono::milliseconds kLongestDelayOfStores{100};
/// When the last announcement without a fence is visible; meaningful once `readersFence` is set.
constinit std::atomic<std::chrono::steady_clock::rep> visibleAt{0};
/// The record that the thread keeps until it ends.
constinit thread_local HazardRecord* keptRecord = nullptr;
constinit thread_local bool threadEnds = false;

/// Returns the record of a thread that ends. Destructors that run later acquire one for each guard.
void returnRecord(void* record) {
  keptRecord = nullptr;
  threadHazardRecord = nullptr;
  threadEnds = true;
  static_cast<HazardRecord*>(record)->taken.store(false, std::memory_order_release);
}

/// Made when the library is loaded, so that a fork never finds it half made. Not made before that.
struct EndKey {
  pthread_key_t number{};
  bool isMade = pthread_key_create(&number, returnRecord) == 0;
};
const EndKey endKey;

/// Has `returnRecord` called when the thread ends; false where that is not possible. Not a `thread_local`
/// object with a destructor: where the C library has no memory to register one it ends the process.
bool returnsWhenThreadEnds(HazardRecord& record) noexcept {
  return endKey.isMade && pthread_setspecific(endKey.number, &record) == 0;
}

/// Enough for most processes, so that a question needs no memory.
constinit HazardRecord firstRecords[32];

bool tryToTake(HazardRecord& record) noexcept {
  return !record.taken.load(std::memory_order_relaxed) &&
         !record.taken.exchange(true, std::memory_order_acq_rel);
}

HazardRecord& takeRecord() {
  for (HazardRecord& record : firstRecords) {
    if (tryToTake(record)) return record;
  }
  for (HazardRecord* record = records.load(std::memory_order_acquire); record != nullptr;
       record = record->next) {
    if (tryToTake(*record)) return *record;
  }
  auto* const record = new HazardRecord;
  record->taken.store(true, std::memory_order_relaxed);
  record->next = records.load(std::memory_order_relaxed);
  while (!records.compare_exchange_weak(record->next, record, std::memory_order_acq_rel)) {
  }
  return *record;
}

/// Whether writers fence for all threads, so that readers need no fence. ThreadSanitizer does not know fences
/// that one thread makes for another.
bool writersHaveFence() noexcept {
  enum class Answer { unknown, no, yes };
  // No function-local static: to register can take milliseconds, and the child of a fork would wait for ever
  // for a thread that was doing so.
  static constinit std::atomic<Answer> answer{Answer::unknown};
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

// A reader announces, then reads the flag, and only then uses the snapshot. Readers that read the flag after
// it was set announce again with a fence. Those that read it before had stored their announcement before, so
// it is visible a moment later.
bool heavyFence() noexcept {
  if (!writersHaveFence()) return true;
  using std::chrono::steady_clock;
  if (!readersFence.load(std::memory_order_acquire)) {
    if (processFence()) return true;
    const auto visible = steady_clock::now() + kLongestDelayOfStores;
    visibleAt.store(visible.time_since_epoch().count(), std::memory_order_relaxed);
    readersFence.store(true, std::memory_order_seq_cst);
  }
  return steady_clock::now().time_since_epoch().count() >= visibleAt.load(std::memory_order_relaxed);
}

bool heavyFenceUnlessRecent() noexcept {
  using std::chrono::steady_clock;
  static std::atomic<steady_clock::time_point> due{steady_clock::time_point::min()};
  const auto now = steady_clock::now();
  if (now < due.load(std::memory_order_relaxed)) return false;
  due.store(now + kMoment, std::memory_order_relaxed);
  return heavyFence();
}

bool isProtected(const void* snapshot) noexcept {
  const auto holds = [snapshot](const HazardRecord& record) {
    return record.held.load(std::memory_order_seq_cst) == snapshot;
  };
  if (std::any_of(std::begin(firstRecords), std::end(firstRecords), holds)) return true;
  for (HazardRecord* record = records.load(std::memory_order_acquire); record != nullptr;
       record = record->next) {
    if (holds(*record)) return true;
  }
  return false;
}

}  // namespace tidewell::base
