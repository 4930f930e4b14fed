// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

/// Names used inside a keyed archive.
namespace tidewell::base::detail::archive {

inline constexpr std::string_view kVersion = "$version";
inline constexpr std::int64_t kVersionNumber = 100000;
inline constexpr std::string_view kArchiver = "$archiver";
inline constexpr std::string_view kArchiverName = "NSKeyedArchiver";
inline constexpr std::string_view kTop = "$top";
inline constexpr std::string_view kRoot = "root";
inline constexpr std::string_view kObjects = "$objects";
inline constexpr std::string_view kNullObject = "$null";
inline constexpr std::string_view kClass = "$class";
inline constexpr std::string_view kClassName = "$classname";
inline constexpr std::string_view kClasses = "$classes";
/// Keys of the platform's own classes.
inline constexpr std::string_view kKeys = "NS.keys";
inline constexpr std::string_view kEntries = "NS.objects";
inline constexpr std::string_view kTime = "NS.time";
inline constexpr std::string_view kText = "NS.string";
inline constexpr std::string_view kBytes = "NS.data";

/// The stored form of a record's key: "$" is reserved for the archive, so a key that begins with "$" gets
/// another one.
inline std::string escapedKey(std::string_view key) {
  std::string escaped;
  if (key.starts_with('$')) escaped += '$';
  escaped += key;
  return escaped;
}

}  // namespace tidewell::base::detail::archive
