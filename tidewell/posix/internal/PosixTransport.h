// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "tidewell/platform/UrlSession.h"
#include "tidewell/posix/internal/OptionsState.h"

// The only access to the URL session, so that libcurl is not loaded before the first request.
namespace tidewell::posix {

/// Settings shared by all URL sessions of a process, from the options and the environment at installation.
struct TransportSettings {
  std::string caFile;       ///< "" if none was found
  std::string caDirectory;  ///< "" if none was found
  std::string proxyCaFile;  ///< the same for an HTTPS proxy
  std::string proxyCaDirectory;
  std::string httpProxy;  ///< per scheme, in curl's syntax; "" for none
  std::string httpsProxy;
  std::string noProxy;
  std::vector<ConnectionOverride> connectionOverrides;
};

/// Creates sessions whose transfers share their threads. Never destroyed.
class Transport {
 public:
  virtual ~Transport();
  [[nodiscard]] virtual std::shared_ptr<platform::UrlSession> makeSession(
      platform::UrlSessionConfiguration configuration) = 0;
};

/// Whether a task may use the network now. Any thread.
using AskAccess = std::function<platform::NetworkAccess()>;

/// Uses no network, no libcurl and no thread before the first task. Tasks for which `access` does not answer
/// `allowed` fail without use of the network or libcurl.
[[nodiscard]] std::unique_ptr<Transport> makeTransport(TransportSettings settings, AskAccess access);

}  // namespace tidewell::posix
