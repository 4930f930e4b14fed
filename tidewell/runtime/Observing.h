// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <utility>

#include "tidewell/base/Export.h"
#include "tidewell/base/Value.h"
#include "tidewell/runtime/Message.h"
#include "tidewell/runtime/Object.h"

namespace tidewell::runtime {

/// The contents of a change; flags to be combined.
enum ObservingOptions : std::uint32_t {
  kObserveNew = 1,  ///< the change holds the new value
  kObserveOld = 2,  ///< the change holds the old value
};

/// Keys of a change dictionary. nil values are stored as the null object.
inline constexpr std::string_view kChangeKindKey = "kind";  ///< 1: the value was set
inline constexpr std::string_view kChangeNewKey = "new";
inline constexpr std::string_view kChangeOldKey = "old";

/// The message to observers: key path, object, change, context.
inline constinit const Message<void(const std::string&, Object*, const base::Dictionary&, const void*)>
    kObserveValueForKeyPath{"observeValueForKeyPath:ofObject:change:context:"};

/// Sends `kObserveValueForKeyPath` to the observer, which is held weakly, whenever the property changes,
/// until the observer is removed or destroyed. An observer added twice is notified twice. Raises for null and
/// for a key that is not a property of the object.
///
/// Observers are notified on the thread of the change, in the order of registration, with no lock held; they
/// may add and remove observers and change properties. An observer removed during a change is not notified of
/// it; one added during a change is first notified of the next. Exceptions of an observer propagate to the
/// code that changed the property.
TIDEWELL_EXPORT void addObserver(Object* object, const Ref& observer, std::string_view key,
                                 std::uint32_t options, const void* context = nullptr);
/// Removes the observer's most recent registration for that key (and, in the second form, context). Raises if
/// there is none.
TIDEWELL_EXPORT void removeObserver(Object* object, const Object* observer, std::string_view key);
TIDEWELL_EXPORT void removeObserver(Object* object, const Object* observer, std::string_view key,
                                    const void* context);

struct ObservationEntry;

/// A registration of a function. Ends when this object or the observed object is destroyed. A notification in
/// progress on another thread may still be running then.
class TIDEWELL_EXPORT Observation {
 public:
  Observation() noexcept = default;
  Observation(Observation&&) noexcept = default;
  Observation& operator=(Observation&& other) noexcept;
  ~Observation();

 private:
  friend Observation observe(const Ref& object, std::string_view key, std::uint32_t options,
                             std::function<void(const base::Dictionary& change)> function);
  WeakRef object_;
  std::shared_ptr<ObservationEntry> entry_;
};
[[nodiscard]] TIDEWELL_EXPORT Observation
observe(const Ref& object, std::string_view key, std::uint32_t options,
        std::function<void(const base::Dictionary& change)> function);

/// A change in progress; used by `changing`.
class TIDEWELL_EXPORT Change {
 public:
  /// Records the old value.
  Change(Object& object, std::string_view key);
  ~Change();
  Change(const Change&) = delete;
  Change& operator=(const Change&) = delete;
  /// Reads the new value and notifies the observers.
  void finish();

 private:
  struct State;
  std::unique_ptr<State> state_;  ///< null if the property has no observers
};

[[nodiscard]] TIDEWELL_EXPORT bool hasObservers(const Object& object) noexcept;

/// Runs `body`, which changes the property, and notifies the property's observers: for setters of observable
/// properties. Takes one load if the object has neither observers nor associations. If `body` throws, no
/// observer is notified.
template <class Body>
void changing(Object& object, std::string_view key, Body&& body) {
  if (!hasObservers(object)) {
    std::forward<Body>(body)();
    return;
  }
  Change change(object, key);
  std::forward<Body>(body)();
  change.finish();
}

}  // namespace tidewell::runtime
