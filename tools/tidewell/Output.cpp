// SPDX-License-Identifier: Apache-2.0
#include "Output.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "tidewell/base/formats/Json.h"
#include "tidewell/base/internal/Unicode.h"

namespace tidewell::tool {
namespace {

bool hasColor() {
  static const bool result = isatty(STDOUT_FILENO) == 1 && std::getenv("NO_COLOR") == nullptr;
  return result;
}

std::size_t columnsOf(std::string_view text) {
  return static_cast<std::size_t>(
      std::count_if(text.begin(), text.end(), [](char c) { return !base::continuesCharacter(c); }));
}

}  // namespace

std::string styled(std::string_view text, Style style) {
  if (style == Style::plain || !hasColor()) return std::string(text);
  const char* const code = style == Style::good    ? "32"
                           : style == Style::bad   ? "31"
                           : style == Style::faint ? "2"
                                                   : "1";
  return fmt::format("\033[{}m{}\033[0m", code, text);
}

std::string visible(std::string_view text) { return base::withVisibleControls(text, ""); }

std::string inQuotes(std::string_view text, std::size_t longest) {
  const std::string_view shown = base::prefixOfCharacters(text, longest);
  std::string result = "\"";
  for (const char c : visible(shown)) {
    if (c == '"') result += '\\';
    result += c;
  }
  result += '"';
  if (shown.size() < text.size()) result += fmt::format("… ({} bytes)", text.size());
  return result;
}

std::string shownValue(const base::Value& value, std::size_t longest) {
  if (value.isNil()) return "nil";
  if (value.isString()) return inQuotes(*value.string(), longest);
  if (value.kind() == base::ValueKind::boolean) return value.boolValue() ? "true" : "false";
  if (value.array()) {
    return fmt::format("{} {}", value.array()->count(), value.array()->count() == 1 ? "entry" : "entries");
  }
  std::string text = visible(value.description());
  if (text.size() <= longest) return text;
  return std::string(base::prefixOfCharacters(text, longest)) + "…";
}

std::string shortened(std::string_view secret) {
  if (secret.empty()) return {};
  return visible(base::prefixOfCharacters(secret, std::min<std::size_t>(4, secret.size() / 4))) + "…";
}

void printWrapped(std::string_view label, std::string_view text) {
  const std::size_t indent = columnsOf(label);
  std::string line(label);
  std::size_t column = indent;
  bool isFirst = true;
  while (!text.empty()) {
    const std::size_t end = std::min(text.find(' '), text.size());
    const std::string_view word = text.substr(0, end);
    text.remove_prefix(std::min(end + 1, text.size()));
    if (!isFirst && column + 1 + columnsOf(word) > kWidth) {
      printLine(line);
      line.assign(indent, ' ');
      column = indent;
      isFirst = true;
    }
    if (!isFirst) line += ' ';
    column += columnsOf(word) + (isFirst ? 0 : 1);
    line += word;
    isFirst = false;
  }
  printLine(line);
}

void printLine(std::string_view text) {
  std::fwrite(text.data(), 1, text.size(), stdout);
  std::fputc('\n', stdout);
}

void printJson(const base::Value& object) {
  printLine(base::dataWithJSONObject(object, base::JsonWriting::prettyPrinted));
}

std::string readInput(const std::string& path, std::size_t longest) {
  const int file = path == "-" ? dup(STDIN_FILENO) : open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (file < 0) throw Failure(visible(path) + ": " + std::strerror(errno));
  std::string bytes;
  char block[1 << 16];
  ssize_t length = 0;
  while (bytes.size() <= longest && ((length = read(file, block, sizeof block)) > 0 || errno == EINTR)) {
    if (length > 0) bytes.append(block, static_cast<std::size_t>(length));
    if (length == 0) break;
  }
  const int error = errno;
  close(file);
  if (length < 0) throw Failure(visible(path) + ": " + std::strerror(error));
  if (bytes.size() > longest) {
    throw Failure(fmt::format("{}: larger than {} MiB", visible(path), longest >> 20));
  }
  return bytes;
}

}  // namespace tidewell::tool
