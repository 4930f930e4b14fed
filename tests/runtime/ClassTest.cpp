#include <gtest/gtest.h>

#include <map>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "runtime/Delegates.h"
#include "tidewell/runtime/Associations.h"

namespace {

using namespace delegates;

inline constinit const Message<std::int64_t()> kHowMany{"howMany"};

class Counted : public Object {
 public:
  static std::int64_t howMany() { return 7; }
  static void describe(ClassBuilder<Counted>& c) { c.classMethod<&Counted::howMany>(kHowMany); }
};

class NamedAsTheDoor : public Object {
 public:
  static constexpr std::string_view kClassName = Door::kClassName;
};

TEST(Class, RespondsToWhatItsAuthorImplementedInWhateverWay) {
  class Plain : public Keeper {};
  Class* const lambdas = allocateClassPair(&classOf<Keeper>(), "KeeperOfLambdas");
  const std::string password = "lambda";
  ASSERT_TRUE(addMethod(*lambdas, kOpen,
                        [password](Object&, Door&, const std::string& who) { return who == password; }));
  EXPECT_FALSE(addMethod(*lambdas, kOpen, [](Object&, Door&, const std::string&) { return false; }));
  registerClassPair(*lambdas);

  const struct {
    Ref keeper;
    bool opens, counts;
    std::string whoMayEnter;
  } cases[] = {
      {make<Porter>(), true, false, "guest"},
      {make<NightPorter>(), true, true, "guest"},
      {make<Plain>(), false, false, ""},
      {box(std::make_shared<Robot>()), true, false, "robot"},
      {lambdas->newInstance(), true, false, "lambda"},
  };
  const auto door = make<Door>();
  for (const auto& c : cases) {
    SCOPED_TRACE(description(c.keeper.get()));
    EXPECT_EQ(respondsTo(c.keeper.get(), kOpen.selector()), c.opens);
    EXPECT_EQ(respondsTo(c.keeper.get(), kCount.selector()), c.counts);
    EXPECT_TRUE(conformsTo(c.keeper.get(), Keeper::protocol()));
    if (!c.opens) continue;
    EXPECT_TRUE(send(c.keeper, kOpen, *door, c.whoMayEnter));
    EXPECT_FALSE(send(c.keeper, kOpen, *door, "burglar"));
  }
  EXPECT_FALSE(respondsTo(nullptr, kOpen.selector()));
  EXPECT_FALSE(conformsTo(nullptr, Keeper::protocol()));
  EXPECT_FALSE(conformsTo(door.get(), Keeper::protocol()));
  EXPECT_EQ(&classOf<NightPorter>(), classNamed("NightPorter"));
  EXPECT_EQ(classOf<NightPorter>().superclass(), &classOf<Porter>());
}

TEST(Class, TakesOnlyFunctionsAndClassesThatFitItsObjects) {
  const Method& porters = *classOf<Porter>().ownMethod(kOpen.selector());
  const auto below = [](Class& superclass, const char* name) -> Class& {
    Class& made = *allocateClassPair(&superclass, name);
    registerClassPair(made);
    return made;
  };
  Class& belowPorter = below(classOf<Porter>(), "BelowPorter");
  Class& large = *allocateClassPair(&classOf<Porter>(), "Large", 8);
  registerClassPair(large);
  const struct {
    Class& to;
    bool takesPortersMethod;
    bool takesPorter;
  } cases[] = {
      {belowPorter, true, true},
      {below(classOf<NightPorter>(), "BelowNightPorter"), true, false},
      {below(classOf<Keeper>(), "BelowKeeper"), false, false},
      {below(classOf<Sibling>(), "BelowSibling"), false, false},
      {below(classOf<Boxed<Robot>>(), "BelowRobot"), false, false},
      {large, true, false},
      {*allocateClassPair(&classOf<Porter>(), "Unregistered"), true, false},
      {classOf<Porter>().metaclass(), false, false},
  };
  const auto porter = make<Porter>();
  for (const auto& c : cases) {
    SCOPED_TRACE(c.to.name());
    const Selector selector = Selector::named("copied");
    EXPECT_EQ(raised([&] { addMethod(c.to, selector, porters); }).empty(), c.takesPortersMethod);
    EXPECT_EQ(c.to.ownMethod(selector) != nullptr, c.takesPortersMethod);
    EXPECT_EQ(raised([&] { setClass(porter.get(), c.to); }).empty(), c.takesPorter);
    EXPECT_EQ(&porter->isa(), c.takesPorter ? &c.to : &classOf<Porter>());
    setClass(porter.get(), classOf<Porter>());
  }
  EXPECT_EQ(allocateClassPair(nullptr, ""), nullptr);
  EXPECT_EQ(allocateClassPair(nullptr, "Unregistered"), nullptr) << "its name is taken all the same";
  EXPECT_EQ(classNamed("Unregistered"), nullptr);
  EXPECT_EQ(classNamed("BelowPorter"), &belowPorter);
}

// That methods added later are found, above and in place, is what the random changes below compare.
TEST(Class, KeepsItsObjectThroughASwitchOfClassAndWhatWasReplaced) {
  const auto porter = make<Porter>();
  Class& made = *allocateClassPair(&classOf<Porter>(), "Switched");
  addMethod(made, kDescription, [](Object&) { return std::string("in disguise"); });
  registerClassPair(made);
  EXPECT_EQ(description(porter.get()), "<Porter: " + addressText(porter.get()) + ">");
  EXPECT_EQ(setClass(porter.get(), made), &classOf<Porter>());
  EXPECT_EQ(description(porter.get()), "in disguise");
  EXPECT_TRUE(isKindOf(porter.get(), classOf<Keeper>()));
  EXPECT_TRUE(send(porter, kOpen, *make<Door>(), "guest"));
  EXPECT_EQ(porter->calls, 1);

  addMethod(made, kTwice, [](Object&, std::int64_t x) { return 3 * x; });
  EXPECT_EQ(send(porter, kTwice, 21), 63);
  Class& donor = *allocateClassPair(nullptr, "Donor");
  addMethod(donor, kTwice, [](Object&, std::int64_t x) { return 2 * x; });
  const Method* was = replaceMethod(made, kTwice.selector(), *donor.ownMethod(kTwice.selector()));
  EXPECT_EQ(send(porter, kTwice, 21), 42);
  EXPECT_EQ(call(kTwice, *was, *porter, 21), 63) << "what was replaced can still be called";
}

TEST(Class, GivesTypesOfOneNameClassesOfTheirOwn) {
  struct First {
    class Twin : public Object {};
  };
  struct Second {
    class Twin : public Object {};
  };
  EXPECT_EQ(classOf<First::Twin>().name(), "Twin");
  EXPECT_EQ(classOf<Second::Twin>().name(), "Twin#2");
  static_cast<void>(classOf<Door>());
  EXPECT_NE(raised([] { static_cast<void>(classOf<NamedAsTheDoor>()); }), "")
      << "a name that its author gave stays unique";
}

TEST(Class, AnswersClassMessagesAsAnObject) {
  Class& counted = classOf<Counted>();
  EXPECT_TRUE(respondsTo(&counted, kHowMany.selector()));
  EXPECT_EQ(send(counted, kHowMany), 7);
  EXPECT_FALSE(respondsTo(make<Counted>().get(), kHowMany.selector()));
  EXPECT_EQ(description(&counted), "Counted");
  EXPECT_EQ(objectOf(objectValue(counted.shared_from_this())).get(), &counted);
  EXPECT_NE(raised([&] { send(counted, kTwice, 1); }).find("+[Counted twice:]: unrecognized selector"),
            std::string::npos);
}

TEST(Class, DiesAsTheRootClassOnceItsOwnDestructorIsThrough) {
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

/// A class hierarchy that changes at random, beside a plain map of what each class defines.
TEST(Class, AnswersAsAPlainModelThroughRandomChanges) {
  struct Model {
    Class* made;
    int superclass;  // -1: Porter
    std::map<int, std::int64_t> own;
  };
  std::mt19937 random(20);
  const auto below = [&random](std::size_t n) { return static_cast<int>(random() % n); };
  std::vector<Model> classes;
  std::vector<Selector> selectors;
  for (int i = 0; i < 12; ++i) selectors.push_back(Selector::named("random" + std::to_string(i)));
  const auto porter = make<Porter>();
  int current = -1;
  Class& donors = *allocateClassPair(nullptr, "Donors");
  std::int64_t answers = 0;
  for (int step = 0; step < 20000; ++step) {
    const int action = below(100);
    if (action < 1 && classes.size() < 60) {
      const int superclass = below(classes.size() + 1) - 1;
      Class* parent =
          superclass < 0 ? &classOf<Porter>() : classes[static_cast<std::size_t>(superclass)].made;
      classes.push_back({allocateClassPair(parent, "Random" + std::to_string(step)), superclass, {}});
      registerClassPair(*classes.back().made);
    } else if (action < 4 && !classes.empty()) {
      Model& model = classes[static_cast<std::size_t>(below(classes.size()))];
      const int selector = below(selectors.size());
      const std::int64_t answer = ++answers;
      const Message<std::int64_t()> donor(Selector::named("donor" + std::to_string(answer)).name().data());
      addMethod(donors, donor, [answer](Object&) { return answer; });
      const bool isNew = !model.own.contains(selector);
      const Method& from = *donors.ownMethod(donor.selector());
      const Selector under = selectors[static_cast<std::size_t>(selector)];
      if (below(2) == 0) {
        EXPECT_EQ(addMethod(*model.made, under, from), isNew);
        if (isNew) model.own[selector] = answer;
      } else {
        EXPECT_EQ(replaceMethod(*model.made, under, from) == nullptr, isNew);
        model.own[selector] = answer;
      }
    } else if (action < 8) {
      current = below(classes.size() + 1) - 1;
      setClass(porter.get(),
               current < 0 ? classOf<Porter>() : *classes[static_cast<std::size_t>(current)].made);
    } else {
      const int selector = below(selectors.size());
      std::int64_t expected = 0;
      for (int at = current; at >= 0 && !expected; at = classes[static_cast<std::size_t>(at)].superclass) {
        const Model& model = classes[static_cast<std::size_t>(at)];
        const auto own = model.own.find(selector);
        if (own != model.own.end()) expected = own->second;
      }
      const Selector asked = selectors[static_cast<std::size_t>(selector)];
      ASSERT_EQ(respondsTo(porter.get(), asked), expected != 0) << "step " << step;
      if (!expected) continue;
      ASSERT_EQ(send<std::int64_t>(porter, asked), expected) << "step " << step;
    }
  }
}

}  // namespace
