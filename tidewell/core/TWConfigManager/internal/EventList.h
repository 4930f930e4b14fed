// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

#include "tidewell/base/Value.h"

namespace tidewell {

/// The exclusive or of the upper and lower half of a 128-bit product.
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

/// A list of event names prepared for membership queries. Immutable; any thread.
///
/// Gives the result of a linear search, with one probe whatever the length: finds a name before the first
/// entry that is not a string; for any other name a search would have reached that entry and raised.
///
/// Uses a hash table of its own: general hash sets with the keyed SipHash take four times as long to fill and
/// to query, and the standard library's, with an allocation per entry, ten times as long to fill.
class EventList {
 public:
  /// A nil list contains no names.
  explicit EventList(base::Value list);

  /// Whether an entry is not a string, or the list is not an array; use `contains` then.
  [[nodiscard]] bool mayRaise() const noexcept { return mayRaise_; }
  /// Whether a list that cannot raise contains the name. Inline, so that a query makes no call.
  [[nodiscard, gnu::always_inline]] bool has(std::string_view name) const noexcept {
    const std::uint64_t hash = hashOf(name);
    for (std::size_t index = hash & mask_;; index = (index + 1) & mask_) {
      const Slot& slot = slots_[index];
      if (slot.name == nullptr) return false;
      if (slot.hash == hash && slot.name->size() == name.size() && hasBytes(slot.name->data(), name))
        return true;
    }
  }
  /// The same for any list. Raises if the list is not an array, or the search reaches an entry that is not a
  /// string.
  [[nodiscard]] bool contains(std::string_view name) const;
  /// In bytes, without the names.
  [[nodiscard]] std::size_t memory() const noexcept { return slots_.capacity() * sizeof(Slot); }

 private:
  struct Slot {
    std::uint64_t hash = 0;
    const std::string* name = nullptr;  // null if free
  };

  [[nodiscard]] std::uint64_t hashOf(std::string_view name) const noexcept {
    const char* text = name.data();
    std::size_t left = name.size();
    std::uint64_t hash = seed_ ^ left;
    std::uint64_t last = 0;
    if (left >= 8) {
      for (; left > 8; left -= 8, text += 8) hash = step(hash, read<std::uint64_t>(text));
      last = read<std::uint64_t>(text + left - 8);  // overlaps the bytes read before
    } else if (left >= 4) {
      last = read<std::uint32_t>(text) | std::uint64_t{read<std::uint32_t>(text + left - 4)} << 32;
    } else {
      for (const char byte : name) last = last << 8 | static_cast<unsigned char>(byte);
    }
    return step(step(hash, last), seed_);  // once more, so that every bit depends on all others
  }
  /// Mixes a word into the hash: multiplies by a factor unknown outside the process and folds the halves of
  /// the product, so that an attacker cannot choose names whose differences cancel out.
  [[nodiscard]] std::uint64_t step(std::uint64_t hash, std::uint64_t word) const noexcept {
    return foldedProduct(hash ^ word, factor_);
  }

  /// Whether the bytes at `text` equal the name.
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
  std::vector<Slot> slots_;  // the size is a power of two; at most three quarters are used
  std::size_t mask_ = 0;
  bool mayRaise_ = false;
  base::Value list_;  // owns the names
};

}  // namespace tidewell
