#pragma once

#include <atomic>
#include <memory>
#include <new>
#include <utility>
#include <vector>

namespace tidewell {

/// A place where a thread says which snapshot it is reading, so that no writer frees it meanwhile.
///
/// Slots form one list for the whole process and are used again, never freed: their number is the largest
/// number of threads (and of readings inside readings) that there ever were at once. The first of them need
/// no memory.
struct alignas(64) ReaderSlot {
  std::atomic<const void*> held{nullptr};
  std::atomic<bool> taken{false};
  ReaderSlot* next = nullptr;
};

/// The calling thread's own slot where writers make the stores of readers visible (`seeReaders`), so that
/// announcing a snapshot needs no barrier; else null. The model makes it one instruction to find; eight bytes
/// fit where a library is loaded late, too.
extern constinit thread_local ReaderSlot* threadReaderSlot __attribute__((tls_model("initial-exec")));

/// Set for good once the system refuses writers their barrier (`seeReaders`): from then on readers make their
/// own.
extern constinit std::atomic<bool> readersMakeBarriers __attribute__((visibility("hidden")));

/// A slot for a reading that cannot use the one above: the first of a thread, one inside another reading, one
/// while the thread ends, and every one where the system has no barrier for writers. Never waits.
[[nodiscard]] ReaderSlot& borrowReaderSlot();
/// Ends what `borrowReaderSlot` began.
void giveReaderSlotBack(ReaderSlot& slot) noexcept;

/// Makes visible what every reader announced before; false where that cannot be said yet, and then nothing
/// may be freed. Where the system refuses the barrier, as in a sandbox that the process has entered, readers
/// make barriers of their own from then on, and what is retired is freed again after a moment.
[[nodiscard]] bool seeReaders() noexcept;
/// The same, but NO also where it was done a moment ago: it interrupts every other thread of the process for
/// some microseconds, which a storm of changes must not do for each. What is retired within the moment waits
/// for the next change; that is no more than the changes of one moment can make.
[[nodiscard]] bool seeReadersNowAndThen() noexcept;
[[nodiscard]] bool isHeldByReader(const void* snapshot) noexcept;

/// Announces what a pointer leads to in the slot of `threadReaderSlot`, without a barrier. false where the
/// pointer changed meanwhile, or readers make barriers; nothing is announced then.
template <class Snapshot>
[[gnu::always_inline]] inline bool announce(const std::atomic<const Snapshot*>& current, ReaderSlot& slot,
                                            const Snapshot*& snapshot) noexcept {
  snapshot = current.load(std::memory_order_relaxed);
  slot.held.store(snapshot, std::memory_order_relaxed);
  std::atomic_signal_fence(std::memory_order_seq_cst);
  // A snapshot that still is the current one after it was announced has not been freed before. The flag is
  // read after the announcement: see `seeReaders`.
  if (current.load(std::memory_order_acquire) == snapshot &&
      !readersMakeBarriers.load(std::memory_order_acquire)) [[likely]] {
    return true;
  }
  slot.held.store(nullptr, std::memory_order_relaxed);
  return false;
}

/// Looks at what a pointer to snapshots leads to; answers what `look` answers. NO where the quick way is
/// closed at this moment, and then nothing was looked at: do so through a `Reading`. For short questions that
/// are asked very often: nothing here makes a call, so all of it stays in registers.
template <class Snapshot, class Look>
[[gnu::always_inline]] inline bool lookQuickly(const std::atomic<const Snapshot*>& current,
                                               const Look& look) noexcept {
  ReaderSlot* const slot = threadReaderSlot;
  if (slot == nullptr || slot->held.load(std::memory_order_relaxed) != nullptr) return false;
  const Snapshot* snapshot = nullptr;
  if (!announce(current, *slot, snapshot)) return false;
  const bool answer = look(*snapshot);
  slot->held.store(nullptr, std::memory_order_release);
  return answer;
}

/// What a pointer to snapshots led to at one moment; it stays whole as long as this lives.
///
/// Taking one costs a few instructions and never waits for a writer. Let go of it before foreign code runs,
/// and within one function: it is bound to its thread. `retain` gives a reference for longer use.
template <class Snapshot>
class Reading {
 public:
  explicit Reading(const std::atomic<const Snapshot*>& current) : slot_(threadReaderSlot) {
    if (slot_ != nullptr && slot_->held.load(std::memory_order_relaxed) == nullptr) [[likely]] {
      if (announce(current, *slot_, snapshot_)) return;
    }
    readWithBarriers(current);
  }
  ~Reading() {
    slot_->held.store(nullptr, std::memory_order_release);
    if (slot_ != threadReaderSlot) [[unlikely]] {
      giveReaderSlotBack(*slot_);
    }
  }
  Reading(const Reading&) = delete;
  Reading& operator=(const Reading&) = delete;

  const Snapshot& operator*() const noexcept { return *snapshot_; }
  const Snapshot* operator->() const noexcept { return snapshot_; }
  [[nodiscard]] std::shared_ptr<const Snapshot> retain() const { return snapshot_->shared_from_this(); }

 private:
  /// The same for any slot, and while snapshots change quickly.
  [[gnu::noinline]] void readWithBarriers(const std::atomic<const Snapshot*>& current) {
    slot_ = &borrowReaderSlot();
    const Snapshot* seen = nullptr;
    do {
      seen = current.load(std::memory_order_seq_cst);
      slot_->held.store(seen, std::memory_order_seq_cst);
      snapshot_ = current.load(std::memory_order_seq_cst);
    } while (snapshot_ != seen);
  }

  ReaderSlot* slot_;
  const Snapshot* snapshot_ = nullptr;
};

/// The writer's side of a pointer to snapshots. Callers take turns.
template <class Snapshot>
class SnapshotPublisher {
 public:
  using Shared = std::shared_ptr<const Snapshot>;

  explicit SnapshotPublisher(std::atomic<const Snapshot*>& current) : current_(current) {}

  /// After this the next `publish` needs no memory. For a writer of several pointers: first room for all of
  /// them, then all of them published.
  void makeRoom() {
    if (retired_.size() == retired_.capacity()) retired_.reserve(2 * retired_.size() + 1);
  }
  /// Puts a snapshot in force; the old one waits for `reclaim`.
  void publish(Shared next) {
    makeRoom();  // from here on nothing fails half-way
    current_.store(next.get(), std::memory_order_seq_cst);
    if (latest_) retired_.push_back(std::move(latest_));
    latest_ = std::move(next);
  }
  /// Puts a snapshot in force and reclaims. For a writer of one pointer; one of several announces all of them
  /// before it calls `seeReaders` once.
  void publish(Shared next, std::vector<Shared>& garbage) {
    publish(std::move(next));
    if (seeReaders()) reclaim(garbage);
  }
  /// Hands out what no reader can hold any more, so that the caller destroys it after the locks are released;
  /// what a reader still holds waits for the next call, and so does everything where memory is short. Call it
  /// after `seeReaders`.
  void reclaim(std::vector<Shared>& garbage) noexcept {
    try {
      garbage.reserve(garbage.size() + retired_.size());
    } catch (const std::bad_alloc&) {
      return;
    }
    std::erase_if(retired_, [&](Shared& snapshot) {
      if (isHeldByReader(snapshot.get())) return false;
      garbage.push_back(std::move(snapshot));
      return true;
    });
  }
  [[nodiscard]] const Shared& latest() const noexcept { return latest_; }

 private:
  std::atomic<const Snapshot*>& current_;
  Shared latest_;
  std::vector<Shared> retired_;
};

}  // namespace tidewell
