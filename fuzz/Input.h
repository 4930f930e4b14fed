// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>
#include <utility>

#include "tidewell/base/Exception.h"
#include "tidewell/base/Value.h"

namespace fuzz {

/// What a target does with each input.
void check(std::string_view input);

/// The text before and after the separator; the latter is "" without one.
inline std::pair<std::string_view, std::string_view> split(std::string_view text,
                                                           std::string_view separator) {
  const std::size_t at = std::min(text.find(separator), text.size());
  return {text.substr(0, at), text.substr(std::min(at + separator.size(), text.size()))};
}

inline void require(bool holds) {
  if (!holds) std::abort();
}

/// False if the body raises. The exception must have the given name.
template <class Body>
bool completes(std::string_view name, Body body) {
  try {
    body();
    return true;
  } catch (const tidewell::base::Exception& exception) {
    require(exception.name() == name);
    return false;
  }
}

}  // namespace fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  fuzz::check({reinterpret_cast<const char*>(data), size});
  return 0;
}
