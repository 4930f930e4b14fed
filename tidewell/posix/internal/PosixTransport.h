#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "tidewell/platform/UrlSession.h"
#include "tidewell/posix/PosixPlatform.h"

// The only way to the URL session, so that libcurl is not loaded before the first request.
namespace tidewell::posix {

/// What the URL sessions of a process share, from the options and the environment as they were at
/// installation.
struct TransportSettings {
  std::string caFile;       ///< "" where none was found
  std::string caDirectory;  ///< "" where none was found
  std::string proxyCaFile;  ///< the same for an HTTPS proxy
  std::string proxyCaDirectory;
  std::string httpProxy;  ///< for each scheme, curl's syntax; "" for none
  std::string httpsProxy;
  std::string noProxy;
  std::vector<ConnectionOverride> connectionOverrides;
};

/// Makes sessions whose transfers one thread drives. Never destroyed.
class Transport {
 public:
  virtual ~Transport();
  [[nodiscard]] virtual std::shared_ptr<platform::UrlSession> makeSession(
      platform::UrlSessionConfiguration configuration) = 0;
};

/// No network, no libcurl and no thread at this call; all of that comes with the first task.
[[nodiscard]] std::unique_ptr<Transport> makeTransport(TransportSettings settings);

}  // namespace tidewell::posix
