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

/// The ways in which the stand-in backend misbehaves. In texts each bears the name given here in quotes.
enum class StandInFaultKind {
  // Met by a request, once it has been read whole.
  status,      ///< "status": answers with `status`
  delay,       ///< "delay": answers as usual, `delay` later
  silence,     ///< "silence": never answers; the connection stays open
  close,       ///< "close": closes the connection in order, without an answer
  reset,       ///< "reset": resets the connection (TCP RST) without an answer
  truncation,  ///< "truncation": announces the whole body, sends `bytes` bytes of it and closes
  drip,        ///< "drip": sends the answer byte by byte, `interval` apart
  redirect,    ///< "redirect": `status` (302 unless set) and `location`; without one, the request's own URL,
               ///< which makes a loop, or with `times` a chain
  oversized,   ///< "oversized": a JSON object of `bytes` bytes, made while it is sent
  gzipBomb,    ///< "gzip-bomb": a gzip body that decodes to a JSON object of `bytes` bytes
  encoding,    ///< "encoding": the usual body in the content encoding `encoding`: gzip, deflate, br; of the
               ///< result only the first `bytes` bytes, if set, as if they were all
  notJson,     ///< "not-json": status 200 and a body that is not JSON
  empty,       ///< "empty": status 200 and no body
  nesting,     ///< "nesting": arrays nested `bytes` deep
  reply,       ///< "reply": `status`, `headers` and `body` as given; a body with status 204 too
  surplus,     ///< "surplus": answers as usual, with `bytes` bytes more than announced
  strayBytes,  ///< "stray-bytes": answers as usual, and sends an empty line `interval` later
  lateReply,   ///< "late-reply": answers as usual, and sends one more reply `interval` later: 408, or
               ///< `status`,
               ///< `headers` and `body`. With these three kinds the connection stays open
  endlessExtension,  ///< "endless-extension": a chunked body whose first chunk extension does not end

  // Met by a new connection, before its first request: only `host` (the name that TLS asks for) can narrow
  // the first four, nothing the last two.
  wrongAuthority,   ///< "wrong-authority": a certificate that another authority has signed
  wrongHostName,    ///< "wrong-host-name": a certificate for another host
  expired,          ///< "expired": a certificate that ran out a day ago
  commonNameOnly,   ///< "common-name-only": a certificate without alternative names
  garbage,          ///< "garbage": bytes that are not TLS
  silentHandshake,  ///< "silent-handshake": accepts the connection and never says anything
};

/// How the end of a body is announced.
enum class StandInFraming {
  contentLength,  ///< "content-length"
  chunked,        ///< "chunked"
  untilClose,     ///< "until-close"
};

/// A misbehaviour, and what meets it. A plain value.
struct TIDEWELL_EXPORT StandInFault {
  StandInFaultKind kind = StandInFaultKind::status;

  // What meets it: everything that is set must agree.
  std::optional<int> service;  ///< a number of `TWService`
  std::string path;            ///< the beginning of the path
  std::string host;
  std::size_t times = 0;  ///< how often it is met before it is over; 0: until it is cleared

  // Its particulars. Each kind says which it looks at; `delay`, `framing`, `status`, `headers` and `body` go
  // with every kind that sends an answer.
  int status = 0;                      ///< 0: the usual one
  std::chrono::milliseconds delay{0};  ///< before the first byte of the answer
  std::chrono::milliseconds interval{100};
  std::uint64_t bytes = 0;
  std::string location;
  std::string encoding = "gzip";
  StandInFraming framing = StandInFraming::contentLength;
  std::vector<std::pair<std::string, std::string>> headers;  ///< sent beside, or in place of, the usual ones
  std::optional<std::string> body;                           ///< in place of the usual one

  /// Whether it is met by a connection rather than by a request.
  [[nodiscard]] bool meetsConnections() const noexcept { return kind >= StandInFaultKind::wrongAuthority; }

  /// Reads `service=0,kind=status:500,times=2`, or a JSON object with the same keys (which can carry
  /// `headers` and bodies with commas). What stands after the colon is the kind's own particular: status of
  /// "status", milliseconds of "delay", "drip", "stray-bytes" and "late-reply", bytes of "truncation",
  /// "oversized", "gzip-bomb", "nesting" and "surplus", location of "redirect", encoding of "encoding". No
  /// value, and a sentence in `problem`, for anything else.
  [[nodiscard]] static std::optional<StandInFault> parse(std::string_view text, std::string& problem);
  /// The JSON object that `parse` reads.
  [[nodiscard]] std::string json() const;
};

/// "status", "gzip-bomb", …
[[nodiscard]] TIDEWELL_EXPORT std::string_view nameOfFaultKind(StandInFaultKind kind) noexcept;

}  // namespace tidewell::testing
