#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "tidewell/core/TWNetwork/ServiceCatalogue.h"
#include "tidewell/testing/StandInRequest.h"

namespace tidewell::testing {

/// The service whose path is the longest that the given one begins with. Null for none.
[[nodiscard]] const ServiceEntry* serviceForPath(std::string_view path);

/// The body of a success: "" where the service answers without one.
[[nodiscard]] std::string_view usualReply(const ServiceEntry& entry);

/// Adds a sentence to the request's problems for everything that the backend would object to. `ownPort` is
/// the port that the server really listens on, which a Host header for localhost names.
void checkRequest(StandInRequest& request, const ServiceEntry* entry, std::uint16_t ownPort);

/// The name in a Host header, without the port.
[[nodiscard]] std::string_view hostName(std::string_view hostHeader);

/// A sentence that says what keeps a text from being JSON; nothing for JSON.
[[nodiscard]] std::optional<std::string> whyNotJson(std::string_view text);

}  // namespace tidewell::testing
