#include "tidewell/posix/curl/ResponseHead.h"

#include <strings.h>

#include <algorithm>

namespace tidewell::posix {
namespace {

constexpr std::string_view kBlank = " \t\r\n";

std::string_view trimmed(std::string_view text) {
  const std::size_t first = text.find_first_not_of(kBlank);
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(kBlank) - first + 1);
}

}  // namespace

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
  return std::any_of(fields_.begin(), fields_.end(), [name](const auto& field) {
    return field.first.size() == name.size() &&
           strncasecmp(field.first.data(), name.data(), name.size()) == 0;
  });
}

void ResponseHead::clear() {
  fields_.clear();
  bytes_ = 0;
  complete_ = false;
}

}  // namespace tidewell::posix
