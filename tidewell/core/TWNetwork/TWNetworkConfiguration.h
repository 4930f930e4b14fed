#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "tidewell/base/Export.h"
#include "tidewell/base/Value.h"
#include "tidewell/core/TWNetwork/TWNetworkConstants.h"
#include "tidewell/platform/UrlSession.h"

namespace tidewell {

/// Where each service is sent, and the one URL session on which all requests of the SDK run.
///
/// One instance a process, made on first use and never destroyed; any thread. The default host, scheme and
/// port can be read and changed, but no request uses them: those come from the constants and the region.
class TIDEWELL_EXPORT TWNetworkConfiguration final {
 public:
  [[nodiscard]] static TWNetworkConfiguration& defaultConfiguration();
  TWNetworkConfiguration();
  ~TWNetworkConfiguration();
  TWNetworkConfiguration(const TWNetworkConfiguration&) = delete;
  TWNetworkConfiguration& operator=(const TWNetworkConfiguration&) = delete;

  [[nodiscard]] std::string scheme() const;
  [[nodiscard]] std::string host() const;
  /// nil after `updateDefaultPort` with a number below 1.
  [[nodiscard]] std::optional<std::int64_t> port() const;
  /// nil is ignored.
  void updateDefaultHost(std::optional<std::string_view> host);
  void updateDefaultScheme(std::optional<std::string_view> scheme);
  void updateDefaultPort(std::int64_t port);

  /// The host of the region in force at this moment; the log service has a host of its own in every region.
  [[nodiscard]] std::string hostForService(TWService service) const;
  [[nodiscard]] std::string schemeForService(TWService service) const;
  [[nodiscard]] std::optional<std::int64_t> portForService(TWService service) const;

  /// Builds the session: cache off, 10 s of silence, 60 s in all.
  void setTWURLSession();
  /// The session of the platform in force.
  [[nodiscard]] std::shared_ptr<platform::UrlSession> getTWURLSession();
  [[nodiscard]] std::shared_ptr<platform::UrlSession> tdwNetworkSession() { return getTWURLSession(); }

  /// nil where the parameters cannot be built.
  [[nodiscard]] static std::optional<base::Dictionary> getQueryParamsBodyDictForService(TWService service);

 private:
  /// Null where the platform was installed after the session was made.
  [[nodiscard]] std::shared_ptr<platform::UrlSession> sessionOfCurrentPlatform() const;
  struct State;
  std::unique_ptr<State> state_;
};

}  // namespace tidewell
