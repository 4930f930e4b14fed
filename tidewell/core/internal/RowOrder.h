#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace tidewell {

/// The place of a row that an order leaves out.
inline constexpr std::int8_t kNoPlace = -1;

/// How many rows of a table have a place in an order.
template <class Table, class PlaceOf>
consteval std::size_t countPlaces(const Table& table, PlaceOf placeOf) {
  std::size_t count = 0;
  for (const auto& row : table) count += placeOf(row) != kNoPlace;
  return count;
}

/// The rows of a table, as their numbers in it, in the order of their places. Does not compile unless the
/// places are 0, 1, 2, … with each used once. `count` is what `countPlaces` answers.
template <std::size_t count, class Table, class PlaceOf>
consteval std::array<std::uint8_t, count> rowsInOrder(const Table& table, PlaceOf placeOf) {
  std::array<std::uint8_t, count> rows{};
  std::array<bool, count> isTaken{};
  std::uint8_t number = 0;
  for (const auto& row : table) {
    const auto place = placeOf(row);
    if (place != kNoPlace) {
      // Out of bounds, here or below, is what does not compile.
      const auto index = static_cast<std::size_t>(place);
      if (isTaken[index]) isTaken[count] = true;
      isTaken[index] = true;
      rows[index] = number;
    }
    ++number;
  }
  return rows;
}

}  // namespace tidewell
