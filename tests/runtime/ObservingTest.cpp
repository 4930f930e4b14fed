// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include "runtime/Delegates.h"
#include "runtime/Raised.h"
#include "tidewell/runtime/Associations.h"

namespace {

using namespace delegates;

class Lamp : public Object {
 public:
  [[nodiscard]] std::optional<std::string> colour() const { return colour_; }
  void setColour(std::optional<std::string> colour) {
    changing(*this, "colour", [&] { colour_ = std::move(colour); });
  }
  double watts = 0;
  std::shared_ptr<Lamp> next;
  std::uint8_t level = 0;
  unsigned long long serial = 0;  // a type other than std::uint64_t on most systems
  static void describe(ClassBuilder<Lamp>& c) {
    c.property<&Lamp::colour, &Lamp::setColour>("colour")
        .property<&Lamp::watts>("watts")
        .property<&Lamp::next>("next")
        .property<&Lamp::level>("level")
        .property<&Lamp::serial>("serial")
        .property<[](Lamp& lamp) { return !lamp.colour_; }>("isDark");
  }

 private:
  std::optional<std::string> colour_;
};

class Watcher : public Object {
 public:
  std::string seen;
  std::function<void()> meanwhile;
  void observe(const std::string& key, Object* object, const base::Dictionary& change, const void*) {
    EXPECT_TRUE(isKindOf(object, classOf<Lamp>()));
    const auto text = [&](std::string_view name) {
      const base::Value* value = change.find(name);
      return value ? value->description() : std::string("-");
    };
    seen += key + " " + text(kChangeOldKey) + ">" + text(kChangeNewKey) + "; ";
    if (meanwhile) std::exchange(meanwhile, nullptr)();
  }
  static void describe(ClassBuilder<Watcher>& c) { c.method<&Watcher::observe>(kObserveValueForKeyPath); }
};

TEST(Observing, NotifiesObserversAsRequestedUntilTheirRemoval) {
  const std::pair<std::uint32_t, const char*> rows[] = {
      {0, "colour ->-; colour ->-; "},
      {kObserveNew | kObserveOld, "colour <null>>red; colour red><null>; "},
      {kObserveNew, "colour ->red; colour -><null>; "},
      {kObserveOld, "colour <null>>-; colour red>-; "}};
  for (const auto& [options, seen] : rows) {
    const auto lamp = make<Lamp>();
    const auto watcher = make<Watcher>();
    addObserver(lamp.get(), watcher, "colour", options);
    lamp->setColour("red");
    setValueForKey(lamp.get(), "colour", nullptr);
    setValueForKey(lamp.get(), "watts", 40);
    removeObserver(lamp.get(), watcher.get(), "colour");
    lamp->setColour("blue");
    EXPECT_EQ(watcher->seen, seen) << options;
    EXPECT_NE(raised([&] { removeObserver(lamp.get(), watcher.get(), "colour"); }), "");
    EXPECT_NE(raised([&, mask = options] { addObserver(lamp.get(), watcher, "smell", mask); }), "");
  }
}

TEST(Observing, ObserversMayBeAddedRemovedAndDestroyedDuringACall) {
  const auto lamp = make<Lamp>();
  const auto first = make<Watcher>(), second = make<Watcher>(), late = make<Watcher>();
  auto third = make<Watcher>();
  for (const Ref& watcher : {Ref(first), Ref(second), Ref(third)})
    addObserver(lamp.get(), watcher, "colour", kObserveNew);
  first->meanwhile = [&] {
    removeObserver(lamp.get(), first.get(), "colour");
    removeObserver(lamp.get(), second.get(), "colour");
    third = nullptr;
    addObserver(lamp.get(), late, "colour", kObserveNew);
    lamp->setColour("blue");
  };
  lamp->setColour("red");
  lamp->setColour("green");
  EXPECT_EQ(first->seen, "colour ->red; ");
  EXPECT_EQ(second->seen, "");
  EXPECT_EQ(late->seen, "colour ->blue; colour ->green; ");
}

std::vector<std::string> reported;

TEST(Observing, ReportsTheDestructionOfAnObservedObjectOnce) {
  setReporter([](std::string_view text) noexcept { reported.emplace_back(text); });
  const auto watcher = make<Watcher>();
  int notified = 0;
  Observation observation;  // by function, so it ends without a report
  {
    const auto quiet = make<Lamp>();
    for (int i = 0; i < 2; ++i) {
      observation = observe(quiet, "watts", 0, [&](const base::Dictionary&) { ++notified; });
      setValueForKey(quiet.get(), "watts", 1);
      if (i == 0) const Observation ended = std::move(observation);
      setValueForKey(quiet.get(), "watts", 2);
    }
  }
  EXPECT_EQ(notified, 3);
  EXPECT_EQ(reported.size(), 0u);
  {
    const auto lamp = make<Lamp>();
    addObserver(lamp.get(), watcher, "colour", 0);
    addObserver(lamp.get(), watcher, "watts", 0);
  }
  ASSERT_EQ(reported.size(), 1u);
  EXPECT_NE(reported[0].find("of class Lamp was destroyed"), std::string::npos);
}

TEST(KeyValueCoding, ReadsAndWritesByNameAndRefusesOtherTypes) {
  const auto lamp = make<Lamp>();
  const auto next = make<Lamp>();
  const std::tuple<const char*, base::Value, bool> rows[] = {
      {"colour", "red", true}, {"colour", 5, false},      {"colour", nullptr, true},
      {"watts", 60.5, true},   {"watts", nullptr, false}, {"level", 255, true},
      {"level", 256, false},   {"level", -1, false},      {"next", objectValue(make<Door>()), false},
      {"next", "lamp", false}, {"next", nullptr, true},   {"next", objectValue(next), true},
      {"isDark", true, false}, {"smell", 1, false},       {"serial", UINT64_MAX, true}};
  for (const auto& [key, value, fits] : rows) {
    SCOPED_TRACE(std::string(key) + " = " + value.description());
    EXPECT_EQ(raised([&, name = key, put = value] { setValueForKey(lamp.get(), name, put); }).empty(), fits);
    EXPECT_TRUE(!fits || valueForKey(lamp.get(), key) == value);
  }
  next->watts = 7;
  EXPECT_EQ(valueForKeyPath(lamp.get(), "next.watts"), base::Value(7.0));
  EXPECT_EQ(raised([&] { static_cast<void>(valueForKey(lamp.get(), "smell")); }),
            "[" + description(lamp.get()) +
                " valueForUndefinedKey:]: this class is not key value coding-compliant for the key smell.");
}

TEST(Association, FollowsItsPolicy) {
  const auto owner = make<Door>();
  static const char key = 0;
  auto object = make<Lamp>();
  const WeakRef watched = object;
  setAssociatedObject(owner.get(), &key, objectValue(object), AssociationPolicy::retain);
  object = nullptr;
  EXPECT_NE(watched.lock(), nullptr);
  setAssociatedObject(owner.get(), &key, objectValue(watched.lock()), AssociationPolicy::assign);
  EXPECT_EQ(watched.lock(), nullptr);
  EXPECT_TRUE(associatedObject(owner.get(), &key).isNil());
  setAssociatedObject(owner.get(), &key, base::Dictionary{{"a", 1}}, AssociationPolicy::retainNonatomic);
  EXPECT_EQ(associatedObject(owner.get(), &key), base::Value(base::Dictionary{{"a", 1}}));
  setAssociatedObject(owner.get(), &key, nullptr, AssociationPolicy::retain);
  EXPECT_TRUE(associatedObject(owner.get(), &key).isNil());
}

}  // namespace
