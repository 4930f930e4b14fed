// SPDX-License-Identifier: Apache-2.0
// Checks the lock-free readers of HazardPointer.h and MethodCache.h under the C++ memory model: searches the
// executions of a model of each, also those that no processor at hand produces. Each row runs once with the
// orders of the library, which must have no fault, and once with one order weakened, which must have one;
// otherwise the model would show nothing.
//
// usage: models [ROW] (prints the faulty execution of a row with a weakened order)
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ostream>
#include <relacy/relacy.hpp>

namespace {

constexpr rl::memory_order relaxed = rl::mo_relaxed, acquire = rl::mo_acquire, release = rl::mo_release,
                           acquireRelease = rl::mo_acq_rel, sequential = rl::mo_seq_cst;

/// A snapshot. Freeing it writes its value: a read at the same time is a data race, one later reads 0.
struct Snapshot {
  rl::var<int> value;
};

struct Record {
  rl::atomic<Snapshot*> held;
  Record* next = nullptr;
};

/// Without a process-wide fence: a reader adds a record to the list and announces its snapshot
/// (`readWithFences`); a writer publishes another one, scans the list (`isProtected`) and frees the first.
template <rl::memory_order kAdd, rl::memory_order kScan, rl::memory_order kAnnounce>
struct ReaderFences : rl::test_suite<ReaderFences<kAdd, kScan, kAnnounce>, 2> {
  Snapshot first, second;
  Record record;
  rl::atomic<Snapshot*> current;
  rl::atomic<Record*> records;

  void before() {
    first.value($) = second.value($) = 1;
    record.held($) = nullptr;
    current($) = &first;
    records($) = nullptr;
  }
  void thread(unsigned index) { index == 0 ? write() : read(); }
  void write() {
    current.store(&second, sequential, $);
    for (Record* each = records.load(kScan, $); each != nullptr; each = each->next) {
      if (each->held.load(sequential, $) == &first) return;
    }
    first.value($) = 0;
  }
  void read() {
    Record* none = nullptr;
    records.compare_exchange_strong(none, &record, kAdd, $);
    Snapshot* seen = nullptr;
    Snapshot* snapshot = nullptr;
    do {
      seen = current.load(sequential, $);
      record.held.store(seen, kAnnounce, $);
      snapshot = current.load(sequential, $);
    } while (snapshot != seen);
    RL_ASSERT(snapshot->value($) == 1);
    record.held.store(nullptr, release, $);
  }
};

/// With the process-wide fence, which interrupts the reader between two of its instructions (`announce`):
/// what precedes the interrupt is visible to the writer afterwards, and what the writer did before is visible
/// to the reader then.
template <bool kFences, rl::memory_order kWithdraw>
struct ProcessFence : rl::test_suite<ProcessFence<kFences, kWithdraw>, 2> {
  Snapshot first, second;
  rl::atomic<Snapshot*> current, held;
  rl::atomic<int> wanted, done;

  void before() {
    first.value($) = second.value($) = 1;
    current($) = &first;
    held($) = nullptr;
    wanted($) = done($) = 0;
  }
  void thread(unsigned index) { index == 0 ? write() : read(); }
  void write() {
    current.store(&second, sequential, $);
    wanted.store(1, sequential, $);
    if (kFences && done.load(sequential, $) == 0) return;  // instead of waiting, which adds no execution
    if (held.load(sequential, $) != &first) first.value($) = 0;
  }
  void interrupt(bool isLast = false) {
    if (!kFences || (!isLast && wanted.load(sequential, $) == 0)) return;
    rl::atomic_thread_fence(sequential, $);
    done.store(1, sequential, $);
  }
  void read() {
    Snapshot* const snapshot = current.load(relaxed, $);
    interrupt();
    held.store(snapshot, relaxed, $);
    interrupt();
    if (current.load(acquire, $) == snapshot) {
      interrupt();
      RL_ASSERT(snapshot->value($) == 1);
    }
    held.store(nullptr, kWithdraw, $);
    interrupt(true);  // a thread that ended is not waited for
  }
};

/// One slot inline and a table of one slot. A writer inserts a method, drops all and inserts another one, for
/// which it makes a table; a reader looks for both.
template <rl::memory_order kPut, rl::memory_order kFind, rl::memory_order kTable>
struct MethodCache : rl::test_suite<MethodCache<kPut, kFind, kTable>, 2> {
  static constexpr int kForgotten = -1;
  struct Slot {
    rl::atomic<int> selector;  // 0: empty
    rl::var<int> answer;
  };
  Slot first, table, none;
  rl::var<int> mask;  // of the new table
  rl::atomic<Slot*> current;

  void before() {
    first.selector($) = none.selector($) = 0;
    current($) = &none;
  }
  void thread(unsigned index) {
    if (index == 0) {
      put(first, 1);
      first.selector.store(kForgotten, release, $);
      mask($) = 1;
      table.selector.store(0, relaxed, $);
      current.store(&table, kTable, $);
      put(table, 2);
    } else {
      for (const int selector : {2, 1}) find(selector);
    }
  }
  void put(Slot& slot, int selector) {
    slot.answer($) = 10 * selector;
    slot.selector.store(selector, kPut, $);
  }
  void find(int selector) {
    if (first.selector.load(kFind, $) == selector) return check(first, selector);
    Slot& slot = *current.load(acquire, $);
    if (&slot == &table) RL_ASSERT(mask($) == 1);
    if (slot.selector.load(kFind, $) == selector) check(slot, selector);
  }
  void check(Slot& slot, int selector) { RL_ASSERT(slot.answer($) == 10 * selector); }
};

template <class Model>
bool hasFault(std::ostream& execution) {
  rl::test_params parameters;
  parameters.search_type = rl::fair_full_search_scheduler_type;
  parameters.output_stream = parameters.progress_stream = &execution;
  const bool isSound = rl::simulate<Model>(parameters);
  std::printf("%9llu executions ", static_cast<unsigned long long>(parameters.stop_iteration));
  return !isSound;
}

struct Row {
  const char* name;
  bool (*sound)(std::ostream&);
  bool (*weakened)(std::ostream&);
};
using Fences = ReaderFences<sequential, sequential, sequential>;
using Cache = MethodCache<release, acquire, release>;
const Row kRows[] = {
    {"adding-a-record", hasFault<Fences>, hasFault<ReaderFences<acquireRelease, sequential, sequential>>},
    {"scanning-the-list", hasFault<Fences>, hasFault<ReaderFences<sequential, acquire, sequential>>},
    {"announcing", hasFault<Fences>, hasFault<ReaderFences<sequential, sequential, release>>},
    {"process-fence", hasFault<ProcessFence<true, release>>, hasFault<ProcessFence<false, release>>},
    {"withdrawing", hasFault<ProcessFence<true, release>>, hasFault<ProcessFence<true, relaxed>>},
    {"putting-an-answer", hasFault<Cache>, hasFault<MethodCache<relaxed, acquire, release>>},
    {"finding-an-answer", hasFault<Cache>, hasFault<MethodCache<release, relaxed, release>>},
    {"replacing-the-table", hasFault<Cache>, hasFault<MethodCache<release, acquire, relaxed>>}};

}  // namespace

int main(int argc, char** argv) {
  std::ostream nowhere(nullptr);
  int wrong = 0;
  for (const Row& row : kRows) {
    const bool isShown = argc > 1 && std::strcmp(argv[1], row.name) == 0;
    const bool soundHasFault = row.sound(nowhere),
               weakenedHasFault = row.weakened(isShown ? std::cout : nowhere);
    const bool isRight = !soundHasFault && weakenedHasFault;
    std::printf("%s: %s\n", row.name,
                isRight         ? "ok"
                : soundHasFault ? "HAS A FAULT"
                                : "FINDS NO FAULT IF WEAKENED");
    if (!isRight) ++wrong;
  }
  return wrong == 0 ? EXIT_SUCCESS : EXIT_FAILURE;
}
