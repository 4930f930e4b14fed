// SPDX-License-Identifier: Apache-2.0
#include "tidewell/platform/Policy.h"

#include <algorithm>
#include <array>
#include <charconv>

#include "tidewell/base/internal/Ascii.h"
#include "tidewell/platform/Platform.h"
#include "tidewell/platform/UrlSession.h"

namespace tidewell::platform {
namespace {

constexpr std::string_view kConsentKey = "Tdw_Network_Consent";
constexpr std::size_t kMaximumHostLength = 253;
constexpr std::size_t kMaximumLabelLength = 63;

bool isHostLabel(std::string_view label) {
  return !label.empty() && label.size() <= kMaximumLabelLength && label.front() != '-' &&
         label.back() != '-' && std::all_of(label.begin(), label.end(), [](char each) {
           return base::detail::isAsciiLetter(each) || base::detail::isAsciiDigit(each) || each == '-';
         });
}

bool isHostName(std::string_view name) {
  if (name.size() > kMaximumHostLength) return false;
  for (;;) {
    const auto dot = name.find('.');
    if (!isHostLabel(name.substr(0, dot))) return false;
    if (dot == std::string_view::npos) return true;
    name.remove_prefix(dot + 1);
  }
}

std::optional<std::int64_t> portNumber(std::string_view digits) {
  std::uint16_t port = 0;
  const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), port);
  if (error != std::errc() || end != digits.data() + digits.size() || port == 0) return std::nullopt;
  return port;
}

struct HostAndPort {
  std::string host;
  std::optional<std::int64_t> port;
};

}  // namespace

struct Policy::State {
  bool isOffline = false;
  bool requiresConsent = false;
  std::optional<std::int64_t> logLevel;
  std::array<HostAndPort, kServiceHostCount> hosts;

  [[nodiscard]] HostAndPort& host(ServiceHost which) { return hosts[static_cast<std::size_t>(which)]; }
};

Policy::Policy() : state_(std::make_unique<State>()) {}
Policy::~Policy() = default;
Policy::Policy(const Policy& other) : state_(std::make_unique<State>(*other.state_)) {}
Policy& Policy::operator=(const Policy& other) {
  if (this != &other) state_ = std::make_unique<State>(*other.state_);
  return *this;
}

bool Policy::isOffline() const noexcept { return state_->isOffline; }
Policy& Policy::setOffline(bool isOffline) {
  state_->isOffline = isOffline;
  return *this;
}
bool Policy::requiresConsent() const noexcept { return state_->requiresConsent; }
Policy& Policy::setRequiresConsent(bool isRequired) {
  state_->requiresConsent = isRequired;
  return *this;
}
std::optional<std::int64_t> Policy::logLevel() const noexcept { return state_->logLevel; }
Policy& Policy::setLogLevel(std::optional<std::int64_t> level) {
  state_->logLevel = level;
  return *this;
}

const std::string& Policy::serviceHost(ServiceHost which) const noexcept { return state_->host(which).host; }
std::optional<std::int64_t> Policy::servicePort(ServiceHost which) const noexcept {
  return state_->host(which).port;
}
bool Policy::setServiceHost(ServiceHost which, std::string_view host) {
  const auto colon = host.find(':');
  std::optional<std::int64_t> port;
  if (colon != std::string_view::npos && !(port = portNumber(host.substr(colon + 1)))) return false;
  const std::string_view name = host.substr(0, colon);
  if (!isHostName(name)) return false;
  state_->host(which) = {std::string(name), port};
  return true;
}

NetworkAccess networkAccess(Platform& platform) {
  const Policy& policy = platform.policy();
  if (policy.isOffline()) return NetworkAccess::offline;
  if (policy.requiresConsent() && !hasConsent(platform)) return NetworkAccess::needsConsent;
  return NetworkAccess::allowed;
}

base::Error refusalError(NetworkAccess access) {
  if (access == NetworkAccess::offline) {
    return {std::string(base::kUrlErrorDomain), kUrlErrorNotConnectedToInternet,
            "The Internet connection appears to be offline."};
  }
  return {std::string(base::kUrlErrorDomain), kUrlErrorResourceUnavailable,
          "The user has not given consent to requests."};
}

bool hasConsent(Platform& platform) {
  return platform.standardUserDefaults().objectForKey(kConsentKey) == base::Value(true);
}

void setConsent(Platform& platform, bool isGiven) {
  platform.standardUserDefaults().setObject(isGiven, kConsentKey);
  platform.standardUserDefaults().synchronize();
}

}  // namespace tidewell::platform
