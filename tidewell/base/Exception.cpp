// SPDX-License-Identifier: Apache-2.0
#include "tidewell/base/Exception.h"

#include <cxxabi.h>
#include <dlfcn.h>
#include <execinfo.h>
#include <link.h>

#include <array>
#include <cinttypes>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <typeinfo>

#include "tidewell/base/internal/NumberText.h"

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
  char number[24], place[24];
  std::snprintf(number, sizeof number, "%-3d ", index);
  std::snprintf(place, sizeof place, " 0x%016" PRIxPTR, address);
  // A return address points behind the call, which may be the last instruction of its function.
  void* const call = reinterpret_cast<void*>(address - 1);
  Dl_info info{};
  link_map* module = nullptr;
  if (!dladdr1(call, &info, reinterpret_cast<void**>(&module), RTLD_DL_LINKMAP) || !info.dli_fname) {
    return std::string(number).append("???").append(place);
  }
  const std::string_view path = info.dli_fname;
  const std::string_view name = path.substr(path.rfind('/') + 1);
  const std::uintptr_t offset = address - 1 - (module ? static_cast<std::uintptr_t>(module->l_addr) : 0);
  std::string line = std::string(number).append(name).append(place).append(" ");
  if (info.dli_sname) {
    line.append(demangled(info.dli_sname)).append(" + ");
    appendInteger(line, address - reinterpret_cast<std::uintptr_t>(info.dli_saddr));
  } else {
    line.append("???");
  }
  appendAddress(line.append(" (").append(name).append("+"), reinterpret_cast<const void*>(offset));
  return line.append(")");
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
/// cancelled thread) must not be rethrown just to inspect them.
const std::type_info* currentType() noexcept { return abi::__cxa_current_exception_type(); }

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
