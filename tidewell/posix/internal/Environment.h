// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "tidewell/posix/internal/OptionsState.h"
#include "tidewell/posix/internal/PosixTransport.h"

namespace tidewell::posix {

/// The process environment used by the library, read once at installation: reading it later would race with a
/// host that sets variables. Empty variables count as unset, except `timeZone`. In a process with raised
/// privileges all count as unset: the home directory comes from the effective user's passwd entry, and
/// variables that make third-party libraries write or read arbitrary files are removed from the process.
struct Environment {
  std::string home;           ///< absolute; from the passwd entry if HOME is not usable; "" for none
  std::string dataHome;       ///< XDG_DATA_HOME if absolute, otherwise below `home`; "" for none
  bool dataHomeIsOwn = true;  ///< set by XDG_DATA_HOME, so that it may be created
  std::optional<std::string> timeZone;                                ///< TZ
  std::string certificateFile;                                        ///< SSL_CERT_FILE
  std::string certificateDirectory;                                   ///< SSL_CERT_DIR
  std::string httpProxy;                                              ///< http_proxy, all_proxy
  std::string httpsProxy;                                             ///< https_proxy, all_proxy
  std::string noProxy;                                                ///< no_proxy
  std::optional<bool> isDisabled;                                     ///< TIDEWELL_DISABLED
  std::optional<bool> isOffline;                                      ///< TIDEWELL_OFFLINE
  std::optional<std::int64_t> logLevel;                               ///< TIDEWELL_LOG, as a `TWLogLevel`
  std::array<std::string, platform::kServiceHostCount> serviceHosts;  ///< TIDEWELL_HOST_US, …
  std::vector<std::string> complaints;  ///< a sentence for each invalid variable

  [[nodiscard]] static Environment read();
};

/// Whether the SDK is off. An option that is set wins over the environment.
[[nodiscard]] bool isDisabled(const Options::State& options, const Environment& environment);

/// The policy, from the options and the environment. Appends to `complaints` a sentence for each variable
/// with an invalid host, if hosts are taken from the environment.
[[nodiscard]] platform::Policy policyOf(const Options::State& options, const Environment& environment,
                                        std::vector<std::string>& complaints);

/// Settings of the URL sessions: from the options, then the environment, then the default certificate
/// locations of distributions.
[[nodiscard]] TransportSettings transportSettings(const Options::State& options,
                                                  const Environment& environment);

}  // namespace tidewell::posix
