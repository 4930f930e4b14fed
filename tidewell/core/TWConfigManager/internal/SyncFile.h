// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "tidewell/core/TWConfigManager/internal/SyncRecord.h"

namespace tidewell {

/// The file beside the configuration archive that keeps the last attempt across launches.
///
/// A binary property list: a dictionary with the version of its layout under "version", the last attempt
/// under "last", and the last results under "history". Replaced whole without a lock: if two processes write
/// it, the last one wins.
namespace sync_file {

inline constexpr std::string_view kFileName = "TdwSync";
inline constexpr std::int64_t kVersion = 1;
/// A larger file is not decoded: this library writes less than 16 KiB.
inline constexpr std::size_t kMaximumBytes = 64u << 10;

/// The path of the file in the SDK's directory (created if missing); no value if there is none.
[[nodiscard]] std::optional<std::string> path();

/// Whether an attempt in a file had a result when the file was written.
enum class Attempt { ended, inFlight };

/// The bytes of a file. Raises if the record has a text that is not UTF-8.
[[nodiscard]] std::string encode(const SyncRecord& record, Attempt attempt);
/// The record in a file. An attempt without a result counts as failed. No value for bytes that `encode` does
/// not write. Never raises, except `std::bad_alloc`.
[[nodiscard]] std::optional<SyncRecord> decode(std::string_view bytes);

}  // namespace sync_file
}  // namespace tidewell
