// SPDX-License-Identifier: Apache-2.0
#include "tidewell/posix/internal/TransferEngine.h"

// For static libraries, with libcurl linked into the host.
namespace tidewell::posix {

TransferEngine* loadTransferEngine(TransferClient& client, const TransportSettings& settings,
                                   std::string& problem) noexcept {
  return tidewell_make_transfer_engine(TIDEWELL_VERSION_STRING, client, settings, problem);
}

}  // namespace tidewell::posix
