#include "tidewell/core/internal/SnapshotPointer.h"

#include <pthread.h>

#include <algorithm>
#include <chrono>
#include <iterator>

#if defined(__linux__)
#include <linux/membarrier.h>
#include <sys/syscall.h>
#include <unistd.h>
#endif

namespace tidewell {

constinit thread_local ReaderSlot* threadReaderSlot = nullptr;
constinit std::atomic<bool> readersMakeBarriers{false};

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

/// Those beyond `firstSlots`.
constinit std::atomic<ReaderSlot*> slots{nullptr};
/// How long readers are left alone after they were interrupted.
constexpr std::chrono::microseconds kMoment{500};
/// How long an announcement that was made without a barrier can take to become visible. A processor writes
/// its stores out within microseconds, whatever becomes of the thread.
constexpr std::chrono::milliseconds kLongestDelayOfStores{100};
/// When the last announcement without a barrier is visible; meaningful once `readersMakeBarriers`.
constinit std::atomic<std::chrono::steady_clock::rep> visibleAt{0};
/// The slot that the thread keeps until it ends.
constinit thread_local ReaderSlot* keptSlot = nullptr;
constinit thread_local bool threadEnds = false;

/// Gives the slot of a thread back when the thread ends. Destructors that run later borrow slots instead.
void returnSlot(void* slot) {
  keptSlot = nullptr;
  threadReaderSlot = nullptr;
  threadEnds = true;
  static_cast<ReaderSlot*>(slot)->taken.store(false, std::memory_order_release);
}

/// Made when the library is loaded, so that a fork never finds it half made. Not made before that.
struct EndKey {
  pthread_key_t number{};
  bool isMade = pthread_key_create(&number, returnSlot) == 0;
};
const EndKey endKey;

/// Has `returnSlot` called when the thread ends; false where that is not possible. Not a `thread_local`
/// object with a destructor: where the C library has no memory to register one it ends the process.
bool returnsWhenThreadEnds(ReaderSlot& slot) noexcept {
  return endKey.isMade && pthread_setspecific(endKey.number, &slot) == 0;
}

/// Suffices for most processes, so that a question needs no memory.
constinit ReaderSlot firstSlots[32];

bool tryToTake(ReaderSlot& slot) noexcept {
  return !slot.taken.load(std::memory_order_relaxed) && !slot.taken.exchange(true, std::memory_order_acq_rel);
}

ReaderSlot& takeSlot() {
  for (ReaderSlot& slot : firstSlots) {
    if (tryToTake(slot)) return slot;
  }
  for (ReaderSlot* slot = slots.load(std::memory_order_acquire); slot != nullptr; slot = slot->next) {
    if (tryToTake(*slot)) return *slot;
  }
  auto* const slot = new ReaderSlot;
  slot->taken.store(true, std::memory_order_relaxed);
  slot->next = slots.load(std::memory_order_relaxed);
  while (!slots.compare_exchange_weak(slot->next, slot, std::memory_order_acq_rel)) {
  }
  return *slot;
}

#if defined(__linux__)
/// A barrier on every running thread of the process, without one in the readers.
bool membarrier(int command) noexcept { return syscall(SYS_membarrier, command, 0, 0) == 0; }
bool registerBarrier() noexcept { return membarrier(MEMBARRIER_CMD_REGISTER_PRIVATE_EXPEDITED); }
bool processBarrier() noexcept { return membarrier(MEMBARRIER_CMD_PRIVATE_EXPEDITED); }
#else
bool registerBarrier() noexcept { return false; }
bool processBarrier() noexcept { return false; }
#endif

/// Whether writers spare the readers their barriers. ThreadSanitizer knows nothing of barriers that one
/// thread makes for another.
bool writersMakeBarriers() noexcept {
  enum class Answer { unknown, no, yes };
  // No function-local static: to register can take milliseconds, and the child of a fork would wait for ever
  // for a thread that was doing so.
  static constinit std::atomic<Answer> answer{Answer::unknown};
  Answer known = answer.load(std::memory_order_acquire);
  if (known == Answer::unknown) {
    const bool writersDo = !kThreadSanitizer && registerBarrier() && processBarrier();
    const Answer found = writersDo ? Answer::yes : Answer::no;
    if (answer.compare_exchange_strong(known, found, std::memory_order_acq_rel)) known = found;
  }
  return known == Answer::yes;
}

}  // namespace

ReaderSlot& borrowReaderSlot() {
  if (keptSlot != nullptr && keptSlot->held.load(std::memory_order_relaxed) == nullptr) return *keptSlot;
  ReaderSlot& slot = takeSlot();
  if (keptSlot == nullptr && !threadEnds && returnsWhenThreadEnds(slot)) {
    keptSlot = &slot;
    if (writersMakeBarriers()) threadReaderSlot = &slot;
  }
  return slot;
}

void giveReaderSlotBack(ReaderSlot& slot) noexcept {
  if (&slot != keptSlot) slot.taken.store(false, std::memory_order_release);
}

// A reader announces, reads the flag and only then uses the snapshot. Once the flag is set, readers that have
// not read it yet give up and announce with a barrier. Those that read it before had stored their
// announcement before, so it is visible a moment later.
bool seeReaders() noexcept {
  if (!writersMakeBarriers()) return true;
  using std::chrono::steady_clock;
  if (!readersMakeBarriers.load(std::memory_order_acquire)) {
    if (processBarrier()) return true;
    const auto visible = steady_clock::now() + kLongestDelayOfStores;
    visibleAt.store(visible.time_since_epoch().count(), std::memory_order_relaxed);
    readersMakeBarriers.store(true, std::memory_order_seq_cst);
  }
  return steady_clock::now().time_since_epoch().count() >= visibleAt.load(std::memory_order_relaxed);
}

bool seeReadersNowAndThen() noexcept {
  using std::chrono::steady_clock;
  static std::atomic<steady_clock::time_point> due{steady_clock::time_point::min()};
  const auto now = steady_clock::now();
  if (now < due.load(std::memory_order_relaxed)) return false;
  due.store(now + kMoment, std::memory_order_relaxed);
  return seeReaders();
}

bool isHeldByReader(const void* snapshot) noexcept {
  const auto holds = [snapshot](const ReaderSlot& slot) {
    return slot.held.load(std::memory_order_seq_cst) == snapshot;
  };
  if (std::any_of(std::begin(firstSlots), std::end(firstSlots), holds)) return true;
  for (ReaderSlot* slot = slots.load(std::memory_order_acquire); slot != nullptr; slot = slot->next) {
    if (holds(*slot)) return true;
  }
  return false;
}

}  // namespace tidewell
