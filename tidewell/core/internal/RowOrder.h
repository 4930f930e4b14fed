// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace tidewell {

/// The place of a row that is not part of an order.
inline constexpr std::int8_t kNoPlace = -1;

/// The number of rows that have a place in an order.
template <class Table, class PlaceOf>
consteval std::size_t countPlaces(const Table& table, PlaceOf placeOf) {
  std::size_t count = 0;
  for (const auto& row : table) count += placeOf(row) != kNoPlace;
  return count;
}

/// Whether the places in a table are 0, 1, 2, …, each used once.
template <class Table, class PlaceOf>
consteval bool hasEveryPlaceOnce(const Table& table, PlaceOf placeOf) {
  for (std::size_t place = 0; place < countPlaces(table, placeOf); ++place) {
    std::size_t count = 0;
    for (const auto& row : table) count += placeOf(row) == static_cast<std::int8_t>(place);
    if (count != 1) return false;
  }
  return true;
}

/// The indices of a table's rows, sorted by their places. `count` is the result of `countPlaces`.
template <std::size_t count, class Table, class PlaceOf>
consteval std::array<std::uint8_t, count> rowsInOrder(const Table& table, PlaceOf placeOf) {
  std::array<std::uint8_t, count> rows{};
  std::uint8_t number = 0;
  for (const auto& row : table) {
    if (placeOf(row) != kNoPlace) rows[static_cast<std::size_t>(placeOf(row))] = number;
    ++number;
  }
  return rows;
}

}  // namespace tidewell
