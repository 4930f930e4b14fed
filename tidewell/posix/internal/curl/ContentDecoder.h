#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace tidewell::posix {

/// Undoes the content codings of a reply while it arrives: gzip, deflate and br.
///
/// libcurl could do it, but takes a body that ends in the middle of its coding for a whole one.
class ContentDecoder {
 public:
  using Fields = std::vector<std::pair<std::string, std::string>>;
  /// Takes decoded bytes. False stops the decoding.
  using Sink = std::function<bool(std::string_view)>;
  /// More codings than a server applies to one reply.
  static constexpr std::size_t kMaximumCodings = 4;

  ContentDecoder();
  ~ContentDecoder();
  ContentDecoder(const ContentDecoder&) = delete;
  ContentDecoder& operator=(const ContentDecoder&) = delete;

  /// Begins a reply with the codings that its header names. False for an unknown one, or too many.
  [[nodiscard]] bool begin(const Fields& fields);
  /// Decodes what has arrived. False for bytes that do not fit the coding, or where the sink stops.
  [[nodiscard]] bool decode(std::string_view bytes, const Sink& sink);
  /// Whether each coding has come to its end. True where there is none.
  [[nodiscard]] bool isComplete() const;

 private:
  class Coding;
  class Inflate;
  class Brotli;
  bool decodeFrom(std::size_t index, std::string_view bytes, const Sink& sink);

  std::vector<std::unique_ptr<Coding>> codings_;  ///< the one that was applied last comes first
};

}  // namespace tidewell::posix
