#pragma once

#include <atomic>
#include <memory>
#include <new>
#include <utility>
#include <vector>

namespace tidewell::base {

// Hazard pointers: a reader announces in a hazard record which snapshot it uses, and a writer frees a retired
// snapshot only when no record names it. Readers never wait and take no lock.

/// Where a thread announces which snapshot it is reading, so that no writer frees it.
///
/// Records form one list for the whole process and are reused, never freed: their number is the largest
/// number of guards that ever existed at once. The first of them need no memory.
struct alignas(64) HazardRecord {
  std::atomic<const void*> held{nullptr};
  std::atomic<bool> taken{false};
  HazardRecord* next = nullptr;
};

/// The calling thread's own record if writers have a fence for all threads (`heavyFence`), so that announcing
/// a snapshot needs no fence; otherwise null. With this TLS model it is found in one instruction; eight bytes
/// fit even if the library is loaded late.
extern constinit thread_local HazardRecord* threadHazardRecord __attribute__((tls_model("initial-exec")));

/// Set for good once the system refuses the writers' fence: readers fence for themselves from then on.
extern constinit std::atomic<bool> readersFence __attribute__((visibility("hidden")));

/// A record for a guard that cannot use `threadHazardRecord`: the first guard of a thread, one inside
/// another, one while the thread ends, and every one where writers have no fence. Never waits.
[[nodiscard]] HazardRecord& acquireHazardRecord();
/// Returns what `acquireHazardRecord` handed out.
void releaseHazardRecord(HazardRecord& record) noexcept;

/// Makes every announcement made before it visible to the caller. false while that cannot be guaranteed:
/// nothing may be freed then. If the system refuses the fence, as in a sandbox that the process has entered,
/// readers fence for themselves from then on, and retired snapshots are freed again after a moment.
[[nodiscard]] bool heavyFence() noexcept;
/// The same, but also false if a fence ran within the last `kMoment`: it interrupts all other threads of the
/// process for some microseconds, which a burst of changes must not do for each change. What is retired
/// within the moment waits for the next change.
[[nodiscard]] bool heavyFenceUnlessRecent() noexcept;
[[nodiscard]] bool isProtected(const void* snapshot) noexcept;

/// Announces the current snapshot in the record of `threadHazardRecord`, without a fence. false, with nothing
/// announced, if the pointer changed meanwhile or readers fence for themselves.
template <class Snapshot>
[[gnu::always_inline]] inline bool announce(const std::atomic<const Snapshot*>& current, HazardRecord& record,
                                            const Snapshot*& snapshot) noexcept {
  snapshot = current.load(std::memory_order_relaxed);
  record.held.store(snapshot, std::memory_order_relaxed);
  std::atomic_signal_fence(std::memory_order_seq_cst);
  // A snapshot that is still current after its announcement has not been freed. The flag is read after the
  // announcement: see `heavyFence`.
  if (current.load(std::memory_order_acquire) == snapshot && !readersFence.load(std::memory_order_acquire))
      [[likely]] {
    return true;
  }
  record.held.store(nullptr, std::memory_order_relaxed);
  return false;
}

/// Returns what `look` returns for the current snapshot. false, without a look, if the fast path is
/// unavailable at this moment: use a `SnapshotGuard` then. For short questions that are asked very often: it
/// makes no call, so everything stays in registers.
template <class Snapshot, class Look>
[[gnu::always_inline]] inline bool lookQuickly(const std::atomic<const Snapshot*>& current,
                                               const Look& look) noexcept {
  HazardRecord* const record = threadHazardRecord;
  if (record == nullptr || record->held.load(std::memory_order_relaxed) != nullptr) return false;
  const Snapshot* snapshot = nullptr;
  if (!announce(current, *record, snapshot)) return false;
  const bool answer = look(*snapshot);
  record->held.store(nullptr, std::memory_order_release);
  return answer;
}

/// Protects the snapshot that a pointer led to when the guard was made, for the lifetime of the guard.
///
/// Costs a few instructions and never waits for a writer. Bound to its thread; end it before foreign code
/// runs. `retain` returns a reference for longer use.
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
  /// The same with any record, and while snapshots change quickly.
  [[gnu::noinline]] void readWithFences(const std::atomic<const Snapshot*>& current) {
    record_ = &acquireHazardRecord();
    const Snapshot* seen = nullptr;
    do {
      seen = current.load(std::memory_order_seq_cst);
      record_->held.store(seen, std::memory_order_seq_cst);
      snapshot_ = current.load(std::memory_order_seq_cst);
    } while (snapshot_ != seen);
  }

  HazardRecord* record_;
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
  /// Makes a snapshot the current one and retires the old one until `reclaim`.
  void publish(Shared next) {
    makeRoom();  // nothing fails from here on
    current_.store(next.get(), std::memory_order_seq_cst);
    if (latest_) retired_.push_back(std::move(latest_));
    latest_ = std::move(next);
  }
  /// The same, and reclaims. For a writer of one pointer; a writer of several publishes all of them before it
  /// calls `heavyFence` once.
  void publish(Shared next, std::vector<Shared>& garbage) {
    publish(std::move(next));
    if (heavyFence()) reclaim(garbage);
  }
  /// Moves the retired snapshots that no reader protects to `garbage`, for the caller to destroy after the
  /// locks are released. The others wait for the next call; so do all when memory is short. Call it after
  /// `heavyFence`.
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
