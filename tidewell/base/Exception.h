#pragma once

#include <exception>
#include <memory>
#include <string>
#include <string_view>

#include "tidewell/base/Export.h"

namespace tidewell::base {

/// The names that raised exceptions bear, as the platform spells them.
inline constexpr std::string_view kInvalidArgumentException = "NSInvalidArgumentException";
inline constexpr std::string_view kRangeException = "NSRangeException";
inline constexpr std::string_view kUnknownKeyException = "NSUnknownKeyException";
inline constexpr std::string_view kInternalInconsistencyException = "NSInternalInconsistencyException";
inline constexpr std::string_view kInvalidUnarchiveOperationException =
    "NSInvalidUnarchiveOperationException";

/// A raised platform exception: a name and a reason, and the place where it was made.
///
/// Copies are cheap and share one immutable record, so an exception may be kept and looked at from any
/// thread. None of the operations raises.
class TIDEWELL_EXPORT Exception : public std::exception {
 public:
  Exception(std::string_view name, std::string_view reason);
  Exception(const Exception&) noexcept;
  Exception& operator=(const Exception&) noexcept;
  ~Exception() override;

  [[nodiscard]] const std::string& name() const noexcept;
  [[nodiscard]] const std::string& reason() const noexcept;
  /// What `%@` prints for the exception: its reason.
  [[nodiscard]] const std::string& description() const noexcept { return reason(); }
  [[nodiscard]] const char* what() const noexcept override;
  /// The frames that were active when the exception was made, one a line, innermost first. Names are resolved
  /// by this call, not when the exception is made. Empty where the system gives no call stack.
  [[nodiscard]] std::string callStackSymbols() const;

 private:
  struct Record;
  std::shared_ptr<const Record> record_;
};

/// Throws an `Exception`. Stands in a source file, so that headers which raise compile without exceptions.
[[noreturn]] TIDEWELL_EXPORT void raise(std::string_view name, std::string_view reason);

/// What `%@` prints for the exception that is being handled: the reason of an `Exception`, `what()` of
/// another `std::exception`, and a fixed text for anything else; "out of memory" where there is none for the
/// text. Call it inside a `catch` block only.
[[nodiscard]] TIDEWELL_EXPORT std::string currentExceptionDescription() noexcept;

/// The call stack of the exception that is being handled. For one that is not an `Exception` the frames are
/// those of the catching function, and the first line says so. Call it inside a `catch` block only.
[[nodiscard]] TIDEWELL_EXPORT std::string currentExceptionCallStackSymbols() noexcept;

}  // namespace tidewell::base
