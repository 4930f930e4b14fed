// SPDX-License-Identifier: Apache-2.0
#include "tidewell/base/Data.h"

#include <utility>

#include "tidewell/base/internal/Ascii.h"

namespace tidewell::base {

namespace {

constexpr std::size_t kShownWhole = 24;  // longer data prints only its beginning and end
constexpr std::size_t kGroup = 4;

void appendHex(std::string& out, std::string_view bytes) {
  for (const char c : bytes) detail::appendHex(out, static_cast<unsigned char>(c));
}

void appendGroups(std::string& out, std::string_view bytes) {
  for (std::size_t at = 0; at < bytes.size(); at += kGroup) {
    appendHex(out, bytes.substr(at, kGroup));
    out += ' ';
  }
}

}  // namespace

Data::Data(std::string bytes) {
  if (!bytes.empty()) bytes_ = std::make_shared<const std::string>(std::move(bytes));
}

Data::Data(const void* bytes, std::size_t length) {
  if (length > 0) bytes_ = std::make_shared<const std::string>(static_cast<const char*>(bytes), length);
}

const std::uint8_t* Data::bytes() const noexcept {
  return reinterpret_cast<const std::uint8_t*>(view().data());
}

std::string Data::description() const {
  std::string text = "{length = " + std::to_string(length()) + ", bytes = 0x";
  if (length() <= kShownWhole) {
    appendHex(text, view());
  } else {
    appendGroups(text, view().substr(0, 4 * kGroup));
    text += "... ";
    appendGroups(text, view().substr(length() - 2 * kGroup));
  }
  return text + "}";
}

}  // namespace tidewell::base
