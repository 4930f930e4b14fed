// SPDX-License-Identifier: Apache-2.0
#include <new>
#include <string>

#include "tidewell/base/internal/NeighbourModule.h"
#include "tidewell/base/internal/NeverDestroyed.h"
#include "tidewell/posix/internal/TransferEngine.h"

// For shared libraries. Linking libcurl would cost a host 4 ms and 6 MB before `main`, so the code that needs
// it is a module beside this library, loaded at the first request.
namespace tidewell::posix {
namespace {

base::NeverDestroyed<base::NeighbourModule> urlSession(reinterpret_cast<const void*>(&loadTransferEngine),
                                                       "libTidewellUrlSession.so");

TransferEngine* load(TransferClient& client, const TransportSettings& settings, std::string& problem) {
  const auto make = reinterpret_cast<decltype(&tidewell_make_transfer_engine)>(
      urlSession->function("tidewell_make_transfer_engine", problem));
  if (make == nullptr) {
    problem = "the URL session cannot be loaded: " + problem;
    return nullptr;
  }
  return make(TIDEWELL_VERSION_STRING, client, settings, problem);
}

}  // namespace

TransferEngine* loadTransferEngine(TransferClient& client, const TransportSettings& settings,
                                   std::string& problem) noexcept {
  try {
    return load(client, settings, problem);
  } catch (const std::bad_alloc&) {
    problem = kOutOfMemory;
    return nullptr;
  }
}

}  // namespace tidewell::posix
