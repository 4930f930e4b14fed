#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "runtime/Delegates.h"

namespace {

using namespace delegates;

class Everything : public Object {
 public:
  int calls = 0;
  std::int64_t number(std::int64_t x) { return ++calls, x; }
  double real(double x) { return ++calls, x; }
  bool flag(bool x) { return ++calls, x; }
  base::Dictionary dictionary(const base::Dictionary& x) { return ++calls, x; }
  base::Value value(const base::Value& x) { return ++calls, x; }
  std::shared_ptr<Door> object(std::shared_ptr<Door> x) { return ++calls, x; }
  void nothing(const std::function<void()>& x) { ++calls, x(); }
  std::int64_t two(std::int64_t x, std::int64_t y) { return ++calls, x + y; }
  static void describe(ClassBuilder<Everything>& c) {
    c.method<&Everything::number>(Selector::named("number:"))
        .method<&Everything::real>(Selector::named("real:"))
        .method<&Everything::flag>(Selector::named("flag:"))
        .method<&Everything::dictionary>(Selector::named("dictionary:"))
        .method<&Everything::value>(Selector::named("value:"))
        .method<&Everything::object>(Selector::named("object:"))
        .method<&Everything::nothing>(Selector::named("nothing:"))
        .method<&Everything::two>(Selector::named("two:two:"));
  }
};

TEST(Message, OfTypesThatAreNotTheMethodsRaisesAndCallsNothing) {
  const auto receiver = make<Everything>();
  const auto door = make<Door>();
  const std::function<void()> handler = [] {};
  const struct {
    const char* selector;
    const char* encoding;
    std::function<void(Selector)> send;
  } kinds[] = {
      {"number:", "q@:q", [&](Selector s) { send<std::int64_t>(receiver, s, std::int64_t{1}); }},
      {"real:", "d@:d", [&](Selector s) { send<double>(receiver, s, 1.0); }},
      {"flag:", "B@:B", [&](Selector s) { send<bool>(receiver, s, true); }},
      {"dictionary:", "@@:@", [&](Selector s) { send<base::Dictionary>(receiver, s, base::Dictionary()); }},
      {"value:", "@@:@", [&](Selector s) { send<base::Value>(receiver, s, base::Value(1)); }},
      {"object:", "@@:@", [&](Selector s) { static_cast<void>(send<Ref>(receiver, s, door)); }},
      {"nothing:", "v@:@?", [&](Selector s) { send<void>(receiver, s, handler); }},
      {"two:two:", "q@:qq",
       [&](Selector s) { send<std::int64_t>(receiver, s, std::int64_t{1}, std::int64_t{2}); }},
      {"", "", [&](Selector s) { send<std::int64_t>(receiver, s, 1); }},  // an int is not 64 bits
      {"", "", [&](Selector s) { send<void>(receiver, s, std::int64_t{1}); }},
  };
  for (const auto& method : kinds) {
    if (!*method.selector) continue;
    EXPECT_EQ(receiver->isa().method(Selector::named(method.selector))->typeEncoding(), method.encoding);
    for (const auto& sent : kinds) {
      SCOPED_TRACE(std::string(method.selector) + " sent as " + sent.selector);
      receiver->calls = 0;
      const std::string reason = raised([&] { sent.send(Selector::named(method.selector)); });
      const bool fits = &method == &sent;
      EXPECT_EQ(receiver->calls, fits ? 1 : 0);
      EXPECT_EQ(reason.empty(), fits) << reason;
      EXPECT_EQ(reason.find(method.encoding) == std::string::npos, fits) << reason;
    }
  }
}

TEST(Message, ToNilAnswersNothingAndToAStrangerRaises) {
  const std::shared_ptr<Porter> nobody;
  const auto door = make<Door>();
  EXPECT_FALSE(send(nobody, kOpen, *door, "guest"));
  EXPECT_EQ(send<std::int64_t>(nobody, Selector::named("whatever")), 0);
  const std::string reason = raised([&] { send(door, kOpen, *door, "guest"); });
  EXPECT_EQ(reason,
            "-[TestDoor door:open:]: unrecognized selector sent to instance " + addressText(door.get()));
}

TEST(Selector, NoneIsOneToWhichNothingResponds) {
  const auto porter = make<Porter>();
  Class& itsClass = porter->isa();
  const Method& method = *itsClass.method(kOpen.selector());
  Protocol protocol("Empty");
  Invocation invocation(signatureOf<void>());
  invocation.setTarget(porter);
  const std::string toInstance =
      "-[Porter (null)]: unrecognized selector sent to instance " + addressText(porter.get());
  const struct {
    std::function<bool()> responds;
    std::string raises;
  } entries[] = {
      {[&] { return respondsTo(porter.get(), Selector()); }, ""},
      {[&] { return itsClass.method(Selector()) != nullptr; }, ""},
      {[&] { return itsClass.ownMethod(Selector()) != nullptr; }, ""},
      {[&] { return itsClass.metaclass().method(Selector()) != nullptr; }, ""},
      {[&] { return Keeper::protocol().methodDescription(Selector(), false) != nullptr; }, ""},
      {[&] { return send<bool>(Ref(), Selector()); }, ""},
      {[&] { return Selector().hash() != 0; }, ""},
      {[&] { return send<bool>(porter, Selector()); }, toInstance},
      {[&] { return send<bool>(itsClass, Selector(), std::int64_t{1}); },
       "+[Porter (null)]: unrecognized selector sent to class " + addressText(&itsClass)},
      {[&] { return invocation.invoke(), true; }, toInstance},
      {[&] { return addMethod(itsClass, Selector(), method); }, "a method has a selector"},
      {[&] { return replaceMethod(itsClass, Selector(), method) != nullptr; }, "a method has a selector"},
      {[&] { return protocol.add(Selector(), method.signature(), true).methods().empty(); },
       "a method has a selector"},
  };
  for (const auto& entry : entries) {
    SCOPED_TRACE(&entry - entries);
    EXPECT_EQ(raised([&] { EXPECT_FALSE(entry.responds()); }), entry.raises);
  }
}

TEST(Message, WithAnObjectOfAnotherClassRaisesBeforeTheMethodRuns) {
  const auto porter = make<Porter>();
  const Selector open = kOpen.selector();
  for (const Ref& wrong : {Ref(), Ref(make<Porter>()), Ref(box(std::make_shared<Robot>()))}) {
    EXPECT_NE(raised([&] { send<bool>(porter, open, wrong, std::string("guest")); }), "");
  }
  EXPECT_EQ(porter->calls, 0);
  EXPECT_TRUE(send<bool>(porter, open, Ref(make<Door>()), std::string("guest")))
      << "declared as Object, is a Door";
}

TEST(Invocation, CallsWithKeptCopiesAndAnswers) {
  Invocation invocation(*Keeper::protocol().methodDescription(kOpen.selector(), false)->signature);
  invocation.setSelector(kOpen.selector());
  auto door = make<Door>();
  const WeakRef watched = door;
  invocation.setArgument(2, door);
  door = nullptr;
  EXPECT_NE(watched.lock(), nullptr) << "the invocation keeps its objects";
  invocation.setArgument(3, std::string("a burglar whose name does not fit in place"));
  invocation.setArgument(3, std::string("guest"));
  for (const Ref& target : {Ref(make<Porter>()), Ref(box(std::make_shared<Robot>())), Ref()}) {
    invocation.setTarget(target);
    invocation.invoke();
    EXPECT_EQ(invocation.returnValue<bool>(), isKindOf(target.get(), classOf<Porter>()));
  }
  EXPECT_EQ(Keeper::protocol().methodDescription(kOpen.selector(), true), nullptr);
  EXPECT_EQ(Keeper::protocol().methodDescription(Selector::named("nobody's"), false), nullptr);
}

TEST(Invocation, RaisesForWhatDoesNotFitAndLeaksNothing) {
  const auto porter = make<Porter>();
  const auto text = std::make_shared<int>(0);
  const std::function<void(std::int64_t)> handler = [text](std::int64_t) {};
  {
    Invocation invocation(kCount.signature());
    invocation.setTarget(make<NightPorter>());
    invocation.setSelector(kCount.selector());
    const std::function<void()> bad[] = {
        [&] { invocation.setArgument(1, handler); },
        [&] { invocation.setArgument(4, handler); },
        [&] { invocation.setArgument(2, handler); },
        [&] { invocation.setArgument(3, std::string()); },
        [&] { invocation.invoke(); },  // arguments are missing
        [&] { static_cast<void>(invocation.returnValue<bool>()); },
        [&] {
          invocation.setTarget(porter);  // does not respond
          invocation.setArgument(2, make<Door>());
          invocation.setArgument(3, handler);
          invocation.invoke();
        },
        [&] {
          invocation.setSelector(kOpen.selector());  // responds with other types
          invocation.invoke();
        },
    };
    for (const auto& attempt : bad) EXPECT_NE(raised(attempt), "");
    EXPECT_GT(text.use_count(), 2) << "the invocation holds the handler";
  }
  EXPECT_EQ(text.use_count(), 2);
  EXPECT_EQ(porter->calls, 0);
}

}  // namespace
