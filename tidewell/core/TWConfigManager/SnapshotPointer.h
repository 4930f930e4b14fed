#pragma once

#include <atomic>
#include <memory>
#include <utility>
#include <vector>

// Internal to the core: not installed.
namespace tidewell {

/// A place where a thread says which snapshot it is reading, so that no writer frees it meanwhile.
///
/// Slots form one list for the whole process and are used again, never freed: their number is the largest
/// number of threads (and of readings inside readings) that there ever were at once.
struct alignas(64) ReaderSlot {
  std::atomic<const void*> held{nullptr};
  std::atomic<bool> taken{false};
  ReaderSlot* next = nullptr;
};

/// ThreadSanitizer knows nothing of barriers that one thread makes for another.
#if defined(__SANITIZE_THREAD__)
inline constexpr bool kThreadSanitizer = true;
#elif defined(__has_feature)
#if __has_feature(thread_sanitizer)
inline constexpr bool kThreadSanitizer = true;
#else
inline constexpr bool kThreadSanitizer = false;
#endif
#else
inline constexpr bool kThreadSanitizer = false;
#endif

/// The calling thread's own slot; null until it reads for the first time, and again while it ends. The model
/// makes it one instruction to find; eight bytes fit where a library is loaded late, too.
extern constinit thread_local ReaderSlot* threadReaderSlot __attribute__((tls_model("initial-exec")));

/// Whether writers make the stores of readers visible (`seeReaders`), so that a reader needs no barrier.
extern constinit std::atomic<bool> writersSeeReaders;

/// A slot for a reading that cannot use the thread's own: the first of a thread, one inside another reading,
/// or one while the thread ends. Never waits.
[[nodiscard]] ReaderSlot& borrowReaderSlot();

/// Makes visible what every reader announced before; NO where the system refuses, and then nothing may be
/// freed.
[[nodiscard]] bool seeReaders() noexcept;
[[nodiscard]] bool isHeldByReader(const void* snapshot) noexcept;

/// What a pointer to snapshots led to at one moment; it stays whole as long as this lives.
///
/// Taking one costs a few instructions and never waits for a writer. Let go of it before foreign code runs,
/// and within one function: it is bound to its thread. `retain` gives a reference for longer use.
template <class Snapshot>
class Reading {
 public:
  explicit Reading(const std::atomic<const Snapshot*>& current) : slot_(claimSlot()) {
    // A snapshot that still is the current one after it was announced cannot have been freed before.
    const Snapshot* seen = current.load(std::memory_order_relaxed);
    for (;;) {
      announce(seen);
      snapshot_ = current.load(std::memory_order_seq_cst);
      if (snapshot_ == seen) return;
      seen = snapshot_;
    }
  }
  ~Reading() {
    slot_.held.store(nullptr, std::memory_order_release);
    if (&slot_ != threadReaderSlot) slot_.taken.store(false, std::memory_order_release);
  }
  Reading(const Reading&) = delete;
  Reading& operator=(const Reading&) = delete;

  const Snapshot& operator*() const noexcept { return *snapshot_; }
  const Snapshot* operator->() const noexcept { return snapshot_; }
  [[nodiscard]] std::shared_ptr<const Snapshot> retain() const { return snapshot_->shared_from_this(); }

 private:
  static ReaderSlot& claimSlot() {
    ReaderSlot* const own = threadReaderSlot;
    if (own != nullptr && own->held.load(std::memory_order_relaxed) == nullptr) [[likely]]
      return *own;
    return borrowReaderSlot();
  }
  void announce(const Snapshot* snapshot) noexcept {
    if (!kThreadSanitizer && writersSeeReaders.load(std::memory_order_relaxed)) [[likely]] {
      slot_.held.store(snapshot, std::memory_order_relaxed);
      std::atomic_signal_fence(std::memory_order_seq_cst);
    } else {
      slot_.held.store(snapshot, std::memory_order_seq_cst);
    }
  }

  ReaderSlot& slot_;
  const Snapshot* snapshot_;
};

/// The writer's side of a pointer to snapshots. Callers take turns.
template <class Snapshot>
class SnapshotPublisher {
 public:
  using Shared = std::shared_ptr<const Snapshot>;

  explicit SnapshotPublisher(std::atomic<const Snapshot*>& current) : current_(current) {}

  /// Puts a snapshot in force. What no reader can hold any more is handed out, so that the caller destroys it
  /// after the locks are released; what a reader still holds waits for the next call.
  void publish(Shared next, std::vector<Shared>& garbage) {
    retired_.reserve(retired_.size() + 1);  // from here on nothing fails half-way
    garbage.reserve(garbage.size() + retired_.size() + 1);
    current_.store(next.get(), std::memory_order_seq_cst);
    if (latest_) retired_.push_back(std::move(latest_));
    latest_ = std::move(next);
    if (retired_.empty() || !seeReaders()) return;
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
