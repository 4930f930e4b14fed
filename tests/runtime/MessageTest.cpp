// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include "runtime/Delegates.h"
#include "runtime/Raised.h"

namespace {

using namespace delegates;

class Everything : public Object {
 public:
  int calls = 0;
  std::int64_t number(std::int64_t x) { return ++calls, x; }
  base::Value value(const base::Value& x) { return ++calls, x; }
  void nothing(const std::function<void()>& x) { ++calls, x(); }
  std::int64_t two(std::int64_t x, std::int64_t y) { return ++calls, x + y; }
  static void describe(ClassBuilder<Everything>& c) {
    c.method<&Everything::number>(Selector::named("number:"))
        .method<&Everything::value>(Selector::named("value:"))
        .method<&Everything::nothing>(Selector::named("nothing:"))
        .method<&Everything::two>(Selector::named("two:two:"));
  }
};

TEST(Message, WithOtherTypesThanTheMethodsRaises) {
  const auto receiver = make<Everything>();
  const auto door = make<Door>();
  const std::function<void()> handler = [] {};
  const struct {
    const char* selector;
    const char* encoding;
    std::function<void(Selector)> send;
  } kinds[] = {
      {"number:", "q@:q", [&](Selector s) { send<std::int64_t>(receiver, s, std::int64_t{1}); }},
      {"value:", "@@:@", [&](Selector s) { send<base::Value>(receiver, s, base::Value(1)); }},
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
  const auto porter = make<Porter>();
  for (const Ref& argument : {Ref(), Ref(porter), Ref(box(std::make_shared<Robot>())), Ref(door)}) {
    const auto open = [&] { send<bool>(porter, kOpen.selector(), argument, std::string("guest")); };
    EXPECT_EQ(raised(open).empty(), argument == door) << "declared as Object but must be a Door";
  }
  EXPECT_EQ(porter->calls, 1);
}

TEST(Message, ToNullOrWithAnUnknownSelector) {
  const auto porter = make<Porter>();
  const auto door = make<Door>();
  Class& itsClass = porter->isa();
  const Method& method = *itsClass.method(kOpen.selector());
  Protocol protocol("Empty");
  Invocation invocation(signatureOf<void>());
  invocation.setTarget(porter);
  const auto unrecognized = [](const std::string& name, const std::string& receiver, const Object* object) {
    return name + ": unrecognized selector sent to " + receiver + " " + addressText(object);
  };
  const std::string toInstance = unrecognized("-[Porter (null)]", "instance", porter.get());
  const std::pair<std::function<bool()>, std::string> rows[] = {
      {[&] { return send(std::shared_ptr<Porter>(), kOpen, *door, "guest"); }, ""},
      {[&] { return send<bool>(Ref(), Selector()); }, ""},
      {[&] { return respondsTo(porter.get(), Selector()); }, ""},
      {[&] { return itsClass.ownMethod(Selector()) != nullptr; }, ""},
      {[&] { return Keeper::protocol().methodDescription(Selector(), false) != nullptr; }, ""},
      {[&] { return send(door, kOpen, *door, "guest"); },
       unrecognized("-[TestDoor door:open:]", "instance", door.get())},
      {[&] { return send<bool>(porter, Selector()); }, toInstance},
      {[&] { return invocation.invoke(), true; }, toInstance},
      {[&] { return send<bool>(itsClass, Selector(), std::int64_t{1}); },
       unrecognized("+[Porter (null)]", "class", &itsClass)},
      {[&] { return addMethod(itsClass, Selector(), method); }, "a method has a selector"},
      {[&] { return replaceMethod(itsClass, Selector(), method) != nullptr; }, "a method has a selector"},
      {[&] { return protocol.add(Selector(), method.signature(), true).methods().empty(); },
       "a method has a selector"}};
  for (const auto& [answersTrue, reason] : rows) {
    SCOPED_TRACE(reason);
    EXPECT_EQ(raised([&, &asked = answersTrue] { EXPECT_FALSE(asked()); }), reason);
  }
}

TEST(Invocation, KeepsCopiesOfArgumentsAndRaisesOnMismatch) {
  const auto porter = make<Porter>();
  const auto counted = std::make_shared<int>(0);
  const std::function<void(std::int64_t)> handler = [counted](std::int64_t) {};
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
        }};
    for (const auto& attempt : bad) EXPECT_NE(raised(attempt), "");
    EXPECT_GT(counted.use_count(), 2) << "the invocation holds the handler";
  }
  EXPECT_EQ(counted.use_count(), 2);
  EXPECT_EQ(porter->calls, 0);

  Invocation invocation(*Keeper::protocol().methodDescription(kOpen.selector(), false)->signature);
  invocation.setSelector(kOpen.selector());
  invocation.setArgument(2, make<Door>());
  invocation.setArgument(3, std::string("a burglar whose name does not fit in place"));
  invocation.setArgument(3, std::string("guest"));
  for (const Ref& target : {Ref(porter), Ref(box(std::make_shared<Robot>())), Ref()}) {
    invocation.setTarget(target);
    invocation.invoke();
    EXPECT_EQ(invocation.returnValue<bool>(), target == porter);
  }
}

}  // namespace
