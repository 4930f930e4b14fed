#pragma once

#include <optional>
#include <string>

#include "tidewell/posix/PosixPlatform.h"
#include "tidewell/posix/internal/PosixTransport.h"

namespace tidewell::posix {

/// What the library takes from the process's environment, read once, at installation: reading later would
/// race with a host that sets variables. Empty variables count as absent, but for `timeZone`. In a process
/// with raised rights they all do: the home is that of the effective user's record, and variables by which
/// the libraries below would write or read files of the caller's choice are removed from the process.
struct Environment {
  std::string home;           ///< absolute; of the user's record where HOME does not say; "" for none
  std::string dataHome;       ///< XDG_DATA_HOME where it is absolute; else below `home`; "" for none
  bool dataHomeIsOwn = true;  ///< whether `dataHome` was named by itself, so that it is made where missing
  std::optional<std::string> timeZone;  ///< TZ
  std::string certificateFile;          ///< SSL_CERT_FILE
  std::string certificateDirectory;     ///< SSL_CERT_DIR
  std::string httpProxy;                ///< http_proxy, all_proxy
  std::string httpsProxy;               ///< https_proxy, all_proxy
  std::string noProxy;                  ///< no_proxy

  [[nodiscard]] static Environment read();
};

/// What the URL sessions go by: the options first, then the environment, then the places where distributions
/// keep their certificates.
[[nodiscard]] TransportSettings transportSettings(const Options& options, const Environment& environment);

}  // namespace tidewell::posix
