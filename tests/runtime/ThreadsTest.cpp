#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <thread>
#include <vector>

#include "runtime/Delegates.h"
#include "tidewell/runtime/Associations.h"

namespace {

using namespace delegates;

/// Runs each of the functions over and over on a thread of its own while `body` runs; each has run once by
/// then.
void meanwhile(const std::vector<std::function<void()>>& functions, const std::function<void()>& body) {
  std::atomic<std::size_t> underWay{0};
  std::atomic<bool> ends{false};
  std::vector<std::thread> threads;
  for (const auto& function : functions) {
    threads.emplace_back([&] {
      function();
      ++underWay;
      while (!ends) function();
    });
  }
  while (underWay < functions.size()) std::this_thread::yield();
  body();
  ends = true;
  for (std::thread& thread : threads) thread.join();
}

TEST(Threads, SendWhileClassesChange) {
  const auto porter = make<NightPorter>();
  const auto door = make<Door>();
  Class& made = *allocateClassPair(&classOf<NightPorter>(), "Changing");
  registerClassPair(made);
  std::atomic<int> guests{0};
  meanwhile({[&] {
               const auto other = make<NightPorter>();
               if (send(other, kOpen, *door, "guest")) ++guests;
               static_cast<void>(respondsTo(porter.get(), kTwice.selector()));
               static_cast<void>(description(porter.get()));
             },
             [&] { setClass(porter.get(), &porter->isa() == &made ? classOf<NightPorter>() : made); }},
            [&] {
              for (int i = 0; i < 300; ++i) {
                const Selector selector = Selector::named("late" + std::to_string(i));
                addMethod(made, selector, *classOf<Porter>().ownMethod(kOpen.selector()));
                EXPECT_TRUE(made.method(selector));
                replaceMethod(classOf<Porter>(), kOpen.selector(),
                              *classOf<Porter>().ownMethod(kOpen.selector()));
              }
            });
  EXPECT_GT(guests, 0);
}

TEST(Threads, SeeADyingObjectWholeOrNotAtAll) {
  std::atomic<int> met{0};
  auto porter = make<Porter>();
  WeakRef weak = porter;
  const auto door = make<Door>();
  for (int i = 0; i < 200; ++i) {
    const WeakRef watched = weak;
    std::thread reader([&met, watched, &door] {
      while (const Ref object = watched.lock()) {
        ++met;
        EXPECT_TRUE(send(object, kOpen, *door, "guest"));
        setAssociatedObject(object.get(), &met, 1, AssociationPolicy::retain);
      }
    });
    auto next = make<Porter>();
    weak = next;
    porter = std::move(next);
    reader.join();
  }
}

class Egg;
class Hen : public Object {
 public:
  std::shared_ptr<Egg> egg;
  static void describe(ClassBuilder<Hen>& c);
};
class Egg : public Object {
 public:
  std::shared_ptr<Hen> hen;
  static void describe(ClassBuilder<Egg>& c);
};
void Hen::describe(ClassBuilder<Hen>& c) {
  EXPECT_EQ(classOf<Egg>().name(), "Egg");
  c.property<&Hen::egg>("egg");
}
void Egg::describe(ClassBuilder<Egg>& c) {
  EXPECT_EQ(classOf<Hen>().name(), "Hen");
  c.property<&Egg::hen>("hen");
}

TEST(Threads, DeclareClassesThatReferToEachOther) {
  std::thread other([] { EXPECT_EQ(classOf<Hen>().ownProperties().size(), 1u); });
  EXPECT_EQ(classOf<Egg>().ownProperties().size(), 1u);
  other.join();
  EXPECT_EQ(&make<Hen>()->isa(), classNamed("Hen"));
}

TEST(Threads, ChangeObserversWhileAPropertyChanges) {
  class Tank : public Object {
   public:
    std::atomic<std::int64_t> level{0};
    std::int64_t read() const { return level; }
    void write(std::int64_t value) {
      changing(*this, "level", [&] { level = value; });
    }
    static void describe(ClassBuilder<Tank>& c) { c.property<&Tank::read, &Tank::write>("level"); }
  };
  const auto tank = make<Tank>();
  std::atomic<int> told{0};
  meanwhile({[&] { tank->write(tank->level + 1); }}, [&] {
    for (int i = 0; i < 300 || told == 0; ++i) {
      const Observation observation =
          observe(tank, "level", kObserveNew | kObserveOld, [&](const base::Dictionary&) { ++told; });
      std::this_thread::yield();
    }
  });
}

}  // namespace
