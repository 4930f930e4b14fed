#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

#include "tidewell/base/Value.h"

namespace tidewell {

/// The upper and the lower half of a product of 128 bits, exclusive-ored.
#if defined(__SIZEOF_INT128__)
inline std::uint64_t foldedProduct(std::uint64_t a, std::uint64_t b) {
  __extension__ using Wide = unsigned __int128;
  const Wide product = static_cast<Wide>(a) * b;
  return static_cast<std::uint64_t>(product >> 64) ^ static_cast<std::uint64_t>(product);
}
#else
inline std::uint64_t foldedProduct(std::uint64_t a, std::uint64_t b) {
  const std::uint64_t lowA = a & 0xFFFFFFFF, highA = a >> 32, lowB = b & 0xFFFFFFFF, highB = b >> 32;
  const std::uint64_t middle = highA * lowB + (lowA * lowB >> 32);
  const std::uint64_t other = lowA * highB + (middle & 0xFFFFFFFF);
  return (highA * highB + (middle >> 32) + (other >> 32)) ^ (a * b);
}
#endif

/// A list of event names, ready for the question whether a name is in it. Immutable; any thread.
///
/// The answer is that of a walk from the first entry on, found with one probe whatever the length: a name
/// that stands before the first entry which is no string is in the list; for any other the walk would have
/// met that entry, and raised.
///
/// A table of its own, because one with an allocation an entry (the standard library's) takes longer to fill
/// from a long list than reading the reply took.
class EventList {
 public:
  /// nil is a list without names.
  explicit EventList(base::Value list);

  /// Whether an entry is no string, or the list no array: then ask `contains`.
  [[nodiscard]] bool mayRaise() const noexcept { return mayRaise_; }
  /// Whether the name is in the list, of one that cannot raise. In line, so that a question makes no call.
  [[nodiscard, gnu::always_inline]] bool has(std::string_view name) const noexcept {
    const std::uint64_t hash = hashOf(name);
    for (std::size_t index = hash & mask_;; index = (index + 1) & mask_) {
      const Slot& slot = slots_[index];
      if (slot.name == nullptr) return false;
      if (slot.hash == hash && slot.name->size() == name.size() && hasBytes(slot.name->data(), name))
        return true;
    }
  }
  /// The same for any list. Raises where the list is no array, or where the walk meets an entry that is no
  /// string.
  [[nodiscard]] bool contains(std::string_view name) const;

 private:
  struct Slot {
    std::uint64_t hash = 0;
    const std::string* name = nullptr;  // null: free
  };

  [[nodiscard]] std::uint64_t hashOf(std::string_view name) const noexcept {
    const char* text = name.data();
    std::size_t left = name.size();
    std::uint64_t hash = seed_ ^ left;
    std::uint64_t last = 0;
    if (left >= 8) {
      for (; left > 8; left -= 8, text += 8) hash = step(hash, read<std::uint64_t>(text));
      last = read<std::uint64_t>(text + left - 8);  // overlaps what was read before
    } else if (left >= 4) {
      last = read<std::uint32_t>(text) | std::uint64_t{read<std::uint32_t>(text + left - 4)} << 32;
    } else {
      for (const char byte : name) last = last << 8 | static_cast<unsigned char>(byte);
    }
    return step(step(hash, last), seed_);  // once more, so that every bit depends on all others
  }
  /// Takes a word into the hash: multiplies by a factor that nobody outside the process knows, and folds the
  /// halves of the product together, so that nobody can choose names whose differences cancel out.
  [[nodiscard]] std::uint64_t step(std::uint64_t hash, std::uint64_t word) const noexcept {
    return foldedProduct(hash ^ word, factor_);
  }

  /// Whether the bytes at `text` are those of the name.
  static bool hasBytes(const char* text, std::string_view name) noexcept {
    const std::size_t size = name.size();
    if (size < 8) {
      for (std::size_t index = 0; index < size; ++index) {
        if (text[index] != name[index]) return false;
      }
      return true;
    }
    for (std::size_t index = 0; index + 8 < size; index += 8) {
      if (read<std::uint64_t>(text + index) != read<std::uint64_t>(name.data() + index)) return false;
    }
    return read<std::uint64_t>(text + size - 8) == read<std::uint64_t>(name.data() + size - 8);
  }
  template <class Word>
  static Word read(const char* text) noexcept {
    Word word;
    std::memcpy(&word, text, sizeof word);
    return word;
  }

  void insert(const std::string& name);

  std::uint64_t seed_;
  std::uint64_t factor_;
  std::vector<Slot> slots_;  // a power of two of them, at most three quarters in use
  std::size_t mask_ = 0;
  bool mayRaise_ = false;
  base::Value list_;  // owns the names
};

}  // namespace tidewell
