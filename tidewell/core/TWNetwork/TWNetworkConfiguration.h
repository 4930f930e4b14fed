// SPDX-License-Identifier: Apache-2.0
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

/// The host of each service, and the URL session on which all requests of the SDK run.
///
/// One instance per process, created on first use and never destroyed; any thread. The default host, scheme
/// and port can be read and changed, but requests do not use them: theirs come from the constants and the
/// region.
class TIDEWELL_EXPORT TWNetworkConfiguration final {
 public:
  [[nodiscard]] static TWNetworkConfiguration& defaultConfiguration();
  TWNetworkConfiguration();
  ~TWNetworkConfiguration();
  TWNetworkConfiguration(const TWNetworkConfiguration&) = delete;
  TWNetworkConfiguration& operator=(const TWNetworkConfiguration&) = delete;

  [[nodiscard]] std::string scheme() const;
  [[nodiscard]] std::string host() const;
  /// No value after `updateDefaultPort` with a number below 1.
  [[nodiscard]] std::optional<std::int64_t> port() const;
  /// The first two ignore a missing text.
  void updateDefaultHost(std::optional<std::string_view> host);
  void updateDefaultScheme(std::optional<std::string_view> scheme);
  void updateDefaultPort(std::int64_t port);

  /// The API host of the current region; the log service has its own host in every region. A host that was
  /// chosen at installation replaces the built-in one, with its port.
  [[nodiscard]] std::string hostForService(TWService service) const;
  [[nodiscard]] std::string schemeForService(TWService service) const;
  [[nodiscard]] std::optional<std::int64_t> portForService(TWService service) const;

  /// Creates the session: no cache, a limit of 10 s without progress and of 60 s in total.
  void setTWURLSession();
  /// The session of the current platform.
  [[nodiscard]] std::shared_ptr<platform::UrlSession> getTWURLSession();
  [[nodiscard]] std::shared_ptr<platform::UrlSession> tdwNetworkSession() { return getTWURLSession(); }

  /// No value if the parameters cannot be built.
  [[nodiscard]] static std::optional<base::Dictionary> getQueryParamsBodyDictForService(TWService service);

 private:
  /// Null if the platform was installed after the session was created.
  [[nodiscard]] std::shared_ptr<platform::UrlSession> sessionOfCurrentPlatform() const;
  struct State;
  std::unique_ptr<State> state_;
};

}  // namespace tidewell
