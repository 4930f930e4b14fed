// SPDX-License-Identifier: Apache-2.0
#include "tidewell/base/Exception.h"

#include <cxxabi.h>
#include <dlfcn.h>
#include <execinfo.h>
#include <fmt/format.h>
#include <link.h>

#include <array>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <typeinfo>

namespace tidewell::base {
namespace {

/// Stores addresses only: capturing them takes a microsecond, resolving their names a thousand times as long.
class CallStack {
 public:
  /// Captures the frames of the caller and its callers.
  [[gnu::noinline]] CallStack() noexcept : count_(backtrace(frames_.data(), kMaximumFrames)) {}

  [[nodiscard]] std::string symbols() const;

 private:
  static constexpr int kMaximumFrames = 96;
  static constexpr int kOwnFrames = 1;  // the constructor itself

  std::array<void*, kMaximumFrames> frames_;
  int count_;
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
std::string frameLine(int index, void* frame) {
  const auto address = reinterpret_cast<std::uintptr_t>(frame);
  // A return address points behind the call, which may be the last instruction of its function.
  void* const call = reinterpret_cast<void*>(address - 1);
  Dl_info info{};
  link_map* module = nullptr;
  if (!dladdr1(call, &info, reinterpret_cast<void**>(&module), RTLD_DL_LINKMAP) || !info.dli_fname) {
    return fmt::format("{:<3} ??? {:#018x}", index, address);
  }
  const std::string_view path = info.dli_fname;
  const std::string_view name = path.substr(path.rfind('/') + 1);
  const std::uintptr_t offset = address - 1 - (module ? static_cast<std::uintptr_t>(module->l_addr) : 0);
  const std::string symbol = info.dli_sname
                                 ? fmt::format("{} + {}", demangled(info.dli_sname),
                                               address - reinterpret_cast<std::uintptr_t>(info.dli_saddr))
                                 : std::string("???");
  return fmt::format("{:<3} {} {:#018x} {} ({}+{:#x})", index, name, address, symbol, name, offset);
}

std::string CallStack::symbols() const {
  std::string text;
  for (int i = kOwnFrames; i < count_; ++i) {
    if (!text.empty()) text += '\n';
    text += frameLine(i - kOwnFrames, frames_[static_cast<std::size_t>(i)]);
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
