// SPDX-License-Identifier: Apache-2.0
#include "tidewell/core/TWNetwork/TWNetworkConfiguration.h"

#include <array>

#include "tidewell/base/internal/Fork.h"
#include "tidewell/base/internal/NeverDestroyed.h"
#include "tidewell/core/TWConfigManager/TWConfigManager.h"
#include "tidewell/core/TWNetwork/Utils/TWNetworkUtils.h"
#include "tidewell/core/TWNetwork/internal/ServiceEndpoint.h"
#include "tidewell/platform/Platform.h"

namespace tidewell {
namespace {

constexpr double kLongestSilenceSeconds = 10.0;
constexpr double kLongestTransferSeconds = 60.0;

platform::UrlSessionConfiguration sessionConfiguration() {
  platform::UrlSessionConfiguration configuration;
  configuration.name = "tidewell";
  configuration.requestCachePolicy = platform::UrlRequestCachePolicy::reloadIgnoringLocalCacheData;
  configuration.timeoutIntervalForRequest = kLongestSilenceSeconds;
  configuration.timeoutIntervalForResource = kLongestTransferSeconds;
  configuration.headersBoundToHost = {std::string(kAPIHeadersAppID)};
  configuration.httpsOnly = true;
  return configuration;
}

/// In the order of `platform::ServiceHost`.
constexpr std::array<std::string_view, platform::kServiceHostCount> kBuiltInHosts{
    HOST_TDW_PROD_US, HOST_TDW_PROD_SERV3, HOST_TDW_PROD_EU, HOST_LOGENTRIES};

platform::ServiceHost builtInHost(TWService service) {
  const ServiceEntry* const entry = serviceEntry(service);
  if (entry != nullptr && entry->host == ServiceDestination::ofLogs) return platform::ServiceHost::logs;
  switch (TWConfigManager::sharedInstance().getDataRedirectionRegion()) {
    case TWDataRegionEurope:
      return platform::ServiceHost::eu;
    case TWDataRegionServ3:
      return platform::ServiceHost::serv3;
    default:
      return platform::ServiceHost::us;
  }
}

}  // namespace

struct TWNetworkConfiguration::State {
  mutable base::StateMutex mutex{10};
  std::string scheme TIDEWELL_GUARDED_BY(mutex){REQ_SCHEME_TDW_PROD};
  std::string host TIDEWELL_GUARDED_BY(mutex){HOST_TDW_PROD_US};
  std::optional<std::int64_t> port TIDEWELL_GUARDED_BY(mutex) = REQ_PORT_TDW_PROD;
  std::shared_ptr<platform::UrlSession> session TIDEWELL_GUARDED_BY(mutex);
  /// The platform that created the session.
  const platform::Platform* platform TIDEWELL_GUARDED_BY(mutex) = nullptr;
};

TWNetworkConfiguration& TWNetworkConfiguration::defaultConfiguration() {
  static constinit std::atomic<TWNetworkConfiguration*> configuration{nullptr};
  return base::madeOnce(configuration);
}

TWNetworkConfiguration::TWNetworkConfiguration() : state_(std::make_unique<State>()) { setTWURLSession(); }

TWNetworkConfiguration::~TWNetworkConfiguration() = default;

std::string TWNetworkConfiguration::scheme() const {
  const base::MutexLock lock(state_->mutex);
  return state_->scheme;
}

std::string TWNetworkConfiguration::host() const {
  const base::MutexLock lock(state_->mutex);
  return state_->host;
}

std::optional<std::int64_t> TWNetworkConfiguration::port() const {
  const base::MutexLock lock(state_->mutex);
  return state_->port;
}

void TWNetworkConfiguration::updateDefaultHost(std::optional<std::string_view> host) {
  if (!host) return;
  const base::MutexLock lock(state_->mutex);
  state_->host = *host;
}

void TWNetworkConfiguration::updateDefaultScheme(std::optional<std::string_view> scheme) {
  if (!scheme) return;
  const base::MutexLock lock(state_->mutex);
  state_->scheme = *scheme;
}

void TWNetworkConfiguration::updateDefaultPort(std::int64_t port) {
  const base::MutexLock lock(state_->mutex);
  state_->port = port < 1 ? std::nullopt : std::optional(port);
}

ServiceEndpoint endpointOfService(TWService service) {
  const platform::ServiceHost which = builtInHost(service);
  const platform::Policy& policy = platform::Platform::current().policy();
  const std::string& chosen = policy.serviceHost(which);
  return {chosen.empty() ? std::string(kBuiltInHosts[static_cast<std::size_t>(which)]) : chosen,
          policy.servicePort(which).value_or(REQ_PORT_TDW_PROD)};
}

std::string TWNetworkConfiguration::hostForService(TWService service) const {
  return endpointOfService(service).host;
}

std::string TWNetworkConfiguration::schemeForService(TWService) const {
  return std::string(REQ_SCHEME_TDW_PROD);
}

std::optional<std::int64_t> TWNetworkConfiguration::portForService(TWService service) const {
  return endpointOfService(service).port;
}

void TWNetworkConfiguration::setTWURLSession() {
  platform::Platform& current = platform::Platform::current();
  std::shared_ptr<platform::UrlSession> session = current.makeUrlSession(sessionConfiguration());
  const base::MutexLock lock(state_->mutex);
  state_->session.swap(session);
  state_->platform = &current;
}

std::shared_ptr<platform::UrlSession> TWNetworkConfiguration::getTWURLSession() {
  if (auto session = sessionOfCurrentPlatform()) return session;
  // Created again if the host installed its platform after the first use of the SDK: the earlier session
  // would fail every request forever.
  setTWURLSession();
  const base::MutexLock lock(state_->mutex);
  return state_->session;
}

std::shared_ptr<platform::UrlSession> TWNetworkConfiguration::sessionOfCurrentPlatform() const {
  const platform::Platform* const current = &platform::Platform::current();
  const base::MutexLock lock(state_->mutex);
  return state_->platform == current ? state_->session : nullptr;
}

std::optional<base::Dictionary> TWNetworkConfiguration::getQueryParamsBodyDictForService(TWService service) {
  return TWNetworkUtils::getQueryParamsBodyDictForService(service);
}

}  // namespace tidewell
