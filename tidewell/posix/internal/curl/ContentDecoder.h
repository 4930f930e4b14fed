// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace tidewell::posix {

/// Decodes the content codings of a reply as it arrives: gzip, deflate and br.
///
/// libcurl's own decoder accepts a body that ends in the middle of its coding.
class ContentDecoder {
 public:
  using Fields = std::vector<std::pair<std::string, std::string>>;
  /// Receives decoded bytes. Returns false to stop.
  using Sink = std::function<bool(std::string_view)>;
  /// More codings than any server applies to one reply.
  static constexpr std::size_t kMaximumCodings = 4;

  ContentDecoder();
  ~ContentDecoder();
  ContentDecoder(const ContentDecoder&) = delete;
  ContentDecoder& operator=(const ContentDecoder&) = delete;

  /// Prepares for a reply with the codings named in its header. False if one is unknown or there are too
  /// many.
  [[nodiscard]] bool begin(const Fields& fields);
  /// Decodes bytes that have arrived. False if they are invalid or the sink stops.
  [[nodiscard]] bool decode(std::string_view bytes, const Sink& sink);
  /// Whether every coding is at its end; true if there is none.
  [[nodiscard]] bool isComplete() const;

 private:
  class Coding;
  class Inflate;
  class Brotli;
  bool decodeFrom(std::size_t index, std::string_view bytes, const Sink& sink);

  std::vector<std::unique_ptr<Coding>> codings_;  ///< in decoding order: the last one applied first
};

}  // namespace tidewell::posix
