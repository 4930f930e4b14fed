// SPDX-License-Identifier: Apache-2.0
#include "tidewell/posix/internal/curl/ContentDecoder.h"

#include <brotli/decode.h>
#include <zlib.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <new>

#include "tidewell/base/internal/Ascii.h"

namespace tidewell::posix {
namespace {

using base::detail::equalsIgnoringCase;
using base::detail::trimmed;

constexpr std::size_t kPieceBytes = 16 << 10;
constexpr int kGzipWindow = MAX_WBITS + 16;
constexpr int kZlibWindow = MAX_WBITS;
constexpr int kRawWindow = -MAX_WBITS;

/// Calls `take` with each element of a comma-separated list until it returns false.
template <class Take>
bool forEachElement(std::string_view list, Take take) {
  while (!list.empty()) {
    const std::size_t end = std::min(list.find(','), list.size());
    const std::string_view element = trimmed(list.substr(0, end));
    list.remove_prefix(std::min(end + 1, list.size()));
    if (!element.empty() && !take(element)) return false;
  }
  return true;
}

}  // namespace

class ContentDecoder::Coding {
 public:
  virtual ~Coding() = default;
  virtual bool decode(std::string_view bytes, const Sink& sink) = 0;
  [[nodiscard]] bool hasEnded() const { return ended_; }

 protected:
  bool ended_ = false;
};

class ContentDecoder::Inflate final : public Coding {
 public:
  explicit Inflate(bool isGzip) : isGzip_(isGzip) {}
  ~Inflate() override {
    if (begun_) inflateEnd(&stream_);
  }
  Inflate(const Inflate&) = delete;
  Inflate& operator=(const Inflate&) = delete;

  bool decode(std::string_view bytes, const Sink& sink) override {
    if (!begun_) begin(static_cast<unsigned char>(bytes.front()));
    // zlib only reads through this pointer.
    stream_.next_in = const_cast<Bytef*>(reinterpret_cast<const Bytef*>(bytes.data()));
    stream_.avail_in = static_cast<uInt>(bytes.size());
    std::array<char, kPieceBytes> piece;
    do {
      if (ended_) {
        // A gzip stream may have several members; "deflate" has one.
        if (!isGzip_ || inflateReset(&stream_) != Z_OK) return false;
        ended_ = false;
      }
      stream_.next_out = reinterpret_cast<Bytef*>(piece.data());
      stream_.avail_out = static_cast<uInt>(piece.size());
      const int result = inflate(&stream_, Z_NO_FLUSH);
      if (result == Z_MEM_ERROR) throw std::bad_alloc();
      if (result != Z_OK && result != Z_STREAM_END && result != Z_BUF_ERROR) return false;
      ended_ = result == Z_STREAM_END;
      const std::size_t made = piece.size() - stream_.avail_out;
      if (made > 0 && !sink({piece.data(), made})) return false;
    } while (stream_.avail_in > 0 || (stream_.avail_out == 0 && !ended_));
    return true;
  }

 private:
  /// HTTP's "deflate" is the zlib format, but some servers send the raw stream. The low bits of a zlib
  /// header's first byte hold the method; a raw stream does not begin with them.
  void begin(unsigned char first) {
    const int zlibOrRaw = (first & 0x0f) == Z_DEFLATED ? kZlibWindow : kRawWindow;
    if (inflateInit2(&stream_, isGzip_ ? kGzipWindow : zlibOrRaw) != Z_OK) throw std::bad_alloc();
    begun_ = true;
  }

  const bool isGzip_;
  bool begun_ = false;
  z_stream stream_{};
};

class ContentDecoder::Brotli final : public Coding {
 public:
  Brotli() : state_(BrotliDecoderCreateInstance(nullptr, nullptr, nullptr), BrotliDecoderDestroyInstance) {
    if (state_ == nullptr) throw std::bad_alloc();
  }

  bool decode(std::string_view bytes, const Sink& sink) override {
    const auto* in = reinterpret_cast<const std::uint8_t*>(bytes.data());
    std::size_t left = bytes.size();
    std::array<char, kPieceBytes> piece;
    for (;;) {
      if (ended_) return left == 0;
      auto* out = reinterpret_cast<std::uint8_t*>(piece.data());
      std::size_t room = piece.size();
      const auto result = BrotliDecoderDecompressStream(state_.get(), &left, &in, &room, &out, nullptr);
      if (result == BROTLI_DECODER_RESULT_ERROR) return false;
      ended_ = result == BROTLI_DECODER_RESULT_SUCCESS;
      const std::size_t made = piece.size() - room;
      if (made > 0 && !sink({piece.data(), made})) return false;
      if (result == BROTLI_DECODER_RESULT_NEEDS_MORE_INPUT) return true;
    }
  }

 private:
  std::unique_ptr<BrotliDecoderState, void (*)(BrotliDecoderState*)> state_;
};

ContentDecoder::ContentDecoder() = default;
ContentDecoder::~ContentDecoder() = default;

bool ContentDecoder::begin(const Fields& fields) {
  codings_.clear();
  const auto add = [this](std::string_view name) {
    if (equalsIgnoringCase(name, "identity")) return true;
    if (codings_.size() == kMaximumCodings) return false;
    const bool isGzip = equalsIgnoringCase(name, "gzip") || equalsIgnoringCase(name, "x-gzip");
    if (isGzip || equalsIgnoringCase(name, "deflate")) {
      codings_.insert(codings_.begin(), std::make_unique<Inflate>(isGzip));
    } else if (equalsIgnoringCase(name, "br")) {
      codings_.insert(codings_.begin(), std::make_unique<Brotli>());
    } else {
      return false;
    }
    return true;
  };
  return std::all_of(fields.begin(), fields.end(), [&](const auto& field) {
    return !equalsIgnoringCase(field.first, "Content-Encoding") || forEachElement(field.second, add);
  });
}

bool ContentDecoder::decode(std::string_view bytes, const Sink& sink) {
  return bytes.empty() || decodeFrom(0, bytes, sink);
}

bool ContentDecoder::decodeFrom(std::size_t index, std::string_view bytes, const Sink& sink) {
  if (index == codings_.size()) return sink(bytes);
  return codings_[index]->decode(
      bytes, [&](std::string_view decoded) { return decodeFrom(index + 1, decoded, sink); });
}

bool ContentDecoder::isComplete() const {
  return std::all_of(codings_.begin(), codings_.end(), [](const auto& coding) { return coding->hasEnded(); });
}

}  // namespace tidewell::posix
