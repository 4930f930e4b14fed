// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <string>
#include <string_view>

#include "tidewell/platform/Console.h"

namespace tidewell::posix {

/// Writes to standard error or to the host's sink.
///
/// A line is `2026-11-24 21:18:35.123456+0000 program[process] text`, with the time in UTC, written with one
/// system call unless the system accepts only part of it. Control characters other than line feeds and tabs
/// are written as `\u001b`; the sink receives the text unchanged. A closed pipe or a file at its size limit
/// raises neither SIGPIPE nor SIGXFSZ. If a pipe or terminal that the host made non-blocking is full, waits
/// briefly and then drops the rest. Takes no lock.
class PosixConsole final : public platform::Console {
 public:
  explicit PosixConsole(std::function<void(std::string_view)> sink);
  void write(std::string_view text) override;

 private:
  const std::function<void(std::string_view)> sink_;
  const std::string program_;
};

/// Writes as the console does if the host has no sink. Preserves `errno`.
void writeLineToStandardError(std::string_view program, std::string_view text);

}  // namespace tidewell::posix
