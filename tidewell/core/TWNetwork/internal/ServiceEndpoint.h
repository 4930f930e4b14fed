// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>

#include "tidewell/core/TWNetwork/ServiceCatalogue.h"

namespace tidewell {

struct ServiceEndpoint {
  std::string host;
  std::int64_t port;
};

/// The host of a service and its port, for the same region: a change of the region between two questions
/// would give a port of another host. Any thread.
[[nodiscard]] ServiceEndpoint endpointOfService(TWService service);

}  // namespace tidewell
