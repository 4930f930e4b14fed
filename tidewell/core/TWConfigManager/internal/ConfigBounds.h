#pragma once

#include <cstddef>

#include "tidewell/base/formats/KeyedArchive.h"
#include "tidewell/core/TWConfigManager/internal/ConfigField.h"

namespace tidewell {

/// How much of a configuration is taken from a reply and written to the archive. A start reads the archive on
/// the host's thread, and a merge writes it on the main queue, so a record has to be small: within these
/// bounds a start takes well under 200 ms and 64 MB.
struct PropertyBounds {
  /// Every value counts one, every array and dictionary two more, every key of a dictionary one.
  std::size_t elements;
  /// Of all texts and keys together.
  std::size_t bytes;
};
/// A merge may hold the main queue for 50 ms of processor time, which `make cost` checks with lists that are
/// all at their bounds. Time goes with the elements more than with the bytes.
inline constexpr PropertyBounds kListBounds{2'048, 64u << 10};
inline constexpr PropertyBounds kRestrictedListBounds{10'240, 512u << 10};
/// Statuses, the token, the region: texts, as a rule.
inline constexpr PropertyBounds kSingleValueBounds{256, 16u << 10};
/// What an archive needs whose properties are all at their bounds. (An archived element takes at most three
/// objects, and a text twice its bytes.)
inline constexpr base::ArchiveBounds kConfigArchiveBounds{8u << 20, 180'000};

[[nodiscard]] PropertyBounds boundsOf(TWConfigProperty property);

/// The properties among `properties` whose values are too large or too deep, or no archive can carry.
[[nodiscard]] PropertySet propertiesOutOfBounds(const TWConfigFields& fields, PropertySet properties);

}  // namespace tidewell
