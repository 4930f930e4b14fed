// SPDX-License-Identifier: Apache-2.0
#include "tidewell/core/TWConfigManager/SyncStatus.h"

#include <string>
#include <system_error>
#include <utility>

#include "tidewell/core/TWConfigManager/internal/SyncRecord.h"

namespace tidewell {

SyncStatus::SyncStatus() noexcept = default;
SyncStatus::SyncStatus(std::shared_ptr<const SyncRecord> record, SyncOutcome outcome) noexcept
    : record_(std::move(record)), outcome_(outcome) {}
SyncStatus::SyncStatus(const SyncStatus&) noexcept = default;
SyncStatus::SyncStatus(SyncStatus&& other) noexcept
    : record_(std::move(other.record_)), outcome_(std::exchange(other.outcome_, SyncOutcome::neverTried)) {}
SyncStatus& SyncStatus::operator=(const SyncStatus&) noexcept = default;
SyncStatus& SyncStatus::operator=(SyncStatus&& other) noexcept {
  record_.swap(other.record_);
  std::swap(outcome_, other.outcome_);
  return *this;
}
SyncStatus::~SyncStatus() = default;

SyncOutcome SyncStatus::lastResult() const noexcept {
  return record_ ? record_->result.outcome : SyncOutcome::neverTried;
}
std::string_view SyncStatus::detail() const noexcept {
  return record_ ? std::string_view(record_->result.detail) : std::string_view();
}
std::optional<base::Date> SyncStatus::lastAttempt() const noexcept {
  return record_ ? record_->lastAttempt : std::nullopt;
}
std::optional<base::Date> SyncStatus::lastSuccess() const noexcept {
  return record_ ? record_->lastSuccess : std::nullopt;
}
std::optional<base::Date> SyncStatus::nextDue() const noexcept {
  return record_ ? record_->nextDue : std::nullopt;
}
std::optional<base::Error> SyncStatus::error() const {
  return record_ ? record_->result.error : std::nullopt;
}
int SyncStatus::httpStatus() const noexcept { return record_ ? record_->result.httpStatus : 0; }

SyncWait::SyncWait(SyncStatus status, End end) noexcept : status_(std::move(status)), end_(end) {}

std::optional<base::Error> SyncWait::error() const {
  if (end_ != End::wouldDeadlock) return std::nullopt;
  return base::Error{std::string(base::kPosixErrorDomain),
                     static_cast<int>(std::errc::resource_deadlock_would_occur),
                     "the sync needs the calling thread to end: call waitForSync on a thread that runs no "
                     "queue, or use observeSync"};
}

}  // namespace tidewell
