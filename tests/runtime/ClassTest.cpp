// SPDX-License-Identifier: Apache-2.0
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <map>
#include <random>
#include <thread>

#include "runtime/Delegates.h"
#include "runtime/Raised.h"
#include "tidewell/runtime/Associations.h"

namespace {

using namespace delegates;

class NamedAsTheDoor : public Object {
 public:
  static constexpr std::string_view kClassName = Door::kClassName;
};

/// The objects of a closed plug-in: one of its own class, and one of a class that the host also has.
std::pair<Ref, Ref> pluginKeepers(const char* path) {
  void* const plugin = dlopen(path, RTLD_NOW | RTLD_LOCAL);
  const auto make = reinterpret_cast<void (*)(Ref*, Ref*)>(dlsym(plugin, "makePluginKeepers"));
  std::pair<Ref, Ref> made;
  make(&made.first, &made.second);
  dlclose(plugin);
  return made;
}

TEST(Class, RespondsToMethodsImplementedInAnyWayAndModule) {
  if (!TIDEWELL_TEST_SHARED) GTEST_SKIP() << "each plug-in has a core of its own in a static build";
  class Plain : public Keeper {};
  Class& lambdas = *allocateClassPair(&classOf<Porter>(), "PorterOfLambdas");
  const auto opens = [password = std::string("lambda")](Object&, Door&, const std::string& who) {
    return who == password;
  };
  ASSERT_TRUE(addMethod(lambdas, kOpen, opens));
  EXPECT_FALSE(addMethod(lambdas, kOpen, opens)) << "the class already has it";
  registerClassPair(lambdas);
  const auto switched = make<Porter>();
  EXPECT_EQ(setClass(switched.get(), lambdas), &classOf<Porter>());
  const auto [own1, shared1] = pluginKeepers(TIDEWELL_TEST_PLUGIN_1);
  const auto [own2, shared2] = pluginKeepers(TIDEWELL_TEST_PLUGIN_2);
  const struct {
    Ref keeper;
    bool opens, counts;
    const char *whoMayEnter, *className;
  } rows[] = {{make<Porter>(), true, false, "guest", "Porter"},
              {make<NightPorter>(), true, true, "guest", "NightPorter"},
              {make<Plain>(), false, false, "", "Plain"},
              {box(std::make_shared<Robot>()), true, false, "robot", "Robot"},
              {switched, true, false, "lambda", "PorterOfLambdas"},
              {own1, true, false, "guest of 1", "Delegate"},
              {own2, true, false, "guest of 2", "Delegate#2"},
              {shared1, true, false, "guest", "Porter"},
              {shared2, true, false, "guest", "Porter"}};
  const auto door = make<Door>();
  for (const auto& row : rows) {
    SCOPED_TRACE(row.className);
    EXPECT_EQ(row.keeper->isa().name(), row.className);
    EXPECT_EQ(respondsTo(row.keeper.get(), kOpen.selector()), row.opens);
    EXPECT_EQ(respondsTo(row.keeper.get(), kCount.selector()), row.counts);
    EXPECT_TRUE(conformsTo(row.keeper.get(), Keeper::protocol()));
    Class& below = *allocateClassPair(&row.keeper->isa(), "Below" + addressText(row.keeper.get()));
    EXPECT_TRUE(addMethod(below, kTwice, [](Object&, std::int64_t x) { return 2 * x; }));
    registerClassPair(below);
    for (Class* const each : {&row.keeper->isa(), &below}) {
      setClass(row.keeper.get(), *each);
      EXPECT_EQ(row.opens && send(row.keeper, kOpen, *door, row.whoMayEnter), row.opens);
      EXPECT_FALSE(row.opens && send(row.keeper, kOpen, *door, "burglar"));
    }
    EXPECT_EQ(send(row.keeper, kTwice, 4), 8);
  }
  EXPECT_EQ(shared1->isa().superclass(), shared2->isa().superclass());
  EXPECT_NE(&own1->isa().nativeClass(), &own2->isa().nativeClass());
  EXPECT_FALSE(respondsTo(nullptr, kOpen.selector()));
  EXPECT_FALSE(conformsTo(nullptr, Keeper::protocol()));
  EXPECT_FALSE(conformsTo(door.get(), Keeper::protocol()));
}

TEST(Class, AcceptsOnlyMatchingFunctionsAndClasses) {
  const Method& porters = *classOf<Porter>().ownMethod(kOpen.selector());
  const auto below = [](Class& superclass, const char* name, std::size_t extraBytes = 0) -> Class& {
    Class& made = *allocateClassPair(&superclass, name, extraBytes);
    registerClassPair(made);
    return made;
  };
  Class& belowPorter = below(classOf<Porter>(), "BelowPorter");
  const struct {
    Class& to;
    bool takesPortersMethod;
    bool takesPorter;
  } rows[] = {{belowPorter, true, true},
              {below(classOf<NightPorter>(), "BelowNightPorter"), true, false},
              {below(classOf<Keeper>(), "BelowKeeper"), false, false},
              {below(classOf<Sibling>(), "BelowSibling"), false, false},
              {below(classOf<Boxed<Robot>>(), "BelowRobot"), false, false},
              {below(classOf<Porter>(), "Large", 8), true, false},
              {*allocateClassPair(&classOf<Porter>(), "Unregistered"), true, false},
              {classOf<Porter>().metaclass(), false, false}};
  const auto porter = make<Porter>();
  for (const auto& row : rows) {
    SCOPED_TRACE(row.to.name());
    const Selector selector = Selector::named("copied");
    EXPECT_EQ(raised([&] { addMethod(row.to, selector, porters); }).empty(), row.takesPortersMethod);
    EXPECT_EQ(row.to.ownMethod(selector) != nullptr, row.takesPortersMethod);
    EXPECT_EQ(raised([&] { setClass(porter.get(), row.to); }).empty(), row.takesPorter);
    EXPECT_EQ(&porter->isa(), row.takesPorter ? &row.to : &classOf<Porter>());
    setClass(porter.get(), classOf<Porter>());
  }
  EXPECT_EQ(allocateClassPair(nullptr, ""), nullptr);
  EXPECT_EQ(allocateClassPair(nullptr, "Unregistered"), nullptr) << "the name is still taken";
  EXPECT_EQ(classNamed("Unregistered"), nullptr);
  EXPECT_EQ(classNamed("BelowPorter"), &belowPorter);
  static_cast<void>(classOf<Door>());
  EXPECT_NE(raised([] { static_cast<void>(classOf<NamedAsTheDoor>()); }), "")
      << "a name chosen by its author";
}

TEST(Class, ObjectsBecomeTheRootClassAfterTheirDestructor) {
  class Talker : public Object {
   public:
    explicit Talker(std::string* log) : log_(log) {}
    ~Talker() override { *log_ += description(this).substr(0, 7) + (weak_from_this().lock() ? "?" : ""); }
    std::string* log_;
  };
  class Attached : public Object {
   public:
    Attached(const Object* owner, std::string* log) : owner_(owner), log_(log) {}
    ~Attached() override { *log_ += "," + owner_->isa().name(); }
    const Object* owner_;
    std::string* log_;
  };
  std::string log;
  {
    const auto talker = make<Talker>(&log);
    setAssociatedObject(talker.get(), &log, objectValue(make<Attached>(talker.get(), &log)),
                        AssociationPolicy::retain);
  }
  EXPECT_EQ(log, "<Talker,NSObject");
}

/// Each of the two classes has a property of the other class.
template <int number>
class Egg : public Object {
 public:
  static constexpr std::string_view kClassName = number == 0 ? "Egg" : "Hen";
  std::shared_ptr<Egg<1 - number>> other;
  static void describe(ClassBuilder<Egg>& c) {
    EXPECT_EQ(classOf<Egg<1 - number>>().name(), number == 0 ? "Hen" : "Egg");
    c.template property<&Egg::other>("other");
  }
};

TEST(Class, ThreadsMayDeclareMutuallyReferringClasses) {
  std::thread other([] { EXPECT_EQ(classOf<Egg<1>>().ownProperties().size(), 1u); });
  EXPECT_EQ(classOf<Egg<0>>().ownProperties().size(), 1u);
  other.join();
}

/// Changes a class hierarchy at random and compares it with a plain map of the defined methods.
TEST(Class, MatchesAPlainModelThroughRandomChanges) {
  struct Model {
    Class* made;
    std::size_t superclass;
    std::map<std::size_t, std::int64_t> own;
  };
  std::mt19937 random(20);
  const auto below = [&random](std::size_t n) { return static_cast<std::size_t>(random() % n); };
  std::vector<Model> classes{{&classOf<Porter>(), 0, {}}};  // the first stays as it is
  std::vector<Selector> selectors;
  for (int i = 0; i < 12; ++i) selectors.push_back(Selector::named("random" + std::to_string(i)));
  const auto porter = make<Porter>();
  std::size_t current = 0;
  Class& donors = *allocateClassPair(nullptr, "Donors");
  std::int64_t answers = 0;
  for (int step = 0; step < 20000; ++step) {
    const std::size_t action = below(100), selector = below(selectors.size());
    if (action < 1 && classes.size() < 60) {
      const std::size_t superclass = below(classes.size());
      Class* made = allocateClassPair(classes[superclass].made, "Random" + std::to_string(step));
      classes.push_back({made, superclass, {}});
      registerClassPair(*made);
    } else if (action < 4 && classes.size() > 1) {
      Model& model = classes[1 + below(classes.size() - 1)];
      const Message<std::int64_t()> donor(Selector::named("donor" + std::to_string(++answers)).name().data());
      addMethod(donors, donor, [answer = answers](Object&) { return answer; });
      const bool isNew = !model.own.contains(selector), replaces = below(2) == 0;
      const Method& from = *donors.ownMethod(donor.selector());
      const Method* const was = replaces ? replaceMethod(*model.made, selectors[selector], from) : nullptr;
      EXPECT_EQ(replaces ? !was : addMethod(*model.made, selectors[selector], from), isNew);
      EXPECT_EQ(was ? call(donor, *was, *porter) : 0, was ? model.own[selector] : 0) << "still callable";
      if (isNew || replaces) model.own[selector] = answers;
    } else if (action < 8) {
      current = below(classes.size());
      setClass(porter.get(), *classes[current].made);
    } else {
      std::size_t at = current;
      while (at != 0 && !classes[at].own.contains(selector)) at = classes[at].superclass;
      ASSERT_EQ(respondsTo(porter.get(), selectors[selector]), at != 0) << "step " << step;
      if (at == 0) continue;
      ASSERT_EQ(send<std::int64_t>(porter, selectors[selector]), classes[at].own[selector])
          << "step " << step;
    }
  }
}

}  // namespace
