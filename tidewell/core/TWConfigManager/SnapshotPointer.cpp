#include "tidewell/core/TWConfigManager/SnapshotPointer.h"

#if defined(__linux__)
#include <linux/membarrier.h>
#include <sys/syscall.h>
#include <unistd.h>
#endif

namespace tidewell {

constinit thread_local ReaderSlot* threadReaderSlot = nullptr;
constinit std::atomic<bool> writersSeeReaders{false};

namespace {

constinit std::atomic<ReaderSlot*> slots{nullptr};
constinit thread_local bool threadEnds = false;

/// Gives the slot of a thread back when the thread ends. Destructors that run later borrow slots instead.
struct SlotReturn {
  ~SlotReturn() {
    ReaderSlot* const slot = threadReaderSlot;
    threadReaderSlot = nullptr;
    threadEnds = true;
    slot->taken.store(false, std::memory_order_release);
  }
  void keepAlive() noexcept {}
};

ReaderSlot& takeSlot() {
  for (ReaderSlot* slot = slots.load(std::memory_order_acquire); slot != nullptr; slot = slot->next) {
    if (slot->taken.load(std::memory_order_relaxed)) continue;
    if (!slot->taken.exchange(true, std::memory_order_acq_rel)) return *slot;
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

/// Decides once whether writers spare the readers their barriers. Readers that asked before it was decided
/// made barriers of their own, which is always right.
bool decideWhoMakesBarriers() noexcept {
  static const bool writersDo = [] {
    const bool possible = !kThreadSanitizer && registerBarrier() && processBarrier();
    writersSeeReaders.store(possible, std::memory_order_relaxed);
    return possible;
  }();
  return writersDo;
}

}  // namespace

ReaderSlot& borrowReaderSlot() {
  decideWhoMakesBarriers();
  ReaderSlot& slot = takeSlot();
  if (threadReaderSlot == nullptr && !threadEnds) {
    thread_local SlotReturn slotReturn;
    slotReturn.keepAlive();
    threadReaderSlot = &slot;
  }
  return slot;
}

bool seeReaders() noexcept { return !decideWhoMakesBarriers() || processBarrier(); }

bool isHeldByReader(const void* snapshot) noexcept {
  for (ReaderSlot* slot = slots.load(std::memory_order_acquire); slot != nullptr; slot = slot->next) {
    if (slot->held.load(std::memory_order_seq_cst) == snapshot) return true;
  }
  return false;
}

}  // namespace tidewell
