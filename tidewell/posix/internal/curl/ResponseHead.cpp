// SPDX-License-Identifier: Apache-2.0
#include "tidewell/posix/internal/curl/ResponseHead.h"

#include <algorithm>

#include "tidewell/base/internal/Ascii.h"

namespace tidewell::posix {

using base::detail::equalsIgnoringCase;
using base::detail::trimmed;

bool ResponseHead::addLine(std::string_view line) {
  bytes_ += line.size();
  if (bytes_ > kMaximumBytes) return false;
  if (line.substr(0, 5) == "HTTP/") {
    fields_.clear();
    complete_ = false;
    return true;
  }
  if (trimmed(line).empty()) {
    complete_ = true;
    return true;
  }
  const bool continues = line[0] == ' ' || line[0] == '\t';
  if (continues && !fields_.empty()) {
    fields_.back().second.append(" ").append(trimmed(line));
    return true;
  }
  const std::size_t colon = line.find(':');
  if (colon == std::string_view::npos) return true;
  fields_.emplace_back(trimmed(line.substr(0, colon)), trimmed(line.substr(colon + 1)));
  return true;
}

bool ResponseHead::hasField(std::string_view name) const {
  return std::any_of(fields_.begin(), fields_.end(),
                     [name](const auto& field) { return equalsIgnoringCase(field.first, name); });
}

void ResponseHead::clear() {
  fields_.clear();
  bytes_ = 0;
  complete_ = false;
}

}  // namespace tidewell::posix
