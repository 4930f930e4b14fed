// SPDX-License-Identifier: Apache-2.0
#include "tidewell/core/TWConfigManager/internal/SyncTracker.h"

#include <algorithm>
#include <string_view>
#include <system_error>
#include <utility>

#include "tidewell/base/Exception.h"
#include "tidewell/base/internal/CancellationShield.h"
#include "tidewell/base/internal/MadeWhenLoaded.h"
#include "tidewell/base/internal/NeverDestroyed.h"
#include "tidewell/core/TWConfigManager/internal/ConfigMerge.h"
#include "tidewell/core/TWConfigManager/internal/SyncFile.h"
#include "tidewell/platform/FileManager.h"

namespace tidewell {
namespace {

using platform::Platform;

const base::MadeWhenLoaded syncTrackerMade(SyncTracker::shared);

/// The contents of the file.
struct KeptSync {
  enum class Found { nothing, record, undecodable, unreadable };
  explicit KeptSync(Found what = Found::nothing) : found(what) {}

  Found found;
  SyncRecord record;
};

KeptSync readKeptSync() {
  const std::optional<std::string> path = sync_file::path();
  if (!path) return KeptSync();
  const platform::FileContents file = Platform::current().fileManager().contentsOfFile(*path);
  if (file.error == std::errc::no_such_file_or_directory) return KeptSync();
  if (file.error) return KeptSync(KeptSync::Found::unreadable);
  std::optional<SyncRecord> record = sync_file::decode(file.contents);
  if (!record) return KeptSync(KeptSync::Found::undecodable);
  KeptSync kept(KeptSync::Found::record);
  kept.record = std::move(*record);
  return kept;
}

SyncPast pastOf(const SyncResult& result, base::Date time) {
  const bool isExplained = !result.detail.empty() || !result.error;
  return {time, result.outcome, isExplained ? result.detail : result.error->localizedDescription,
          result.httpStatus};
}

}  // namespace

struct SyncObserver {
  std::function<void(const SyncStatus&)> function;
};

/// Counts one pending store. Held by a function on the global queue, which may be dropped.
struct SyncTracker::PendingStore {
  explicit PendingStore(std::uint32_t startedIn) : life(startedIn) {}
  ~PendingStore() { shared().storeEnded(life); }
  PendingStore(const PendingStore&) = delete;
  PendingStore& operator=(const PendingStore&) = delete;

  const std::uint32_t life;
};

SyncObservation::SyncObservation() noexcept = default;
SyncObservation::SyncObservation(std::shared_ptr<SyncObserver> observer) noexcept
    : observer_(std::move(observer)) {}
SyncObservation::SyncObservation(SyncObservation&& other) noexcept = default;
SyncObservation& SyncObservation::operator=(SyncObservation&& other) noexcept {
  const SyncObservation ended(std::exchange(observer_, std::move(other.observer_)));
  return *this;
}
SyncObservation::~SyncObservation() {
  if (observer_) SyncTracker::shared().stop(observer_);
}

SyncAttempt::~SyncAttempt() {
  if (life_ == 0) return;
  try {
    end({SyncOutcome::failed, "the request was dropped without a result"}, std::nullopt);
  } catch (...) {  // out of memory
    end({SyncOutcome::failed}, std::nullopt);
  }
}

void SyncAttempt::end(SyncResult result, std::optional<base::Date> nextDue) noexcept {
  if (life_ == 0) return;
  SyncTracker::shared().end(*this, std::move(result), nextDue);
  life_ = 0;
}

SyncTracker& SyncTracker::shared() {
  static base::NeverDestroyed<SyncTracker> tracker;
  return *tracker;
}

SyncTracker::SyncTracker() {
  publisher_.publish(std::make_shared<const SyncRecord>());
  join();
}

void SyncTracker::attach() {
  const Platform* const current = &Platform::current();
  if (platform_.load(std::memory_order_acquire) == current) return;
  Garbage garbage;
  const base::MutexLock lock(mutex_);
  if (platform_.load(std::memory_order_relaxed) == current) return;
  beginLife();
  publish(garbage, [](SyncRecord& record) { record = SyncRecord(); });
  isLoaded_ = isDueKnown_ = isForeign_ = false;
  platform_.store(current, std::memory_order_release);
  changed_.native().notify_all();  // waits of the earlier life end
}

void SyncTracker::beginLife() {
  ++life_;
  inFlight_.clear();
  inFlightCount_.store(0, std::memory_order_release);
  pendingStores_ = 0;
}

// Called with all locks held.
void SyncTracker::afterForkInChild() noexcept TIDEWELL_NO_THREAD_SAFETY_ANALYSIS { beginLife(); }

void SyncTracker::load() {
  if (isLoaded_.load(std::memory_order_acquire)) return;
  const Platform* const from = platform_.load(std::memory_order_acquire);
  KeptSync kept = readKeptSync();
  if (kept.found == KeptSync::Found::unreadable) return;  // perhaps only temporarily
  const std::optional<base::Date> due = nextSyncDue();
  Garbage garbage;
  const base::MutexLock lock(mutex_);
  if (isLoaded_ || platform_ != from) return;
  publish(garbage, [&](SyncRecord& record) TIDEWELL_REQUIRES(mutex_) {
    if (record.occasion == SyncOutcome::neverTried) record.occasion = kept.record.occasion;
    if (record.result.outcome == SyncOutcome::neverTried) record.result = std::move(kept.record.result);
    if (!record.lastAttempt) record.lastAttempt = kept.record.lastAttempt;
    if (!record.lastSuccess) record.lastSuccess = kept.record.lastSuccess;
    if (!isDueKnown_) record.nextDue = due;
    for (SyncPast& past : record.history) kept.record.addToHistory(std::move(past));
    record.history = std::move(kept.record.history);
  });
  isForeign_ = kept.found == KeptSync::Found::undecodable;
  isLoaded_.store(true, std::memory_order_release);
}

/// Published records are complete before an attempt leaves the count, so a request that is not in flight has
/// its result here.
SyncStatus SyncTracker::published() const {
  const bool isInFlight = inFlightCount_.load(std::memory_order_acquire) > 0;
  std::shared_ptr<const SyncRecord> record = base::SnapshotGuard(current_).retain();
  const SyncOutcome occasion = record->occasion;
  return {std::move(record), isInFlight ? SyncOutcome::inFlight : occasion};
}

SyncStatus SyncTracker::status() {
  if (!Platform::isInstalled()) return {};
  const base::CancellationShield shield;
  try {
    attach();
    load();
  } catch (...) {  // out of memory, or a host's own platform raised: the next query tries again
  }
  return published();
}

template <class Change>
void SyncTracker::publish(Garbage& garbage, Change&& change) {
  auto next = std::make_shared<SyncRecord>(*publisher_.latest());
  std::forward<Change>(change)(*next);
  publisher_.publish(std::move(next));
  if (base::heavyFenceUnlessRecent()) publisher_.reclaim(garbage);
}

template <class Change>
void SyncTracker::note(Change&& change) noexcept {
  const base::CancellationShield shield;
  try {
    if (!Platform::isInstalled()) return;
    attach();
    {
      Garbage garbage;
      const base::MutexLock lock(mutex_);
      SyncRecord next = *publisher_.latest();
      change(next);
      const bool isChanged =
          next.occasion != publisher_.latest()->occasion || next.nextDue != publisher_.latest()->nextDue;
      if (isDueKnown_ && !isChanged) return;
      publish(garbage, [&](SyncRecord& record) { record = std::move(next); });
      isDueKnown_ = true;
      ++version_;
    }
    announce();
  } catch (...) {  // out of memory
  }
}

void SyncTracker::noteNotDue(std::optional<base::Date> nextDue) noexcept {
  note([&](SyncRecord& record) {
    record.occasion = SyncOutcome::notDue;
    record.nextDue = nextDue;
  });
}

void SyncTracker::noteReset() noexcept {
  note([](SyncRecord& record) { record.nextDue.reset(); });
}

std::unique_ptr<SyncAttempt> SyncTracker::begin() noexcept {
  const base::CancellationShield shield;
  try {
    if (!Platform::isInstalled()) return nullptr;
    attach();
    std::unique_ptr<SyncAttempt> attempt(new SyncAttempt);
    const base::Date now = Platform::current().clock().now();
    Garbage garbage;
    {
      const base::MutexLock lock(mutex_);
      inFlight_.reserve(inFlight_.size() + 1);
      publish(garbage, [now](SyncRecord& record) {
        record.lastAttempt = now;
        record.nextDue.reset();
      });
      isDueKnown_ = true;
      attempt->life_ = life_;
      attempt->number_ = ++lastNumber_;
      inFlight_.push_back(attempt->number_);
      inFlightCount_.store(static_cast<std::uint32_t>(inFlight_.size()), std::memory_order_release);
      ++pendingStores_;
      ++toStore_;
      ++version_;
    }
    store(attempt->life_, When::later);
    announce();
    return attempt;
  } catch (...) {  // out of memory, or a host's own platform raised
    return nullptr;
  }
}

void SyncTracker::end(const SyncAttempt& attempt, SyncResult result,
                      std::optional<base::Date> nextDue) noexcept {
  const base::CancellationShield shield;
  std::optional<base::Date> now;
  try {
    now = Platform::current().clock().now();
  } catch (...) {  // a host's own platform raised
  }
  {
    Garbage garbage;
    const base::MutexLock lock(mutex_);
    if (attempt.life_ != life_) return;
    try {
      publish(garbage, [&](SyncRecord& record) {
        record.occasion = result.outcome;
        if (now) record.addToHistory(pastOf(result, *now));
        record.result = std::move(result);
        if (record.occasion == SyncOutcome::synced) record.lastSuccess = now;
        record.nextDue = nextDue;
      });
    } catch (...) {  // out of memory: the earlier result stays
    }
    std::erase(inFlight_, attempt.number_);
    inFlightCount_.store(static_cast<std::uint32_t>(inFlight_.size()), std::memory_order_release);
    ++pendingStores_;
    ++toStore_;
    ++version_;
  }
  store(attempt.life_, When::nowOnTheMainQueue);
  announce();
}

void SyncTracker::store(std::uint32_t life, When when) noexcept {
  std::shared_ptr<PendingStore> pending;
  try {
    pending = std::make_shared<PendingStore>(life);
    if (when == When::nowOnTheMainQueue && Platform::current().mainQueue().isCurrent()) return write(life);
    Platform::current().globalQueue().async([pending] { shared().write(pending->life); });
  } catch (...) {  // out of memory, or a host's own platform raised: the next change is stored with this one
    if (!pending) storeEnded(life);
  }
}

void SyncTracker::storeEnded(std::uint32_t life) noexcept {
  const base::MutexLock lock(mutex_);
  if (life != life_) return;
  --pendingStores_;
  changed_.native().notify_all();
}

void SyncTracker::write(std::uint32_t life) {
  std::string report;
  {
    const base::MutexLock storing(storeMutex_);
    load();
    std::shared_ptr<const SyncRecord> record;
    sync_file::Attempt attempt = sync_file::Attempt::ended;
    std::uint64_t stored = 0;
    bool isForeign = false;
    {
      const base::MutexLock lock(mutex_);
      if (life != life_ || stored_ == toStore_) return;
      record = publisher_.latest();
      if (!inFlight_.empty()) attempt = sync_file::Attempt::inFlight;
      stored = toStore_;
      isForeign = isForeign_ || !isLoaded_;
    }
    const std::optional<std::string> path = sync_file::path();
    if (!path) return;
    platform::FileManager& files = Platform::current().fileManager();
    std::error_code error;
    if (isForeign) {
      error = files.moveItem(*path, *path + ".corrupt");
      report = "The status of syncs cannot be read and ";
      report += error ? "could not be moved away" : "is kept aside as TdwSync.corrupt";
    }
    if (!error) {
      error = files.replaceFile(*path, sync_file::encode(*record, attempt));
      if (error) report = "The status of syncs was not written";
      const base::MutexLock lock(mutex_);
      if (life == life_) {
        isForeign_ = false;
        isLoaded_ = true;
        if (!error) stored_ = stored;
      }
    }
    if (error) report += ": " + error.message();
    if (error && report == reported_) return;
    reported_ = error ? report : std::string();
  }
  if (!report.empty()) platform::report(report);
}

bool SyncTracker::isInFlight(std::uint64_t lastNumber) const {
  return std::any_of(inFlight_.begin(), inFlight_.end(),
                     [=](std::uint64_t number) { return number <= lastNumber; });
}

SyncWait SyncTracker::wait(std::chrono::milliseconds timeout, bool onSession) {
  using End = SyncWait::End;
  // Keeps the end within the range of the clock.
  constexpr std::chrono::milliseconds kLongest = std::chrono::hours(24 * 365);
  if (!Platform::isInstalled()) return {SyncStatus(), End::ended};
  const base::CancellationShield shield;
  const auto until =
      std::chrono::steady_clock::now() + std::clamp(timeout, std::chrono::milliseconds(0), kLongest);
  attach();
  Platform& platform = Platform::current();
  const bool mustNotWait =
      onSession || platform.mainQueue().needsCallingThread() || platform.globalQueue().needsCallingThread();
  End end = End::ended;
  {
    base::ReleasableMutexLock lock(mutex_);
    const std::uint32_t life = life_;
    const std::uint64_t last = lastNumber_;
    const auto isOver = [&]() TIDEWELL_REQUIRES(mutex_) {
      return life != life_ || (!isInFlight(last) && pendingStores_ == 0);
    };
    if (mustNotWait) {
      if (isInFlight(last)) end = End::wouldDeadlock;
    } else if (!lock.waitUntil(changed_.native(), until, isOver)) {
      end = End::timedOut;
    }
  }
  return {status(), end};
}

SyncObservation SyncTracker::observe(std::function<void(const SyncStatus&)> observer) {
  if (!observer) return {};
  auto made = std::make_shared<SyncObserver>(SyncObserver{std::move(observer)});
  const base::MutexLock lock(mutex_);
  observers_.push_back(made);
  return SyncObservation(std::move(made));
}

void SyncTracker::stop(const std::shared_ptr<SyncObserver>& observer) noexcept {
  const base::MutexLock lock(mutex_);
  std::erase(observers_, observer);  // the token destroys the function after unlocking
}

void SyncTracker::announce() noexcept {
  {
    const base::MutexLock lock(mutex_);
    if (observers_.empty()) return;
  }
  try {
    Platform::current().mainQueue().async([] { shared().deliver(); });
  } catch (...) {  // out of memory, or a host's own platform raised: delivered with the next change
  }
}

/// Calls the observers with the status that is current by then, once for all changes up to now.
void SyncTracker::deliver() {
  std::uint64_t version = 0;
  std::vector<std::shared_ptr<SyncObserver>> observers;
  {
    const base::MutexLock lock(mutex_);
    if (delivered_ == version_) return;
    observers = observers_;
    version = delivered_ = version_;
  }
  const SyncStatus status = this->status();
  for (const std::shared_ptr<SyncObserver>& each : observers) {
    if (!isNext(each, version)) continue;
    platform::runReportingExceptions([&] { each->function(status); });
  }
}

/// Also false if an observer has run the main queue, so that a later change was delivered meanwhile.
bool SyncTracker::isNext(const std::shared_ptr<SyncObserver>& observer, std::uint64_t version) {
  const base::MutexLock lock(mutex_);
  return delivered_ == version &&
         std::find(observers_.begin(), observers_.end(), observer) != observers_.end();
}

}  // namespace tidewell
