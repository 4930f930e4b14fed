// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <list>
#include <string>
#include <string_view>
#include <vector>

#include "tidewell/base/Value.h"

namespace tidewell::base {

/// A JSON text read as by `JSONObjectWithData`, with the places of what the top level contains.
///
/// Places are byte offsets in `text`. Refers to the bytes passed to the constructor, which must outlive it.
/// Never raises for malformed text. Time and memory are linear in the length of the text.
class JsonPlaces {
 public:
  /// A pair of the top level's dictionary. Pairs whose key occurs again are all present.
  struct Member {
    std::string_view key;
    std::uint32_t keyAt;
    std::uint32_t valueAt;
    /// The places of an array's elements, in `elements`.
    std::size_t firstElement;
  };

  explicit JsonPlaces(std::string_view bytes);
  JsonPlaces(const JsonPlaces&) = delete;
  JsonPlaces& operator=(const JsonPlaces&) = delete;

  /// The whole value; nil if the text is malformed. Unlike `JSONObjectWithData`, may be of any kind.
  Value root;
  /// In the order of the text; empty if the top level is not a dictionary.
  std::vector<Member> members;
  std::vector<std::uint32_t> elements;
  /// Why the text is malformed, as a sentence; empty if it is well-formed.
  std::string_view problem;
  std::size_t problemAt = 0;
  /// The text in UTF-8, without byte-order mark.
  std::string_view text;

 private:
  std::string transcoded_;
  std::list<std::string> decodedKeys_;  ///< owns the keys of `members` that have escapes
};

}  // namespace tidewell::base
