#pragma once

#include <cstddef>
#include <functional>
#include <string>

/// Benchmarks that stand beside their floor: what the same work costs at least, or costs a peer.
///
///     ratio("gate question", 1.5, [](std::size_t n) { while (n--) keep(ask()); },
///                                 [](std::size_t n) { while (n--) keep(load()); });
///     figure("stripped library", "1.9 MB");
///     int main(int argc, char** argv) { return bench::run(argc, argv); }
///
/// The two of a pair run in turn, several times, in one process, so that a busy machine slows both down; the
/// turn whose ratio is the median counts. Each program prints one table: what, ours, floor, ratio, goal.
/// Timings never decide the exit status.
namespace bench {

/// Does the work so many times.
using Work = std::function<void(std::size_t times)>;

/// How a pair is measured.
struct Options {
  int turns = 60;  ///< how often each of the two is timed; many, so that both meet a quiet moment
  double secondsPerTurn = 0.005;  ///< how long a timed stretch is at least
  bool higherIsBetter = false;    ///< the goal is a least ratio of speeds, not a greatest one of times
};

/// Adds a row. `goal` is the greatest ratio of the times (ours to the floor's) that is wanted; 0 where there
/// is none.
void ratio(std::string what, double goal, Work ours, Work floor, Options options = {});

/// Adds a row that one call measures itself: seconds of ours and of the floor. For work that cannot be
/// repeated in a loop: processes, whole transfers.
struct Pair {
  double ours = 0;
  double floor = 0;
};
void measured(std::string what, double goal, std::function<Pair()> measure, Options options = {});

/// Adds a line that holds a figure without a floor; it is asked for when the table is printed.
void figure(std::string what, std::function<std::string()> value);
void figure(std::string what, std::string value);

/// Runs what was added, in that order, and prints the table. An argument that is no option selects the rows
/// whose name holds it; options go to Google Benchmark. Answers 0 unless the arguments are wrong.
int run(int argc, char** argv);

/// Seconds of the steady clock that one call takes.
double secondsOf(const std::function<void()>& work);

/// Keeps the compiler from dropping a result.
template <class T>
inline void keep(T&& value) {
  asm volatile("" : : "r,m"(value) : "memory");
}

}  // namespace bench
