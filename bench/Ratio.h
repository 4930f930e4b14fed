// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <functional>
#include <string>

/// Benchmarks beside their floor: a lower bound for the same work, or a peer, which is a comparable library.
///
///     ratio("gate question", 1.5, [](std::size_t n) { while (n--) keep(ask()); },
///                                 [](std::size_t n) { while (n--) keep(load()); });
///     figure("stripped library", "1.9 MB");
///     int main(int argc, char** argv) { return bench::run(argc, argv); }
///
/// The two of a pair run alternately, several times, in one process, so that load on the machine slows down
/// both. The turn with the median ratio counts; the quarter points are printed if they differ by a tenth.
/// Each program prints one table: what, ours, floor, ratio, goal. Timings never decide the exit status.
namespace bench {

/// Does the work a number of times.
using Work = std::function<void(std::size_t times)>;

/// How a pair is measured.
struct Options {
  int turns = 60;                 ///< how often each of the two is timed
  double secondsPerTurn = 0.005;  ///< the minimum duration of a timed run
  bool higherIsBetter = false;  ///< the goal is a minimum ratio of speeds instead of a maximum ratio of times
};

/// Adds a row. `goal` is the maximum ratio of the times (ours to the floor's); 0 for no goal.
void ratio(std::string what, double goal, Work ours, Work floor, Options options = {});

/// Adds a row that one call measures itself: seconds of ours and of the floor. For work that cannot be
/// repeated in a loop: processes, whole transfers.
struct Pair {
  double ours = 0;
  double floor = 0;
};
void measured(std::string what, double goal, std::function<Pair()> measure, Options options = {});

/// Adds a line with a figure without a floor; it is computed when the table is printed.
void figure(std::string what, std::function<std::string()> value);
void figure(std::string what, std::string value);

/// Runs the rows in the order in which they were added, and prints the table. Arguments that are not options
/// select the rows whose names contain one of them, in any case; options go to Google Benchmark. As the first
/// argument, `--times=ours:N` or `--times=floor:N` instead runs one of the two of the first selected row N
/// times, for tools that count. Returns 0 unless the arguments are wrong.
int run(int argc, char** argv);

/// The duration of one call, in seconds of the steady clock.
double secondsOf(const std::function<void()>& work);

/// Prevents the compiler from optimising a result away.
template <class T>
inline void keep(T&& value) {
  asm volatile("" : : "r,m"(value) : "memory");
}

}  // namespace bench
