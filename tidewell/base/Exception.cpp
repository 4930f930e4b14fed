// SPDX-License-Identifier: Apache-2.0
#include "tidewell/base/Exception.h"

#include <cxxabi.h>
#include <unwind.h>

#include <array>
#include <cinttypes>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <typeinfo>

#include "tidewell/base/internal/CodeAddress.h"
#include "tidewell/base/internal/NumberText.h"

namespace tidewell::base {
namespace {

/// Stores addresses only: capturing them takes a microsecond, resolving their names a thousand times as long.
class CallStack {
 public:
  /// Captures the frames of the caller and its callers.
  [[gnu::noinline]] CallStack() noexcept { _Unwind_Backtrace(add, this); }

  [[nodiscard]] std::string symbols() const;

 private:
  static constexpr std::size_t kMaximumFrames = 96;
  static constexpr std::size_t kOwnFrames = 1;  // the constructor itself

  static _Unwind_Reason_Code add(_Unwind_Context* context, void* self) noexcept {
    CallStack& stack = *static_cast<CallStack*>(self);
    const std::uintptr_t frame = _Unwind_GetIP(context);
    if (frame == 0 || stack.count_ == kMaximumFrames) return _URC_END_OF_STACK;
    stack.frames_[stack.count_++] = frame;
    return _URC_NO_REASON;
  }

  std::array<std::uintptr_t, kMaximumFrames> frames_;
  std::size_t count_ = 0;
};

struct Free {
  void operator()(char* text) const noexcept { std::free(text); }
};

std::string demangled(const char* name) {
  int status = 0;
  const std::unique_ptr<char, Free> text(abi::__cxa_demangle(name, nullptr, nullptr, &status));
  return text ? text.get() : name;
}

/// The description if an exception's own cannot be allocated. Short enough for the small-string buffer.
std::string outOfMemory() noexcept { return "out of memory"; }

/// One line: the module's file name, the address, the symbol if one is exported, and the offset in the
/// module, which `addr2line -e MODULE OFFSET` turns into a source line even for a stripped program.
std::string frameLine(std::size_t index, std::uintptr_t frame) {
  char number[24], place[24];
  std::snprintf(number, sizeof number, "%-3zu ", index);
  std::snprintf(place, sizeof place, " 0x%016" PRIxPTR, frame);
  // A return address points behind the call, which may be the last instruction of its function.
  const auto call = describeCode(frame - 1);
  if (!call) return std::string(number).append("???").append(place);
  const std::string_view path = call->file;
  const std::string_view name = path.substr(path.rfind('/') + 1);
  std::string line = std::string(number).append(name).append(place).append(" ");
  if (call->symbol) {
    line.append(demangled(call->symbol)).append(" + ");
    appendInteger(line, call->symbolOffset + 1);
  } else {
    line.append("???");
  }
  line.append(" (").append(name).append("+0x");
  appendInteger(line, call->moduleOffset, 16);
  return line.append(")");
}

std::string CallStack::symbols() const {
  std::string text;
  for (std::size_t i = kOwnFrames; i < count_; ++i) {
    if (!text.empty()) text += '\n';
    text += frameLine(i - kOwnFrames, frames_[i]);
  }
  return text;
}

/// The type of the exception being handled, or null if it is not a C++ exception. Others (the unwinding of a
/// cancelled thread) must not be rethrown just to inspect them. For those libstdc++'s
/// `__cxa_current_exception_type` reads memory that is not part of the exception.
const std::type_info* currentType() noexcept {
  return std::current_exception() ? abi::__cxa_current_exception_type() : nullptr;
}

}  // namespace

struct Exception::Record {
  std::string name;
  std::string reason;
  CallStack stack;
};

Exception::Exception(std::string_view name, std::string_view reason)
    : record_(std::make_shared<const Record>(Record{std::string(name), std::string(reason), CallStack()})) {}
Exception::Exception(const Exception&) noexcept = default;
Exception& Exception::operator=(const Exception&) noexcept = default;
Exception::~Exception() = default;

const std::string& Exception::name() const noexcept { return record_->name; }
const std::string& Exception::reason() const noexcept { return record_->reason; }
const char* Exception::what() const noexcept { return record_->reason.c_str(); }
std::string Exception::callStackSymbols() const { return record_->stack.symbols(); }

void raise(std::string_view name, std::string_view reason) { throw Exception(name, reason); }

namespace {

std::string describeCurrentException() {
  if (!currentType()) return "an exception of another language";
  try {
    throw;
  } catch (const Exception& exception) {
    return exception.reason();
  } catch (const std::exception& exception) {
    const char* text = exception.what();
    return text ? text : "";
  } catch (...) {
    return "an exception of type " + demangled(currentType()->name());
  }
}

std::string currentSymbols() {
  if (currentType()) {
    try {
      throw;
    } catch (const Exception& exception) {
      return exception.callStackSymbols();
    } catch (...) {
      // No frames were captured; those of the catching function follow.
    }
  }
  return "(the frames that caught the exception, not those that threw it)\n" + CallStack().symbols();
}

}  // namespace

std::string currentExceptionDescription() noexcept {
  try {
    return describeCurrentException();
  } catch (...) {
    return outOfMemory();
  }
}

std::string currentExceptionCallStackSymbols() noexcept {
  try {
    return currentSymbols();
  } catch (...) {
    return outOfMemory();
  }
}

}  // namespace tidewell::base
