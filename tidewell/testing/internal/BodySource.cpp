// SPDX-License-Identifier: Apache-2.0
#include "tidewell/testing/internal/BodySource.h"

#include <brotli/encode.h>
#include <zlib.h>

#include <algorithm>
#include <memory>
#include <new>
#include <stdexcept>
#include <utility>

namespace tidewell::testing {
namespace {

constexpr std::size_t kPieceBytes = 64u << 10;
// zlib's window size, and the flag that makes it write a gzip header instead of its own (HTTP's "deflate").
constexpr int kZlibWindow = 15;
constexpr int kGzipWindow = kZlibWindow + 16;

class Deflater {
 public:
  explicit Deflater(int window) {
    if (deflateInit2(&stream_, Z_BEST_COMPRESSION, Z_DEFLATED, window, 8, Z_DEFAULT_STRATEGY) != Z_OK) {
      throw std::bad_alloc();
    }
  }
  ~Deflater() { deflateEnd(&stream_); }
  Deflater(const Deflater&) = delete;
  Deflater& operator=(const Deflater&) = delete;

  void add(std::string_view input, int flush, std::string& out) {
    // zlib only reads through this pointer.
    stream_.next_in = const_cast<Bytef*>(reinterpret_cast<const Bytef*>(input.data()));
    stream_.avail_in = static_cast<uInt>(input.size());
    Bytef buffer[16u << 10];
    do {
      stream_.next_out = buffer;
      stream_.avail_out = sizeof buffer;
      deflate(&stream_, flush);
      out.append(reinterpret_cast<const char*>(buffer), sizeof buffer - stream_.avail_out);
    } while (stream_.avail_out == 0);
  }

 private:
  z_stream stream_{};
};

std::string deflated(std::string_view text, int window) {
  std::string out;
  Deflater(window).add(text, Z_FINISH, out);
  return out;
}

}  // namespace

BodySource bodyOfText(std::string text) {
  const auto length = text.size();
  return {length, [text = std::move(text), sent = false](std::string& piece) mutable {
            if (sent || text.empty()) return false;
            sent = true;
            piece = std::move(text);
            return true;
          }};
}

BodySource bodyOfPaddedJson(std::uint64_t bytes) {
  static constexpr std::string_view opening = R"({"pad":")";
  static constexpr std::string_view closing = R"("})";
  bytes = std::max<std::uint64_t>(bytes, opening.size() + closing.size());
  return {bytes, [bytes, position = std::uint64_t{0}](std::string& piece) mutable {
            if (position == bytes) return false;
            if (position == 0) {
              piece = opening;
            } else if (const auto padding = bytes - closing.size() - position; padding > 0) {
              piece.assign(static_cast<std::size_t>(std::min<std::uint64_t>(padding, kPieceBytes)), 'a');
            } else {
              piece = closing;
            }
            position += piece.size();
            return true;
          }};
}

BodySource gzipped(BodySource source) {
  auto deflater = std::make_shared<Deflater>(kGzipWindow);
  return {std::nullopt, [source = std::move(source), deflater, ended = false](std::string& piece) mutable {
            piece.clear();
            std::string input;
            while (piece.empty() && !ended) {
              ended = !source.next(input);
              deflater->add(ended ? std::string_view() : input, ended ? Z_FINISH : Z_NO_FLUSH, piece);
            }
            return !piece.empty();
          }};
}

std::string encodedText(std::string_view text, std::string_view encoding) {
  if (encoding == "gzip") return deflated(text, kGzipWindow);
  if (encoding == "deflate") return deflated(text, kZlibWindow);
  if (encoding != "br") throw std::invalid_argument("unknown content encoding");
  std::string out(BrotliEncoderMaxCompressedSize(text.size()), '\0');
  std::size_t size = out.size();
  if (BrotliEncoderCompress(BROTLI_DEFAULT_QUALITY, BROTLI_DEFAULT_WINDOW, BROTLI_DEFAULT_MODE, text.size(),
                            reinterpret_cast<const std::uint8_t*>(text.data()), &size,
                            reinterpret_cast<std::uint8_t*>(out.data())) != BROTLI_TRUE) {
    throw std::bad_alloc();
  }
  out.resize(size);
  return out;
}

}  // namespace tidewell::testing
