// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "tidewell/base/Export.h"

namespace tidewell::testing {

/// Kinds of faults in the stand-in backend. In text form they have the names given here in quotes.
enum class StandInFaultKind {
  // Faults of a request, after it has been read completely.
  status,      ///< "status": answers with `status`
  delay,       ///< "delay": answers as usual, `delay` later
  silence,     ///< "silence": never answers; the connection stays open
  close,       ///< "close": closes the connection cleanly, without an answer
  reset,       ///< "reset": resets the connection (TCP RST) without an answer
  truncation,  ///< "truncation": announces the whole body, sends `bytes` bytes of it and closes
  drip,        ///< "drip": sends the answer byte by byte, `interval` apart
  redirect,  ///< "redirect": `status` (default 302) and `location`; without one, to the request's own URL: an
             ///< endless loop, or with `times` a chain
  oversized,  ///< "oversized": a JSON object of `bytes` bytes, generated while it is sent
  gzipBomb,   ///< "gzip-bomb": a gzip body that decodes to a JSON object of `bytes` bytes
  encoding,  ///< "encoding": the usual body in the content encoding `encoding`: gzip, deflate or br; only its
             ///< first `bytes` bytes, if set, as if they were all
  notJson,   ///< "not-json": status 200 and a body that is not JSON
  empty,     ///< "empty": status 200 and no body
  nesting,   ///< "nesting": arrays nested `bytes` deep
  reply,     ///< "reply": `status`, `headers` and `body` as given, a body even with status 204
  surplus,   ///< "surplus": answers as usual, with `bytes` more bytes than announced
  strayBytes,  ///< "stray-bytes": answers as usual and sends an empty line after `interval`
  lateReply,   ///< "late-reply": answers as usual and sends another reply after `interval`: 408, or `status`,
               ///< `headers` and `body`. After these three kinds the connection stays open
  endlessExtension,  ///< "endless-extension": a chunked body whose first chunk extension never ends

  // Faults of a new connection, before its first request. Of the conditions, only `host` (the name in the TLS
  // handshake) applies to the first four, and none to the last two.
  wrongAuthority,   ///< "wrong-authority": a certificate signed by another authority
  wrongHostName,    ///< "wrong-host-name": a certificate for another host
  expired,          ///< "expired": a certificate that expired a day ago
  commonNameOnly,   ///< "common-name-only": a certificate without alternative names
  garbage,          ///< "garbage": bytes that are not TLS
  silentHandshake,  ///< "silent-handshake": accepts the connection and never sends anything
};

/// How the end of a body is marked.
enum class StandInFraming {
  contentLength,  ///< "content-length"
  chunked,        ///< "chunked"
  untilClose,     ///< "until-close"
};

/// A fault and its conditions. A plain value type.
struct TIDEWELL_EXPORT StandInFault {
  StandInFaultKind kind = StandInFaultKind::status;

  // Conditions: all that are set must match.
  std::optional<int> service;  ///< a number of `TWService`
  std::string path;            ///< a prefix of the path
  std::string host;
  std::size_t times = 0;  ///< the number of occurrences; 0: until cleared

  // Parameters. The kinds say which they use; `delay`, `framing`, `status`, `headers` and `body` apply to
  // every kind that sends an answer.
  int status = 0;                      ///< 0: the usual one
  std::chrono::milliseconds delay{0};  ///< before the first byte of the answer
  std::chrono::milliseconds interval{100};
  std::uint64_t bytes = 0;
  std::string location;
  std::string encoding = "gzip";
  StandInFraming framing = StandInFraming::contentLength;
  std::vector<std::pair<std::string, std::string>> headers;  ///< added to, or replacing, the usual ones
  std::optional<std::string> body;                           ///< replaces the usual one

  /// Whether the fault applies to connections rather than to requests.
  [[nodiscard]] bool meetsConnections() const noexcept { return kind >= StandInFaultKind::wrongAuthority; }

  /// Parses `service=0,kind=status:500,times=2`, or a JSON object with the same keys (which allows `headers`
  /// and bodies with commas). The value after the colon is the kind's main parameter: the status of "status",
  /// milliseconds of "delay", "drip", "stray-bytes" and "late-reply", bytes of "truncation", "oversized",
  /// "gzip-bomb", "nesting" and "surplus", location of "redirect", encoding of "encoding". No value, with the
  /// reason in `problem`, for anything else.
  [[nodiscard]] static std::optional<StandInFault> parse(std::string_view text, std::string& problem);
  /// A JSON object that `parse` accepts.
  [[nodiscard]] std::string json() const;
};

/// "status", "gzip-bomb", …
[[nodiscard]] TIDEWELL_EXPORT std::string_view nameOfFaultKind(StandInFaultKind kind) noexcept;

}  // namespace tidewell::testing
