// SPDX-License-Identifier: Apache-2.0
#include <cstdint>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "Ratio.h"
#include "runtime/Peers.h"
#include "tidewell/runtime/Invocation.h"
#include "tidewell/runtime/Make.h"
#include "tidewell/runtime/Observing.h"

namespace {

using namespace tidewell;
using namespace tidewell::runtime;

inline constinit const Message<std::int64_t(std::int64_t)> kAdd{"add:"};

class Adder : public Subclass<Adder> {
 public:
  virtual std::int64_t add(std::int64_t number) { return sum += number; }
  std::int64_t sum = 0;
  template <class T>
  static void adopt(ClassBuilder<T>& c) {
    adoptMethod<Object>(c, kAdd, []<class U>() { return &U::add; });
  }
  static void describe(ClassBuilder<Adder>& c) { c.property<&Adder::sum>("sum"); }
};
class Subtracter : public Adder {
 public:
  std::int64_t add(std::int64_t number) override { return sum -= number; }
};

/// A lower bound for any hash table that is read without a lock: pointers, open addressing.
struct BareTable {
  std::vector<std::pair<const void*, const void*>> slots{64};
  void put(const SelectorRecord* key, const void* value) {
    std::size_t i = key->hash & 63;
    while (slots[i].first) i = (i + 1) & 63;
    slots[i] = {key, value};
  }
  [[gnu::noinline]] const void* find(const SelectorRecord* key) const {
    for (std::size_t i = key->hash & 63;; i = (i + 1) & 63) {
      if (slots[i].first == key) return slots[i].second;
      if (!slots[i].first) return nullptr;
    }
  }
};

[[gnu::noinline]] bool responds(const Object* object, Selector selector) {
  return respondsTo(object, selector);
}

}  // namespace

int main(int argc, char** argv) {
  static const auto adder = make<Adder>();
  static const auto subtracter = make<Subtracter>();
  using bench::keep;

  bench::ratio(
      "typed send, warm, beside GNU libobjc", 1.0,
      [](std::size_t n) {
        while (n--) keep(send(adder, kAdd, 1));
      },
      [](std::size_t n) { keep(peerSend(n)); });

  static const std::vector<Adder*> mixed = [] {
    std::vector<Adder*> objects;
    std::mt19937 random(1);
    for (int i = 0; i < 4096; ++i) objects.push_back(random() % 2 ? adder.get() : subtracter.get());
    return objects;
  }();
  bench::ratio(
      "typed send, two classes in random order, beside a virtual call", 1.3,
      [](std::size_t n) {
        while (n--) keep(send(mixed[n & 4095], kAdd, 1));
      },
      [](std::size_t n) {
        while (n--) keep(mixed[n & 4095]->add(1));
      });

  bench::ratio(
      "invocation built and invoked, beside GNUstep's NSInvocation", 0.25,
      [](std::size_t n) {
        while (n--) {
          Invocation invocation(kAdd.signature());
          invocation.setTarget(adder);
          invocation.setSelector(kAdd.selector());
          invocation.setArgument(2, std::int64_t{1});
          invocation.invoke();
          keep(invocation.returnValue<std::int64_t>());
        }
      },
      [](std::size_t n) { keep(peerInvocation(n)); });

  static const std::vector<Selector> asked = [] {
    std::vector<Selector> selectors;
    for (int i = 0; i < 16; ++i) selectors.push_back(Selector::named("asked" + std::to_string(i)));
    selectors[3] = selectors[7] = kAdd.selector();
    return selectors;
  }();
  static const BareTable table = [] {
    BareTable filled;
    for (const Selector selector : asked)
      filled.put(selector.record(), selector == kAdd.selector() ? &asked : nullptr);
    return filled;
  }();
  bench::ratio(
      "respondsToSelector, beside a bare hash probe", 2.0,
      [](std::size_t n) {
        while (n--) keep(responds(adder.get(), asked[n & 15]));
      },
      [](std::size_t n) {
        while (n--) keep(table.find(asked[n & 15].record()) != nullptr);
      });

  static const WeakRef weak = adder;
  static const std::weak_ptr<int> bare = [] {
    static const auto number = std::make_shared<int>(1);
    return std::weak_ptr<int>(number);
  }();
  bench::ratio(
      "weak reference loaded, beside std::weak_ptr", 1.2,
      [](std::size_t n) {
        while (n--) keep(weak.lock().get());
      },
      [](std::size_t n) {
        while (n--) keep(bare.lock().get());
      });

  bench::ratio(
      "property set without observers, beside the assignment", 0,
      [](std::size_t n) {
        while (n--) {
          changing(*adder, "sum", [&] { adder->sum = static_cast<std::int64_t>(n); });
          keep(adder->sum);
        }
      },
      [](std::size_t n) {
        while (n--) {
          adder->sum = static_cast<std::int64_t>(n);
          keep(adder->sum);
        }
      });

  bench::figure("size of an object without associations and observers, control block excluded (at most 40)",
                std::to_string(sizeof(Object)) + " bytes");
  return bench::run(argc, argv);
}
