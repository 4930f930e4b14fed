// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "tidewell/base/Export.h"
#include "tidewell/base/Value.h"

namespace tidewell::platform {

/// Result codes of keychain operations, with the platform's values.
inline constexpr std::int32_t errSecSuccess = 0;
inline constexpr std::int32_t errSecIO = -36;
inline constexpr std::int32_t errSecParam = -50;
inline constexpr std::int32_t errSecNotAvailable = -25291;
inline constexpr std::int32_t errSecDuplicateItem = -25299;
inline constexpr std::int32_t errSecItemNotFound = -25300;
inline constexpr std::int32_t errSecInteractionNotAllowed = -25308;

/// Names and values of item attributes, as used in queries.
inline constexpr std::string_view kSecClass = "class";
inline constexpr std::string_view kSecClassGenericPassword = "genp";
inline constexpr std::string_view kSecAttrService = "svce";
inline constexpr std::string_view kSecAttrAccount = "acct";
inline constexpr std::string_view kSecAttrAccessible = "pdmn";
inline constexpr std::string_view kSecAttrAccessibleAfterFirstUnlock = "ck";
inline constexpr std::string_view kSecValueData = "v_Data";
inline constexpr std::string_view kSecReturnData = "r_Data";
inline constexpr std::string_view kSecMatchLimit = "m_Limit";
inline constexpr std::string_view kSecMatchLimitOne = "m_LimitOne";

/// A store for small secrets that outlives the application's own files. An item is identified by service and
/// account.
///
/// Any thread; never raises; operations return one of the codes above. Implementations must not call foreign
/// code with a lock held.
class TIDEWELL_EXPORT Keychain {
 public:
  virtual ~Keychain();
  /// Adds the item with these attributes, including `kSecValueData`; `errSecDuplicateItem` if it exists.
  virtual std::int32_t itemAdd(const base::Dictionary& attributes) = 0;
  /// Copies the data of the first item that matches the query to `result`.
  virtual std::int32_t itemCopyMatching(const base::Dictionary& query, base::Data& result) = 0;
  /// Deletes every item that matches the query.
  virtual std::int32_t itemDelete(const base::Dictionary& query) = 0;
};

}  // namespace tidewell::platform
