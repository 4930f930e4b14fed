// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "tidewell/base/Error.h"
#include "tidewell/base/Export.h"

namespace tidewell::platform {

class Platform;

/// A built-in host that the installation may replace.
enum class ServiceHost : std::uint8_t {
  us,     ///< `HOST_TDW_PROD_US`
  serv3,  ///< `HOST_TDW_PROD_SERV3`
  eu,     ///< `HOST_TDW_PROD_EU`
  logs,   ///< `HOST_LOGENTRIES`
};
inline constexpr std::size_t kServiceHostCount = 4;

/// Settings chosen at installation: network access, service hosts and log level. The default restricts
/// nothing.
///
/// A value; copies are independent. The fields are not part of the class, so that a later version can add
/// some. One thread at a time; constant once its platform is installed.
class TIDEWELL_EXPORT Policy {
 public:
  Policy();
  ~Policy();
  Policy(const Policy& other);
  Policy& operator=(const Policy& other);

  /// Whether every request fails at once.
  [[nodiscard]] bool isOffline() const noexcept;
  Policy& setOffline(bool isOffline);
  /// Whether every request fails at once until consent is given (`setConsent`).
  [[nodiscard]] bool requiresConsent() const noexcept;
  Policy& setRequiresConsent(bool isRequired);
  /// The log level (`TWLogLevel`) that takes precedence over every switch of the logger; no value for none.
  [[nodiscard]] std::optional<std::int64_t> logLevel() const noexcept;
  Policy& setLogLevel(std::optional<std::int64_t> level);

  /// The host that replaces a built-in one; "" for none.
  [[nodiscard]] const std::string& serviceHost(ServiceHost which) const noexcept;
  /// The port of that host; no value if none was given.
  [[nodiscard]] std::optional<std::int64_t> servicePort(ServiceHost which) const noexcept;
  /// Takes a host name or an IPv4 address with an optional port ("staging.example.com", "localhost:8443").
  /// Returns false, without a change, for anything else.
  [[nodiscard]] bool setServiceHost(ServiceHost which, std::string_view host);

 private:
  struct State;
  std::unique_ptr<State> state_;
};

/// Whether the SDK may use the network now. Sessions of a platform ask before each task, and pages before
/// they are shown.
enum class NetworkAccess : std::uint8_t { allowed, offline, needsConsent };
[[nodiscard]] TIDEWELL_EXPORT NetworkAccess networkAccess(Platform& platform);
/// The error of a task that was refused.
[[nodiscard]] TIDEWELL_EXPORT base::Error refusalError(NetworkAccess access);

/// The user's consent, kept in the platform's user defaults under "Tdw_Network_Consent". Any thread.
[[nodiscard]] TIDEWELL_EXPORT bool hasConsent(Platform& platform);
/// Returns after writing the consent to disk, or reports why it could not.
TIDEWELL_EXPORT void setConsent(Platform& platform, bool isGiven);

}  // namespace tidewell::platform
