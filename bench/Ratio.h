#pragma once

#include <cstddef>
#include <functional>
#include <string>

/// Benchmarks measured against their floor: the minimum cost of the same work, or its cost with another
/// library.
///
///     ratio("gate question", 1.5, [](std::size_t n) { while (n--) keep(ask()); },
///                                 [](std::size_t n) { while (n--) keep(load()); });
///     figure("stripped library", "1.9 MB");
///     int main(int argc, char** argv) { return bench::run(argc, argv); }
///
/// The two of a pair run alternately, several times, in one process, so that a busy machine slows both down;
/// the repetition with the median ratio counts. Each program prints one table: what, ours, floor, ratio,
/// goal. Timings never affect the exit status.
namespace bench {

/// Repeats the work that many times.
using Work = std::function<void(std::size_t times)>;

/// How a pair is measured.
struct Options {
  int turns = 60;                 ///< repetitions of each; many, so that some are undisturbed
  double secondsPerTurn = 0.005;  ///< the minimum length of a repetition
  bool higherIsBetter = false;  ///< the goal is a minimum ratio of speeds instead of a maximum ratio of times
};

/// Adds a row. `goal` is the maximum ratio of the times (ours to the floor's); 0 for none.
void ratio(std::string what, double goal, Work ours, Work floor, Options options = {});

/// Adds a row measured by one call, in seconds of ours and of the floor: for work that cannot be repeated in
/// a loop, such as processes and whole transfers.
struct Pair {
  double ours = 0;
  double floor = 0;
};
void measured(std::string what, double goal, std::function<Pair()> measure, Options options = {});

/// Adds a line with a figure without a floor. `value` is called when the table is printed.
void figure(std::string what, std::function<std::string()> value);
void figure(std::string what, std::string value);

/// Runs the rows in the order of addition and prints the table. Arguments that are not options select rows
/// whose name contains them; options are passed to Google Benchmark. Returns 0 unless the arguments are
/// invalid.
int run(int argc, char** argv);

/// The duration of one call in seconds, by the steady clock.
double secondsOf(const std::function<void()>& work);

/// Keeps the compiler from optimising a result away.
template <class T>
inline void keep(T&& value) {
  asm volatile("" : : "r,m"(value) : "memory");
}

}  // namespace bench
