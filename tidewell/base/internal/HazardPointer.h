// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <atomic>
#include <memory>
#include <new>
#include <utility>
#include <vector>

// The initial-exec TLS model gives access in one instruction. glibc has room for a few such bytes even in a
// library that is loaded late; other C libraries refuse to load it.
#if defined(__GLIBC__)
#define TIDEWELL_STATIC_TLS __attribute__((tls_model("initial-exec")))
#else
#define TIDEWELL_STATIC_TLS
#endif

namespace tidewell::base {

// Hazard pointers: a reader announces in a hazard record which snapshot it uses, and a writer frees a retired
// snapshot only when no record names it. Readers never wait and take no lock.

/// Where a thread announces which snapshot it is reading, so that no writer frees it.
///
/// All records of the process form one list. They are reused and never freed, so their number is the largest
/// number of guards that existed at once. The first ones need no allocation.
struct alignas(64) HazardRecord {
  std::atomic<const void*> held{nullptr};
  std::atomic<bool> taken{false};
  HazardRecord* next = nullptr;
};

/// The calling thread's own record if writers have a fence for all threads (`heavyFence`), so that announcing
/// a snapshot needs no fence; otherwise null.
extern constinit thread_local HazardRecord* threadHazardRecord TIDEWELL_STATIC_TLS;

/// Set permanently once the system refuses the writers' fence. Readers issue fences themselves from then on.
extern constinit std::atomic<bool> readersFence __attribute__((visibility("hidden")));

/// A record for a guard that cannot use `threadHazardRecord`: a thread's first guard, a nested guard, a guard
/// during thread exit, and any guard if writers have no fence. Never waits.
[[nodiscard]] HazardRecord& acquireHazardRecord();
/// Returns a record obtained from `acquireHazardRecord`.
void releaseHazardRecord(HazardRecord& record) noexcept;

/// Makes every earlier announcement visible to the caller. Returns false while that cannot be guaranteed;
/// nothing may be freed then. If the system starts refusing the fence (for example in a sandbox), readers
/// issue fences from then on, and retired snapshots can be freed again after a short delay.
[[nodiscard]] bool heavyFence() noexcept;
/// The same, but also false if a fence ran within the last `kMoment`. A fence interrupts all other threads of
/// the process for some microseconds, which a burst of changes must not do each time. Snapshots retired in
/// that period wait for the next change.
[[nodiscard]] bool heavyFenceUnlessRecent() noexcept;
[[nodiscard]] bool isProtected(const void* snapshot) noexcept;

/// Announces the current snapshot in the thread's record without a fence. Returns false, with nothing
/// announced, if the pointer changed meanwhile or readers issue fences themselves.
template <class Snapshot>
[[gnu::always_inline]] inline bool announce(const std::atomic<const Snapshot*>& current, HazardRecord& record,
                                            const Snapshot*& snapshot) noexcept {
  // Relaxed: only compared until the second load. A later process-wide fence makes the announcement visible.
  snapshot = current.load(std::memory_order_relaxed);
  record.held.store(snapshot, std::memory_order_relaxed);
  std::atomic_signal_fence(std::memory_order_seq_cst);
  // A snapshot that is still current after its announcement has not been freed. The flag must be read after
  // the announcement: see `heavyFence`.
  if (current.load(std::memory_order_acquire) == snapshot && !readersFence.load(std::memory_order_acquire))
      [[likely]] {
    return true;
  }
  // Relaxed: the snapshot was not used.
  record.held.store(nullptr, std::memory_order_relaxed);
  return false;
}

/// Returns the result of `look` for the current snapshot, or false without calling it if the fast path is
/// unavailable; after false, ask again with a `SnapshotGuard`. For short, very frequent queries: makes no
/// function call, so everything stays in registers.
template <class Snapshot, class Look>
[[gnu::always_inline]] inline bool lookQuickly(const std::atomic<const Snapshot*>& current,
                                               const Look& look) noexcept {
  HazardRecord* const record = threadHazardRecord;
  if (record == nullptr || record->held.load(std::memory_order_relaxed) != nullptr) return false;
  const Snapshot* snapshot = nullptr;
  if (!announce(current, *record, snapshot)) return false;
  const bool answer = look(*snapshot);
  // Release: a writer that finds no announcement, in `isProtected`, frees after the reads of `look`.
  record->held.store(nullptr, std::memory_order_release);
  return answer;
}

/// Protects the snapshot that was current when the guard was created, for the lifetime of the guard.
///
/// Takes a few instructions and never waits for a writer. Use only on the thread that created it, and destroy
/// it before calling foreign code. `retain` returns a reference for longer use.
template <class Snapshot>
class SnapshotGuard {
 public:
  explicit SnapshotGuard(const std::atomic<const Snapshot*>& current) : record_(threadHazardRecord) {
    if (record_ != nullptr && record_->held.load(std::memory_order_relaxed) == nullptr) [[likely]] {
      if (announce(current, *record_, snapshot_)) return;
    }
    readWithFences(current);
  }
  ~SnapshotGuard() {
    // Release: pairs with the load in `isProtected`; the snapshot was read before it is freed.
    record_->held.store(nullptr, std::memory_order_release);
    if (record_ != threadHazardRecord) [[unlikely]] {
      releaseHazardRecord(*record_);
    }
  }
  SnapshotGuard(const SnapshotGuard&) = delete;
  SnapshotGuard& operator=(const SnapshotGuard&) = delete;

  const Snapshot& operator*() const noexcept { return *snapshot_; }
  const Snapshot* operator->() const noexcept { return snapshot_; }
  [[nodiscard]] std::shared_ptr<const Snapshot> retain() const { return snapshot_->shared_from_this(); }

 private:
  /// The slow path: works with any record, and while snapshots change quickly.
  [[gnu::noinline]] void readWithFences(const std::atomic<const Snapshot*>& current) {
    record_ = &acquireHazardRecord();
    const Snapshot* seen = nullptr;
    do {
      // Sequentially consistent, with `publish` and `isProtected`: either the writer finds the announcement
      // or the second load finds the writer's snapshot.
      seen = current.load(std::memory_order_seq_cst);
      record_->held.store(seen, std::memory_order_seq_cst);
      snapshot_ = current.load(std::memory_order_seq_cst);
    } while (snapshot_ != seen);
  }

  HazardRecord* record_;
  const Snapshot* snapshot_ = nullptr;
};

/// The writer's side of a pointer to snapshots. Callers must serialise calls.
template <class Snapshot>
class SnapshotPublisher {
 public:
  using Shared = std::shared_ptr<const Snapshot>;

  explicit SnapshotPublisher(std::atomic<const Snapshot*>& current) : current_(current) {}

  /// Reserves memory so that the next `publish` cannot fail. A writer of several pointers reserves for all of
  /// them first and then publishes all of them.
  void makeRoom() {
    if (retired_.size() == retired_.capacity()) retired_.reserve(2 * retired_.size() + 1);
  }
  /// Makes a snapshot current and retires the old one until `reclaim`.
  void publish(Shared next) {
    makeRoom();  // nothing below can fail
    // Releases the contents; its place in the single order is explained in `readWithFences`.
    current_.store(next.get(), std::memory_order_seq_cst);
    if (latest_) retired_.push_back(std::move(latest_));
    latest_ = std::move(next);
  }
  /// The same, followed by `heavyFence` and `reclaim`. For a writer of one pointer; a writer of several
  /// publishes all of them and then calls `heavyFence` once.
  void publish(Shared next, std::vector<Shared>& garbage) {
    publish(std::move(next));
    if (heavyFence()) reclaim(garbage);
  }
  /// Moves the retired snapshots that no reader protects to `garbage`, which the caller destroys after
  /// unlocking. The others, or all of them if out of memory, wait for the next call. Call after `heavyFence`.
  void reclaim(std::vector<Shared>& garbage) noexcept {
    try {
      garbage.reserve(garbage.size() + retired_.size());
    } catch (const std::bad_alloc&) {
      return;
    }
    std::erase_if(retired_, [&](Shared& snapshot) {
      if (isProtected(snapshot.get())) return false;
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

}  // namespace tidewell::base
