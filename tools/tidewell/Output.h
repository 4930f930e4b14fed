// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <stdexcept>
#include <string>
#include <string_view>

#include "tidewell/base/Value.h"

namespace tidewell::tool {

/// Ends the program with status 2 and this sentence on standard error.
class Failure : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// The widest line of text.
inline constexpr std::size_t kWidth = 80;

enum class Style { plain, good, bad, faint, heading };

/// The text in a style, if standard output is a terminal and NO_COLOR is not set; else unchanged.
[[nodiscard]] std::string styled(std::string_view text, Style style);

/// Text from a file or a server with control characters escaped, so that it cannot control the terminal.
[[nodiscard]] std::string visible(std::string_view text);
/// The same in quotation marks, cut after `longest` bytes.
[[nodiscard]] std::string inQuotes(std::string_view text, std::size_t longest = 200);
/// A value on one line: a text in quotation marks, a list as the number of its entries; about `longest`
/// bytes.
[[nodiscard]] std::string shownValue(const base::Value& value, std::size_t longest = 40);
/// The first characters of a secret.
[[nodiscard]] std::string shortened(std::string_view secret);

/// Prints text as lines of at most `kWidth` columns: the first after `label`, the others below its end.
void printWrapped(std::string_view label, std::string_view text);
void printLine(std::string_view text = {});
void printJson(const base::Value& object);

/// The bytes of a file, or of standard input for "-". Raises `Failure` if it cannot be read or is longer.
[[nodiscard]] std::string readInput(const std::string& path, std::size_t longest = 64u << 20);

}  // namespace tidewell::tool
