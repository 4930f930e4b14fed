// SPDX-License-Identifier: Apache-2.0
#include "Ratio.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cctype>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <optional>
#include <string_view>
#include <utility>
#include <vector>

namespace bench {
namespace {

struct Row {
  std::string what;
  double goal = 0;
  Options options;
  Work ours;
  Work floor;
  std::function<Pair()> measure;
  std::function<std::string()> value;
};

std::vector<Row>& rows() {
  static std::vector<Row> all;
  return all;
}

/// Keeps the time of the last run instead of printing it.
class Collector final : public benchmark::BenchmarkReporter {
 public:
  bool ReportContext(const Context&) override { return true; }
  void ReportRuns(const std::vector<Run>& runs) override {
    for (const Run& run : runs) {
      if (run.run_type == Run::RT_Iteration && run.iterations > 0) {
        seconds_ = run.real_accumulated_time / static_cast<double>(run.iterations);
      }
    }
  }
  [[nodiscard]] double seconds() const { return seconds_; }

 private:
  double seconds_ = 0;
};

void registerWork(const std::string& name, const Work& work, const Options& options) {
  benchmark::RegisterBenchmark(name.c_str(),
                               [work](benchmark::State& state) {
                                 while (state.KeepRunningBatch(state.max_iterations)) {
                                   work(static_cast<std::size_t>(state.max_iterations));
                                 }
                               })
      ->MinTime(options.secondsPerTurn)
      ->UseRealTime();
}

double timeOf(const std::string& name) {
  Collector collector;
  benchmark::RunSpecifiedBenchmarks(&collector, "^" + name + "(/.*)?$");
  return collector.seconds();
}

/// The ratio as it is printed: of times, or of speeds.
double ratioOf(const Pair& pair, const Options& options) {
  return options.higherIsBetter ? pair.floor / pair.ours : pair.ours / pair.floor;
}

/// The pair with the median ratio, and the quarter points of the ratios. A machine is slower for milliseconds
/// or seconds at a time. That usually affects both times of a pair, so their ratio is stable, while the best
/// time of each may come from different moments.
struct Result {
  Pair middle;
  double low = 0;
  double high = 0;
};
Result resultOf(std::vector<Pair> pairs, const Options& options) {
  const auto isBefore = [&](const Pair& a, const Pair& b) {
    return ratioOf(a, options) < ratioOf(b, options);
  };
  std::sort(pairs.begin(), pairs.end(), isBefore);
  const std::size_t count = pairs.size();
  return {pairs[count / 2], ratioOf(pairs[count / 4], options), ratioOf(pairs[count * 3 / 4], options)};
}

/// Runs the two alternately; each is first in every other turn.
Result interleaved(const Row& row) {
  benchmark::ClearRegisteredBenchmarks();
  registerWork("ours", row.ours, row.options);
  registerWork("floor", row.floor, row.options);
  std::vector<Pair> pairs;
  for (int turn = 0; turn < row.options.turns; ++turn) {
    Pair pair;
    if (turn % 2 == 0) pair.ours = timeOf("ours");
    pair.floor = timeOf("floor");
    if (turn % 2 != 0) pair.ours = timeOf("ours");
    pairs.push_back(pair);
  }
  return resultOf(std::move(pairs), row.options);
}

Result measuredInTurns(const Row& row) {
  std::vector<Pair> pairs;
  for (int turn = 0; turn < row.options.turns; ++turn) pairs.push_back(row.measure());
  return resultOf(std::move(pairs), row.options);
}

std::string formatted(const char* format, double number) {
  char text[64];
  std::snprintf(text, sizeof text, format, number);
  return text;
}

std::string timeText(double seconds) {
  if (seconds < 1e-6) return formatted("%.2f ns", seconds * 1e9);
  if (seconds < 1e-3) return formatted("%.2f us", seconds * 1e6);
  if (seconds < 1) return formatted("%.2f ms", seconds * 1e3);
  return formatted("%.2f s", seconds);
}

void printLine(const char* what, const char* ours, const char* floor, const char* ratio, const char* goal) {
  std::printf("%-64s %12s %12s %7s  %s\n", what, ours, floor, ratio, goal);
  std::fflush(stdout);
}

/// A quarter of the turns was below `low` and a quarter above `high`; printed if they differ by this much.
constexpr double kSpreadThatIsPrinted = 0.1;

void printPair(const Row& row, const Result& result) {
  const Pair& pair = result.middle;
  const bool faster = row.options.higherIsBetter;
  const double ratio = ratioOf(pair, row.options);
  std::string goal = "-";
  if (row.goal > 0) {
    const bool met = faster ? ratio >= row.goal : ratio <= row.goal;
    goal = formatted(faster ? ">= %.2f" : "<= %.2f", row.goal) + (met ? "" : "  MISSED");
  }
  if (result.high > result.low * (1 + kSpreadThatIsPrinted)) {
    goal += formatted("  (%.2f", result.low) + formatted(" to %.2f)", result.high);
  }
  printLine(row.what.c_str(), timeText(pair.ours).c_str(), timeText(pair.floor).c_str(),
            formatted("%.2f", ratio).c_str(), goal.c_str());
}

/// The argument `--times=ours:N` or `--times=floor:N`.
struct Repetition {
  bool ofOurs = true;
  std::size_t times = 0;

  static std::optional<Repetition> of(std::string_view word) {
    for (const bool ours : {true, false}) {
      const std::string_view option = ours ? "--times=ours:" : "--times=floor:";
      if (!word.starts_with(option)) continue;
      return Repetition{ours, std::strtoull(word.data() + option.size(), nullptr, 10)};
    }
    return std::nullopt;
  }
};

}  // namespace

void ratio(std::string what, double goal, Work ours, Work floor, Options options) {
  Row row;
  row.what = std::move(what);
  row.goal = goal;
  row.ours = std::move(ours);
  row.floor = std::move(floor);
  row.options = options;
  rows().push_back(std::move(row));
}

void measured(std::string what, double goal, std::function<Pair()> measure, Options options) {
  Row row;
  row.what = std::move(what);
  row.goal = goal;
  row.measure = std::move(measure);
  row.options = options;
  rows().push_back(std::move(row));
}

void figure(std::string what, std::function<std::string()> value) {
  Row row;
  row.what = std::move(what);
  row.value = std::move(value);
  rows().push_back(std::move(row));
}

void figure(std::string what, std::string value) {
  figure(std::move(what), [value = std::move(value)] { return value; });
}

int run(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  std::vector<std::string_view> wanted(argv + 1, argv + argc);
  const std::optional<Repetition> repetition = argc > 1 ? Repetition::of(wanted.front()) : std::nullopt;
  if (repetition) wanted.erase(wanted.begin());
  for (const std::string_view word : wanted) {
    if (!word.starts_with('-')) continue;
    std::fprintf(stderr,
                 "usage: %s [--benchmark_OPTION=... | --times=ours|floor:N] [TEXT IN THE NAMES OF ROWS...]\n",
                 argv[0]);
    return 2;
  }
  const auto isWanted = [&wanted](std::string_view name) {
    const auto equal = [](unsigned char a, unsigned char b) { return std::tolower(a) == std::tolower(b); };
    return wanted.empty() || std::any_of(wanted.begin(), wanted.end(), [&](std::string_view word) {
             return std::search(name.begin(), name.end(), word.begin(), word.end(), equal) != name.end();
           });
  };
  if (repetition) {
    for (const Row& row : rows()) {
      if (isWanted(row.what) && row.ours)
        return (repetition->ofOurs ? row.ours : row.floor)(repetition->times), 0;
    }
    return 2;
  }
  printLine("what", "ours", "floor", "ratio", "goal");
  for (const Row& row : rows()) {
    if (!isWanted(row.what)) continue;
    if (row.value) {
      std::printf("%-64s %s\n", row.what.c_str(), row.value().c_str());
      std::fflush(stdout);  // a program that exits without its atexit functions would lose buffered output
    } else {
      printPair(row, row.measure ? measuredInTurns(row) : interleaved(row));
    }
  }
  return 0;
}

double secondsOf(const std::function<void()>& work) {
  const auto start = std::chrono::steady_clock::now();
  work();
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

}  // namespace bench
