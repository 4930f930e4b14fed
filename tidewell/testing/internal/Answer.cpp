// SPDX-License-Identifier: Apache-2.0
#include "tidewell/testing/internal/Answer.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <string_view>
#include <utility>

#include "tidewell/base/internal/Ascii.h"

namespace tidewell::testing {
namespace {

// The body is built in memory and takes two bytes per level.
constexpr std::uint64_t kMaximumNesting = 16u << 20;
constexpr std::uint64_t kMaximumSurplus = 16u << 20;

bool hasNoBody(int status) { return status == 204 || status == 304; }

std::string_view reasonOf(int status) {
  switch (status) {
    case 200:
      return "OK";
    case 204:
      return "No Content";
    case 302:
      return "Found";
    case 400:
      return "Bad Request";
    case 404:
      return "Not Found";
    case 405:
      return "Method Not Allowed";
    case 413:
      return "Content Too Large";
    case 500:
      return "Internal Server Error";
    default:
      return "Stand-In";
  }
}

std::string hexadecimal(std::size_t number) {
  std::array<char, 16> digits{};
  const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), number, 16).ptr;
  return std::string(digits.data(), end);
}

/// Sends bytes, one by one if there is an interval.
bool send(HttpConnection& connection, std::string_view bytes, std::chrono::milliseconds interval) {
  if (interval == std::chrono::milliseconds(0)) return connection.write(bytes);
  for (const char& byte : bytes) {
    if (!connection.write({&byte, 1}) || !connection.pause(interval)) return false;
  }
  return true;
}

/// The head of an answer. The answer's own headers replace the usual ones.
class Head {
 public:
  explicit Head(const Answer& answer) : answer_(answer) {
    text_ = "HTTP/1.1 " + std::to_string(answer.status) + " " + std::string(reasonOf(answer.status)) + "\r\n";
  }
  void addUsual(std::string_view name, std::string_view value) {
    if (!isOverridden(name)) add(name, value);
  }
  [[nodiscard]] bool isOverridden(std::string_view name) const {
    return std::any_of(answer_.headers.begin(), answer_.headers.end(), [&](const auto& header) {
      return base::detail::equalsIgnoringCase(header.first, name);
    });
  }
  [[nodiscard]] std::string finished() {
    for (const auto& [name, value] : answer_.headers) add(name, value);
    return text_ + "\r\n";
  }

 private:
  void add(std::string_view name, std::string_view value) {
    text_.append(name).append(": ").append(value).append("\r\n");
  }
  const Answer& answer_;
  std::string text_;
};

/// A complete reply to no request.
std::string unaskedReply(const StandInFault& fault) {
  Answer answer;
  answer.status = fault.status != 0 ? fault.status : 408;
  answer.headers = fault.headers;
  answer.text = fault.body.value_or("");
  Head head(answer);
  head.addUsual("Content-Type", answer.contentType);
  head.addUsual("Content-Length", std::to_string(answer.text.size()));
  return head.finished() + answer.text;
}

/// Runs until the client disconnects.
bool sendEndlessExtension(HttpConnection& connection, std::string pending) {
  pending += "5;";
  do {
    pending.append(16u << 10, 'x');
  } while (connection.write(std::exchange(pending, {})));
  return false;
}

}  // namespace

Answer withFault(Answer answer, const StandInFault& fault, const std::string& requestTarget) {
  if (fault.kind == StandInFaultKind::lateReply) {  // its parameters describe the late reply
    answer.surplus = unaskedReply(fault);
    answer.surplusDelay = fault.interval;
    return answer;
  }
  if (fault.status != 0) answer.status = fault.status;
  if (fault.body) answer.text = *fault.body;
  answer.headers = fault.headers;
  answer.framing = fault.framing;
  switch (fault.kind) {
    case StandInFaultKind::status:
      if (!fault.body) answer.text = R"({"error":"status )" + std::to_string(fault.status) + "\"}";
      break;
    case StandInFaultKind::truncation:
      answer.cutAfter = fault.bytes;
      break;
    case StandInFaultKind::drip:
      answer.byteInterval = fault.interval;
      break;
    case StandInFaultKind::redirect:
      if (fault.status == 0) answer.status = 302;
      answer.headers.emplace_back("Location", fault.location.empty() ? requestTarget : fault.location);
      if (!fault.body) answer.text.clear();
      break;
    case StandInFaultKind::oversized:
      answer.source = bodyOfPaddedJson(fault.bytes);
      break;
    case StandInFaultKind::gzipBomb:
      answer.source = gzipped(bodyOfPaddedJson(fault.bytes));
      answer.headers.emplace_back("Content-Encoding", "gzip");
      break;
    case StandInFaultKind::encoding:
      answer.text = encodedText(answer.text, fault.encoding);
      if (fault.bytes > 0 && fault.bytes < answer.text.size()) {
        answer.text.resize(static_cast<std::size_t>(fault.bytes));
      }
      answer.headers.emplace_back("Content-Encoding", fault.encoding);
      break;
    case StandInFaultKind::notJson:
      if (!fault.body) answer.text = "<html><body>It works!</body></html>";
      break;
    case StandInFaultKind::empty:
      answer.text.clear();
      break;
    case StandInFaultKind::nesting: {
      const auto depth = static_cast<std::size_t>(std::min(fault.bytes, kMaximumNesting));
      answer.text = std::string(depth, '[') + std::string(depth, ']');
      break;
    }
    case StandInFaultKind::reply:
      if (hasNoBody(answer.status)) answer.surplus = answer.text;
      break;
    case StandInFaultKind::surplus:
      answer.surplus.assign(static_cast<std::size_t>(std::min(fault.bytes, kMaximumSurplus)), 'x');
      break;
    case StandInFaultKind::strayBytes:
      answer.surplus = "\r\n";
      answer.surplusDelay = fault.interval;
      break;
    case StandInFaultKind::endlessExtension:
      answer.framing = StandInFraming::chunked;
      answer.endlessExtension = true;
      break;
    default:
      break;  // as usual, or never sent
  }
  return answer;
}

bool sendAnswer(HttpConnection& connection, Answer answer, bool keepAlive) {
  const bool bodyless = hasNoBody(answer.status);
  if (bodyless) answer.text.clear();
  BodySource source = answer.source && !bodyless ? std::move(*answer.source) : bodyOfText(answer.text);

  const bool cut = answer.cutAfter.has_value();
  auto length = source.length;
  // Announces more than will be sent of a truncated body, even if the usual body is short.
  if (cut && length) length = std::max(*length, *answer.cutAfter + 1);
  const bool chunked = answer.framing == StandInFraming::chunked ||
                       (answer.framing == StandInFraming::contentLength && !length);

  Head head(answer);
  // A custom length may be wrong, so the start of the next answer would be unknown.
  const bool keep = connection.beginAnswer() && keepAlive && !cut &&
                    answer.framing != StandInFraming::untilClose && !head.isOverridden("content-length") &&
                    !head.isOverridden("transfer-encoding");
  if (!bodyless) {
    head.addUsual("Content-Type", answer.contentType);
    if (chunked) {
      head.addUsual("Transfer-Encoding", "chunked");
    } else if (answer.framing == StandInFraming::contentLength) {
      head.addUsual("Content-Length", std::to_string(length.value_or(0)));
    }
  }
  if (!keep) head.addUsual("Connection", "close");

  // The head is sent with the first piece, and what follows with the last one: one packet and one TLS record
  // for a normal answer.
  std::string pending = head.finished();
  if (answer.endlessExtension) return sendEndlessExtension(connection, std::move(pending));
  std::string piece;
  std::uint64_t left = cut ? *answer.cutAfter : UINT64_MAX;
  bool holdsPiece = false;
  while (!bodyless && left > 0 && source.next(piece)) {
    if (holdsPiece && !send(connection, std::exchange(pending, {}), answer.byteInterval)) return false;
    holdsPiece = true;
    if (piece.size() > left) piece.resize(static_cast<std::size_t>(left));
    left -= piece.size();
    if (chunked) pending += hexadecimal(piece.size()) + "\r\n";
    pending += piece;
    if (chunked) pending += "\r\n";
  }
  if (chunked && !bodyless && !cut) pending += "0\r\n\r\n";
  if (answer.surplusDelay == std::chrono::milliseconds(0)) {
    pending += answer.surplus;
    return send(connection, pending, answer.byteInterval) && keep;
  }
  return send(connection, pending, answer.byteInterval) && keep && connection.pause(answer.surplusDelay) &&
         connection.write(answer.surplus);
}

}  // namespace tidewell::testing
