// SPDX-License-Identifier: Apache-2.0
#include "tidewell/base/internal/StringHash.h"

#include <chrono>
#include <cstddef>
#include <cstring>
#include <exception>
#include <random>

namespace tidewell::base {
namespace {

struct Key {
  std::uint64_t k0;
  std::uint64_t k1;
};

Key generateKey() noexcept {
  try {
    std::random_device device;
    auto word = [&device] { return (std::uint64_t{device()} << 32) | device(); };
    const std::uint64_t first = word();
    return {first, word()};
  } catch (const std::exception&) {
    // Without random bytes, addresses and the clock still differ between processes.
    static const int anchor = 0;
    const auto now = std::chrono::steady_clock::now().time_since_epoch().count();
    return {reinterpret_cast<std::uintptr_t>(&anchor), static_cast<std::uint64_t>(now)};
  }
}

std::uint64_t rotateLeft(std::uint64_t word, int bits) { return (word << bits) | (word >> (64 - bits)); }

/// The state of SipHash (Aumasson and Bernstein, 2012).
struct SipState {
  std::uint64_t v0, v1, v2, v3;

  explicit SipState(const Key& key)
      : v0(0x736f6d6570736575ull ^ key.k0),
        v1(0x646f72616e646f6dull ^ key.k1),
        v2(0x6c7967656e657261ull ^ key.k0),
        v3(0x7465646279746573ull ^ key.k1) {}

  void round() {
    v0 += v1;
    v1 = rotateLeft(v1, 13) ^ v0;
    v0 = rotateLeft(v0, 32);
    v2 += v3;
    v3 = rotateLeft(v3, 16) ^ v2;
    v0 += v3;
    v3 = rotateLeft(v3, 21) ^ v0;
    v2 += v1;
    v1 = rotateLeft(v1, 17) ^ v2;
    v2 = rotateLeft(v2, 32);
  }

  void take(std::uint64_t word) {
    v3 ^= word;
    round();
    v0 ^= word;
  }
};

}  // namespace

[[maybe_unused]] const std::uint64_t keyWhenLoaded = stringHash({});

// SipHash-1-3: one round per word, three at the end.
std::uint64_t stringHash(std::string_view text) noexcept {
  static const Key key = generateKey();
  SipState state(key);
  std::size_t at = 0;
  for (; at + 8 <= text.size(); at += 8) {
    std::uint64_t word;
    std::memcpy(&word, text.data() + at, 8);
    state.take(word);
  }
  std::uint64_t last = 0;
  if (at < text.size()) std::memcpy(&last, text.data() + at, text.size() - at);
  state.take(last | (std::uint64_t{text.size()} << 56));
  state.v2 ^= 0xff;
  state.round();
  state.round();
  state.round();
  return state.v0 ^ state.v1 ^ state.v2 ^ state.v3;
}

}  // namespace tidewell::base
