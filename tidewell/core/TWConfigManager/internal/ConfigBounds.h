// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>

#include "tidewell/base/formats/KeyedArchive.h"
#include "tidewell/core/TWConfigManager/internal/ConfigField.h"

namespace tidewell {

/// A larger reply is not decoded. One with every list at its limit is smaller, and decoding takes up to
/// thirty times the size of the text.
inline constexpr std::size_t kMaximumConfigurationBytes = 3u << 20;

/// Limits on the values taken from a reply and written to the archive. A start reads the archive on the
/// host's thread, and a merge writes it on the main queue, so a record must be small: within these limits a
/// start takes well under 200 ms and 64 MB.
struct PropertyBounds {
  /// Every value counts as one, every array and dictionary as two more, and every key of a dictionary as one.
  std::size_t elements;
  /// Of all texts and keys together.
  std::size_t bytes;
};
/// A merge may occupy the main queue for 50 ms of processor time; `make cost` checks this with all lists at
/// their limits. The time depends more on elements than on bytes.
inline constexpr PropertyBounds kListBounds{2'048, 64u << 10};
inline constexpr PropertyBounds kRestrictedListBounds{10'240, 512u << 10};
/// Statuses, the token and the region, which normally are short texts.
inline constexpr PropertyBounds kSingleValueBounds{256, 16u << 10};
/// Fits an archive with all properties at their limits. (An archived element takes at most three objects, and
/// a text twice its size.)
inline constexpr base::ArchiveBounds kConfigArchiveBounds{8u << 20, 180'000};

[[nodiscard]] PropertyBounds boundsOf(TWConfigProperty property);

/// Those of the given properties whose values are too large, too deeply nested, or cannot be archived.
[[nodiscard]] PropertySet propertiesOutOfBounds(const TWConfigFields& fields, PropertySet properties);

}  // namespace tidewell
