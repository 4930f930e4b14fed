// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <exception>
#include <memory>
#include <string>
#include <string_view>

#include "tidewell/base/Export.h"

namespace tidewell::base {

/// Names of raised exceptions, as the platform spells them.
inline constexpr std::string_view kInvalidArgumentException = "NSInvalidArgumentException";
inline constexpr std::string_view kRangeException = "NSRangeException";
inline constexpr std::string_view kUnknownKeyException = "NSUnknownKeyException";
inline constexpr std::string_view kInternalInconsistencyException = "NSInternalInconsistencyException";
inline constexpr std::string_view kInvalidUnarchiveOperationException =
    "NSInvalidUnarchiveOperationException";

/// A raised platform exception: a name, a reason, and the call stack at its construction.
///
/// Copies are cheap and share one immutable record, which any thread may read. No operation raises.
class TIDEWELL_EXPORT Exception : public std::exception {
 public:
  Exception(std::string_view name, std::string_view reason);
  Exception(const Exception&) noexcept;
  Exception& operator=(const Exception&) noexcept;
  ~Exception() override;

  [[nodiscard]] const std::string& name() const noexcept;
  [[nodiscard]] const std::string& reason() const noexcept;
  /// What `%@` prints for an exception: its reason.
  [[nodiscard]] const std::string& description() const noexcept { return reason(); }
  [[nodiscard]] const char* what() const noexcept override;
  /// The frames that were active when the exception was constructed, one per line, innermost first. Symbol
  /// names are resolved by this call. Empty if the system provides no call stack.
  [[nodiscard]] std::string callStackSymbols() const;

 private:
  struct Record;
  std::shared_ptr<const Record> record_;
};

/// Throws an `Exception`. Defined in a source file, so that headers that raise compile without exceptions.
[[noreturn]] TIDEWELL_EXPORT void raise(std::string_view name, std::string_view reason);

/// What `%@` prints for the exception being handled: the reason of an `Exception`, `what()` of any other
/// `std::exception`, a fixed text for anything else, and "out of memory" if the text cannot be allocated.
/// Call only inside a `catch` block.
[[nodiscard]] TIDEWELL_EXPORT std::string currentExceptionDescription() noexcept;

/// The call stack of the exception being handled. For one that is not an `Exception`, the frames are those of
/// the catching function, and the first line says so. Call only inside a `catch` block.
[[nodiscard]] TIDEWELL_EXPORT std::string currentExceptionCallStackSymbols() noexcept;

}  // namespace tidewell::base
