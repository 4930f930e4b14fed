#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "tidewell/base/Export.h"
#include "tidewell/base/Value.h"

namespace tidewell::platform {

/// Results of the keychain operations, with the platform's numbers.
inline constexpr std::int32_t errSecSuccess = 0;
inline constexpr std::int32_t errSecIO = -36;
inline constexpr std::int32_t errSecParam = -50;
inline constexpr std::int32_t errSecNotAvailable = -25291;
inline constexpr std::int32_t errSecDuplicateItem = -25299;
inline constexpr std::int32_t errSecItemNotFound = -25300;
inline constexpr std::int32_t errSecInteractionNotAllowed = -25308;

/// Names and values of the attributes of an item, as they stand in a query.
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

/// A store of small secrets that outlives the application's own files. Items are known by service and
/// account.
///
/// Any thread; never raises; answers one of the results above. An implementation holds no lock over foreign
/// code.
class TIDEWELL_EXPORT Keychain {
 public:
  virtual ~Keychain();
  /// Adds the item that the attributes describe, `kSecValueData` included; `errSecDuplicateItem` where there
  /// is one.
  virtual std::int32_t itemAdd(const base::Dictionary& attributes) = 0;
  /// The data of the first item that matches the query.
  virtual std::int32_t itemCopyMatching(const base::Dictionary& query, base::Data& result) = 0;
  /// Deletes every item that matches the query.
  virtual std::int32_t itemDelete(const base::Dictionary& query) = 0;
};

}  // namespace tidewell::platform
