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

/// What a change tells an observer: bits to be combined.
enum ObservingOptions : std::uint32_t {
  kObserveNew = 1,  ///< the change holds the new value
  kObserveOld = 2,  ///< the change holds the old value
};

/// Keys of a change. nil appears as the null object.
inline constexpr std::string_view kChangeKindKey = "kind";  ///< 1: the value was set
inline constexpr std::string_view kChangeNewKey = "new";
inline constexpr std::string_view kChangeOldKey = "old";

/// What observers are sent: key path, object, change, context.
inline constinit const Message<void(const std::string&, Object*, const base::Dictionary&, const void*)>
    kObserveValueForKeyPath{"observeValueForKeyPath:ofObject:change:context:"};

/// Sends `kObserveValueForKeyPath` to the observer whenever the property changes, until it is removed or
/// dies; it is not kept alive. An observer that is added twice is told twice. Raises for a key that is no
/// property of the object, and for nil.
///
/// Observers are told on the thread of the change, in the order in which they were added, with no lock held;
/// they may add, remove and change. One that is removed meanwhile is not told any more, one that is added
/// hears of the next change. What an observer raises passes to whoever changed the property.
TIDEWELL_EXPORT void addObserver(Object* object, const Ref& observer, std::string_view key,
                                 std::uint32_t options, const void* context = nullptr);
/// Takes the observer's last registration of that key (and context, in the second form) away. Raises where it
/// has none.
TIDEWELL_EXPORT void removeObserver(Object* object, const Object* observer, std::string_view key);
TIDEWELL_EXPORT void removeObserver(Object* object, const Object* observer, std::string_view key,
                                    const void* context);

struct ObservationEntry;

/// An observation by function; destroying it ends it, and so does the death of the observed object. A
/// notification that is under way on another thread may still be running then.
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

/// One change of a property, for `changing`.
class TIDEWELL_EXPORT Change {
 public:
  /// Reads the old value.
  Change(Object& object, std::string_view key);
  ~Change();
  Change(const Change&) = delete;
  Change& operator=(const Change&) = delete;
  /// Reads the new value and tells the observers.
  void finish();

 private:
  struct State;
  std::unique_ptr<State> state_;  ///< null where nobody observes
};

[[nodiscard]] TIDEWELL_EXPORT bool hasObservers(const Object& object) noexcept;

/// Runs `body`, which changes the property, and tells the property's observers: what a setter that its author
/// wants observed does with its one assignment. Costs a load where the object has no observer. Where `body`
/// raises nobody is told.
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
