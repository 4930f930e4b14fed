// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <atomic>
#include <cstdint>
#include <utility>

#include "tidewell/base/Export.h"

namespace tidewell::base {

/// The base of records that copies of a value share: a reference count, and the record's type, so that
/// whoever drops the last reference can destroy it. `Value.cpp` creates the records.
struct SharedRecord {
  enum class Content : std::uint32_t { string, data, url, object, array, dictionary };

  explicit SharedRecord(Content held) noexcept : content(held) {}
  SharedRecord(const SharedRecord&) = delete;
  SharedRecord& operator=(const SharedRecord&) = delete;

  std::atomic<std::uint32_t> references{1};
  const Content content;
};

/// A counted reference to a `SharedRecord`, or null.
///
/// Replaces `std::shared_ptr` for two reasons. Copy-on-write needs the reads of a thread that has just
/// released its reference to happen before the writes of the remaining owner; `use_count` does not order
/// them. And deeply nested containers need the destruction of their entries to be deferred.
class SharedPointer {
 public:
  SharedPointer() noexcept = default;
  /// Adopts the one reference that a new record has.
  explicit SharedPointer(SharedRecord* record) noexcept : record_(record) {}
  SharedPointer(const SharedPointer& other) noexcept : record_(other.record_) { retain(); }
  SharedPointer(SharedPointer&& other) noexcept : record_(std::exchange(other.record_, nullptr)) {}
  SharedPointer& operator=(SharedPointer other) noexcept {
    std::swap(record_, other.record_);
    return *this;
  }
  ~SharedPointer() {
    // Releases this owner's accesses; the last owner acquires those of all others.
    if (record_ && record_->references.fetch_sub(1, std::memory_order_acq_rel) == 1) destroy(record_);
  }

  /// Counts a reference for a bytewise copy of this one.
  void retain() const noexcept {
    // Relaxed: the caller holds a reference already.
    if (record_) record_->references.fetch_add(1, std::memory_order_relaxed);
  }
  [[nodiscard]] SharedRecord* get() const noexcept { return record_; }
  /// Whether this is the only reference, so that the record may be written in place.
  [[nodiscard]] bool isUnique() const noexcept {
    // Pairs with the decrement: the accesses of former owners happened before.
    return record_ && record_->references.load(std::memory_order_acquire) == 1;
  }

 private:
  TIDEWELL_EXPORT static void destroy(SharedRecord* record) noexcept;

  SharedRecord* record_ = nullptr;
};

}  // namespace tidewell::base
