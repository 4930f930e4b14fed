#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "tidewell/base/StringHash.h"
#include "tidewell/base/Value.h"

// Internal to the core: not installed.
namespace tidewell {

/// A list of event names, ready for the question whether a name is in it. Immutable; any thread.
///
/// The answer is that of a walk from the first entry on, found with one probe whatever the length: a name
/// that stands before the first entry which is no string is in the list; for any other the walk would have
/// met that entry, and raised.
class EventList {
 public:
  /// nil is a list without names.
  explicit EventList(base::Value list);

  /// Raises where the list is no array, or where the walk meets an entry that is no string.
  [[nodiscard]] bool contains(std::string_view name) const {
    if (find(name)) return true;
    if (raises_) [[unlikely]]
      raiseAsTheWalkWould(name);
    return false;
  }

 private:
  struct Slot {
    std::uint64_t hash = 0;
    const std::string* name = nullptr;  // null: free
  };
  [[nodiscard]] bool find(std::string_view name) const {
    const std::uint64_t hash = base::stringHash(name);
    for (std::size_t index = hash & mask_;; index = (index + 1) & mask_) {
      const Slot& slot = slots_[index];
      if (slot.name == nullptr) return false;
      if (slot.hash == hash && *slot.name == name) return true;
    }
  }
  void insert(const std::string& name);
  [[noreturn]] void raiseAsTheWalkWould(std::string_view name) const;

  base::Value list_;         // owns the names
  std::vector<Slot> slots_;  // a power of two of them, at most half in use
  std::size_t mask_ = 0;
  bool raises_ = false;
};

}  // namespace tidewell
