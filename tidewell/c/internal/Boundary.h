// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>

#include "tidewell/base/Url.h"
#include "tidewell/base/Value.h"
#include "tidewell/base/internal/CancellationShield.h"
#include "tidewell/c/tidewell.h"

// What every function of the C interface does with its arguments, its results and exceptions.
namespace tidewell::c {

/// Thrown inside `statusOf` and `valueOf` to end a call with a status.
struct Refusal {
  tdw_status status;
};
/// Throws `Refusal` unless the condition holds.
inline void require(bool holds, tdw_status otherwise = TDW_INVALID) {
  if (!holds) throw Refusal{otherwise};
}

/// The status for the exception being handled, which is logged unless it is a `Refusal` or lack of memory.
/// Call only inside a `catch` block.
[[nodiscard]] tdw_status statusOfCaughtException() noexcept;

/// Runs `body`, which returns nothing or a status, and turns exceptions into a status.
template <class Body>
tdw_status statusOf(Body&& body) noexcept {
  const base::CancellationShield shield;
  try {
    if constexpr (std::is_void_v<decltype(body())>) {
      body();
      return TDW_OK;
    } else {
      return body();
    }
  } catch (...) {
    return statusOfCaughtException();
  }
}

/// Runs `body`; returns `fallback` after an exception.
template <class Fallback, class Body>
Fallback valueOf(Fallback fallback, Body&& body) noexcept {
  const base::CancellationShield shield;
  try {
    return body();
  } catch (...) {
    static_cast<void>(statusOfCaughtException());
  }
  return fallback;
}

// Arguments. All throw `Refusal` for text that is ill-formed or too long.

/// No value for null.
[[nodiscard]] std::optional<std::string_view> optionalText(const char* text,
                                                           std::size_t maximum = TDW_MAXIMUM_TEXT);
/// Refuses null.
[[nodiscard]] std::string_view requiredText(const char* text);
/// Refuses null and what is no URL.
[[nodiscard]] base::Url requiredUrl(const char* text);
/// No value for null; refuses what is no URL.
[[nodiscard]] std::optional<base::Url> optionalUrl(const char* text);
/// nil for null; refuses text that is no JSON. Any kind of value.
[[nodiscard]] base::Value valueOfJson(const char* json);
/// No value for null; refuses text that is no JSON object.
[[nodiscard]] std::optional<base::Dictionary> optionalObject(const char* json);
/// Refuses numbers outside an enumeration from 0 to `last`; returns the number as `Enumeration`.
template <class Enumeration>
Enumeration required(std::int32_t number, std::int32_t last) {
  require(number >= 0 && number <= last);
  return static_cast<Enumeration>(number);
}

/// From 0 to a year, so that it can be added to a time.
inline std::chrono::milliseconds duration(std::int64_t milliseconds) noexcept {
  constexpr std::int64_t kYear = std::int64_t{366} * 24 * 3600 * 1000;
  return std::chrono::milliseconds(std::clamp(milliseconds, std::int64_t{0}, kYear));
}
/// The functions of a host's table that the host knows of, by the table's size; the others are null. Refuses
/// a table without room for its first function.
template <class Table>
Table knownPart(const Table& table) {
  require(table.size >= sizeof(std::size_t) + sizeof(void*));
  Table known{};
  std::memcpy(static_cast<void*>(&known), &table,
              std::min(table.size - table.size % sizeof(void*), sizeof known));
  return known;
}

// Results.

/// A copy for `tdw_free`; null for no value. Throws `std::bad_alloc`.
[[nodiscard]] char* handedOut(std::optional<std::string_view> text, std::size_t* length);
/// Runs `body`, which returns an optional text or value, and hands out what it returns.
template <class Body>
char* textOf(std::size_t* length, Body&& body) noexcept {
  if (length != nullptr) *length = 0;
  return valueOf(static_cast<char*>(nullptr), [&] { return handedOut(body(), length); });
}

/// A value of any kind as JSON; no value for nil. What JSON cannot represent becomes its description.
[[nodiscard]] std::optional<std::string> jsonOf(const base::Value& value);
/// A pointer for a callback; null for no value.
inline const char* pointerTo(const std::optional<std::string>& text) {
  return text ? text->c_str() : nullptr;
}
/// The text with every ill-formed sequence of UTF-8 replaced.
[[nodiscard]] std::optional<std::string> wellFormed(std::optional<std::string> text);

}  // namespace tidewell::c
