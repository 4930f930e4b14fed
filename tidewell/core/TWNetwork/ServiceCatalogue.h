// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "tidewell/base/Export.h"

namespace tidewell {

/// The services of the backend. Any other number is an unknown service, without a path.
enum TWService : std::int32_t {
  TWServiceGetConfig = 0,
  TWServiceDeviceAdd = 1,
  TWServiceSendReports = 2,
  TWServiceGetInAppMetaV3 = 3,
  TWServiceGetInAppPayloadV3 = 4,
  TWServiceGetTestInAppPayloadV3 = 5,
  TWServiceSendInAppStats = 6,
  TWServiceInbox = 7,
  TWServiceSendCategories = 8,
  TWServiceOfflineTriggersSync = 9,
  TWServiceUserInSegment = 10,
  TWServiceGeofenceHit = 11,
  TWServiceGetGeofences = 12,
  TWServiceSendLogs = 13,
};

inline constexpr std::string_view kMethod = "method";
inline constexpr std::string_view kPOST = "POST";
inline constexpr std::string_view kGET = "GET";

/// The statuses that count as success: for a reply with a body, and for one without.
inline constexpr std::int64_t kServiceStatusOK = 200;
inline constexpr std::int64_t kServiceStatusNoContent = 204;

/// Which parameters about application, user and device a service receives.
enum class ServiceParameters : std::uint8_t { v2, v2AndV1 };
/// The host of a service.
enum class ServiceDestination : std::uint8_t {
  ofRegion,  ///< the API host of the current region
  ofLogs,    ///< the log service's, in every region
};

/// The fixed properties of one service: a row of `kServiceCatalogue`. Compiled into its users, which never
/// pass one to the library.
struct ServiceEntry {
  TWService service;
  std::string_view path;  ///< further components are appended unchanged
  std::string_view method = kPOST;
  ServiceParameters parameters = ServiceParameters::v2;
  ServiceDestination host = ServiceDestination::ofRegion;
  std::int64_t successStatus = kServiceStatusOK;
};

/// The services in the order of their numbers.
inline constexpr auto kServiceCatalogue = std::to_array<ServiceEntry>({
    {TWServiceGetConfig, "/v3/sdkconfig/ios/"},
    {TWServiceDeviceAdd, "/v2/sdk/device/"},
    {TWServiceSendReports, "/v2/sdk/report/"},
    {TWServiceGetInAppMetaV3, "/v3/campaigns/inapp/live"},
    {TWServiceGetInAppPayloadV3, "/v3/campaigns/inapp/live/"},
    {TWServiceGetTestInAppPayloadV3, "/v3/campaigns/inapp/test/", kGET},
    {TWServiceSendInAppStats, "/v3/campaigns/inapp/live/stats"},
    {TWServiceInbox, "/v1/getInboxMessages"},
    {TWServiceSendCategories, "/v2/categories/add"},
    {TWServiceOfflineTriggersSync, "/v1/sdk-trigger/sync"},
    {TWServiceUserInSegment, "/v1/sdk-trigger/user-in-segment"},
    {TWServiceGeofenceHit, "/v1/geoFenceHit", kPOST, ServiceParameters::v2AndV1},
    {TWServiceGetGeofences, "/v1/geoFences", kPOST, ServiceParameters::v2AndV1},
    {TWServiceSendLogs, "/noformat/logs/", kPOST, ServiceParameters::v2, ServiceDestination::ofLogs,
     kServiceStatusNoContent},
});

/// The row of a service; null for an unknown one.
[[nodiscard]] constexpr const ServiceEntry* serviceEntry(std::int64_t service) noexcept {
  if (service < 0 || service >= static_cast<std::int64_t>(kServiceCatalogue.size())) return nullptr;
  return &kServiceCatalogue[static_cast<std::size_t>(service)];
}

/// The path of a service; a service without a row does not compile.
[[nodiscard]] consteval std::string_view pathOfService(TWService service) {
  return serviceEntry(service)->path;
}

inline constexpr std::string_view kServiceGetConfig = pathOfService(TWServiceGetConfig);
inline constexpr std::string_view kServiceDeviceAdd = pathOfService(TWServiceDeviceAdd);
inline constexpr std::string_view kServiceSendReports = pathOfService(TWServiceSendReports);
inline constexpr std::string_view kServiceGetInAppMetaV3 = pathOfService(TWServiceGetInAppMetaV3);
inline constexpr std::string_view kServiceGetInAppPayloadV3 = pathOfService(TWServiceGetInAppPayloadV3);
inline constexpr std::string_view kServiceGetTestInAppPayloadV3 =
    pathOfService(TWServiceGetTestInAppPayloadV3);
inline constexpr std::string_view kServiceSendInAppStats = pathOfService(TWServiceSendInAppStats);
inline constexpr std::string_view kServiceInbox = pathOfService(TWServiceInbox);
inline constexpr std::string_view kServiceSendCategories = pathOfService(TWServiceSendCategories);
inline constexpr std::string_view kServiceOfflineTriggersSync = pathOfService(TWServiceOfflineTriggersSync);
inline constexpr std::string_view kServiceUserInSegment = pathOfService(TWServiceUserInSegment);
inline constexpr std::string_view kServiceGeofenceHit = pathOfService(TWServiceGeofenceHit);
inline constexpr std::string_view kServiceGetGeofences = pathOfService(TWServiceGetGeofences);
inline constexpr std::string_view kServiceSendLogs = pathOfService(TWServiceSendLogs);

// Every row is at the index given by its number and has a unique path, and a method and status that requests
// and replies support.
static_assert(
    [] {
      for (std::size_t place = 0; place < kServiceCatalogue.size(); ++place) {
        const ServiceEntry& entry = kServiceCatalogue[place];
        if (entry.service != static_cast<std::int64_t>(place)) return false;
        if (!entry.path.starts_with('/')) return false;
        if (entry.method != kPOST && entry.method != kGET) return false;
        if (entry.successStatus != kServiceStatusOK && entry.successStatus != kServiceStatusNoContent)
          return false;
        for (std::size_t before = 0; before < place; ++before) {
          if (kServiceCatalogue[before].path == entry.path) return false;
        }
      }
      return true;
    }(),
    "a row of kServiceCatalogue does not fit");

}  // namespace tidewell
