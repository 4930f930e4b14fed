// SPDX-License-Identifier: Apache-2.0
#include "Input.h"
#include "tidewell/posix/internal/curl/ContentDecoder.h"
#include "tidewell/posix/internal/curl/ResponseHead.h"

using tidewell::posix::ContentDecoder;
using tidewell::posix::ResponseHead;

namespace {

struct Decoded {
  std::string body;
  bool isAccepted = true;
  bool isComplete = false;
};

/// Decodes a body that arrives in pieces of the given size, with a limit as in the URL session.
Decoded decodedInPieces(const ResponseHead& head, std::string_view body, std::size_t pieceSize) {
  constexpr std::size_t maximum = 1 << 20;
  Decoded result;
  ContentDecoder decoder;
  result.isAccepted = decoder.begin(head.fields());
  while (result.isAccepted && !body.empty()) {
    const std::string_view piece = body.substr(0, pieceSize);
    body.remove_prefix(piece.size());
    result.isAccepted = decoder.decode(piece, [&](std::string_view decoded) {
      if (decoded.size() > maximum - result.body.size()) return false;
      result.body.append(decoded);
      return true;
    });
  }
  result.isComplete = decoder.isComplete();
  return result;
}

}  // namespace

// Input: header lines up to the first empty one, followed by a body. The size of the pieces must not matter.
void fuzz::check(std::string_view rest) {
  ResponseHead head;
  while (!rest.empty() && !head.isComplete()) {
    const std::string_view line = rest.substr(0, std::min(rest.find('\n'), rest.size() - 1) + 1);
    rest.remove_prefix(line.size());
    if (!head.addLine(line)) return;
  }
  const Decoded whole = decodedInPieces(head, rest, std::max<std::size_t>(rest.size(), 1));
  const Decoded dripped = decodedInPieces(head, rest, 1);
  fuzz::require(whole.isAccepted == dripped.isAccepted);
  fuzz::require(!whole.isAccepted || (whole.body == dripped.body && whole.isComplete == dripped.isComplete));
}
