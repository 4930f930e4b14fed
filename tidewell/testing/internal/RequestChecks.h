// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "tidewell/core/TWNetwork/ServiceCatalogue.h"
#include "tidewell/testing/StandInRequest.h"

namespace tidewell::testing {

/// The service with the longest path that is a prefix of the given one; null if there is none.
[[nodiscard]] const ServiceEntry* serviceForPath(std::string_view path);

/// The body of a successful reply; "" if the service replies without a body.
[[nodiscard]] std::string_view usualReply(const ServiceEntry& entry);

/// Appends a sentence to the request's problems for each objection that the backend would have. `ownPort` is
/// the port on which the server really listens, which a Host header for localhost contains.
void checkRequest(StandInRequest& request, const ServiceEntry* entry, std::uint16_t ownPort);

/// The name in a Host header, without the port.
[[nodiscard]] std::string_view hostName(std::string_view hostHeader);

/// The reason why a text is not JSON; no value if it is.
[[nodiscard]] std::optional<std::string> whyNotJson(std::string_view text);

}  // namespace tidewell::testing
