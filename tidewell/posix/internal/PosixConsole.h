#pragma once

#include <functional>
#include <string>
#include <string_view>

#include "tidewell/platform/Console.h"

namespace tidewell::posix {

/// Standard error, or the host's sink.
///
/// A line is `2026-11-24 21:18:35.123456+0000 program[process] text`, its time in UTC, written with one
/// system call where the system takes it whole. Control characters in the text are written as `\u001b`, line
/// feeds and tabs apart; the sink gets the text as it is. A reader that is gone, or a file at its limit, does
/// no harm: the process gets neither SIGPIPE nor SIGXFSZ. A full pipe or terminal that the host made
/// non-blocking is waited for briefly, then the rest is dropped. No lock is held.
class PosixConsole final : public platform::Console {
 public:
  explicit PosixConsole(std::function<void(std::string_view)> sink);
  void write(std::string_view text) override;

 private:
  const std::function<void(std::string_view)> sink_;
  const std::string program_;
};

/// What the console does where the host has no sink. `errno` stays as it was.
void writeLineToStandardError(std::string_view program, std::string_view text);

}  // namespace tidewell::posix
