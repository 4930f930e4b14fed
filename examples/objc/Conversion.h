// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdlib>
#include <exception>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>

#include "CaughtException.h"
#include "tidewell/base/Exception.h"
#include "tidewell/base/Value.h"

#import <Foundation/Foundation.h>

/// What the facade's classes need to call C++ from Objective-C, and the reverse. Stateless; any thread.
namespace facade {

/// nil gives nil. An object of a class that `Value` does not know gives its description. Raises
/// `kInvalidArgumentException` beyond `kMaximumDepth` levels of containers, so that a container in itself
/// ends.
[[nodiscard]] tidewell::base::Value valueOf(id object, int depth = 0);
inline constexpr int kMaximumDepth = 512;
/// nil gives no value. Half a surrogate pair, which UTF-8 cannot express, becomes a question mark.
[[nodiscard]] std::optional<std::string> textOf(NSString* text);
/// Autoreleased; nil for nil.
[[nodiscard]] id objectOf(const tidewell::base::Value& value);
[[nodiscard]] NSString* stringOf(std::string_view text);
[[nodiscard]] NSString* stringOrNil(const std::optional<std::string>& text);
[[nodiscard]] NSException* exceptionOf(const tidewell::base::Exception& exception);

/// Calls the library for Objective-C code: a C++ exception becomes an `NSException`.
template <class Function>
auto raisingObjectiveC(Function function) {
  NSException* raised = nil;
  try {
    return function();
  } catch (const tidewell::base::Exception& exception) {
    raised = exceptionOf(exception);
  } catch (const std::exception& exception) {
    raised = [NSException exceptionWithName:NSGenericException
                                     reason:stringOf(exception.what())
                                   userInfo:nil];
  }
  [raised raise];  // outside the handler, whose end releases the C++ exception
  std::abort();    // not reached
}

/// Calls Foundation for the library: an `NSException` becomes an `Exception`. The calling thread may be one
/// that Foundation did not start.
template <class Function>
auto raisingCpp(Function function) {
  struct Pool {
    NSAutoreleasePool* const pool = [NSAutoreleasePool new];
    ~Pool() { [pool release]; }
  } const pool;
  using Result = decltype(function());
  std::conditional_t<std::is_void_v<Result>, bool, std::optional<Result>> result{};
  auto call = [&] {
    if constexpr (std::is_void_v<Result>) {
      function();
    } else {
      result.emplace(function());
    }
  };
  using Call = decltype(call);
  NSException* const raised = caughtException([](void* context) { (*static_cast<Call*>(context))(); }, &call);
  if (raised != nil) {
    [raised autorelease];
    tidewell::base::raise(textOf([raised name]).value_or(""), textOf([raised reason]).value_or(""));
  }
  if constexpr (!std::is_void_v<Result>) return *std::move(result);
}

}  // namespace facade
