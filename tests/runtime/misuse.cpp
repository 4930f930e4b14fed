// SPDX-License-Identifier: Apache-2.0
// Misuse that must not compile: compiled without MISUSE, which must succeed, and once with each number.
#include "runtime/Delegates.h"

using namespace delegates;

#if MISUSE == 1  // an object without a class
Ref made() { return std::make_shared<Porter>(); }
#elif MISUSE == 2
void onTheStack() { Porter porter; }
#elif MISUSE == 3  // an override that the object model cannot call
class Hidden : public Keeper {
  bool open(Door&, const std::string&) override { return true; }
};
Ref made() { return make<Hidden>(); }
#elif MISUSE == 4  // a method whose types are not the message's
class Wrong : public Object {
 public:
  bool open(int) { return true; }
  static void describe(ClassBuilder<Wrong>& c) { c.method<&Wrong::open>(kOpen); }
};
Ref made() { return make<Wrong>(); }
#elif MISUSE == 5  // a call may have several receivers, so no argument may be moved from
inline constinit const Message<void(std::string&&)> kTake{"take:"};
#elif MISUSE == 6
inline constinit const Message<void(std::string&)> kFill{"fill:"};
#elif MISUSE == 7   // an invocation would keep the view, not the text
inline constinit const Message<void(std::string_view)> kLook{"look:"};
#elif MISUSE == 8   // an argument of a type that the message does not have
bool sent(const Ref& keeper, Door& door) { return send(keeper, kOpen, door, 5.0); }
#elif MISUSE == 9   // a class that does not derive from Object, and is not boxed
Class& ofRobot() { return classOf<Robot>(); }
#elif MISUSE == 10  // an invocation aligns its storage for standard types only
const TypeInfo& aligned() { return typeInfo<std::aligned_storage_t<64, 64>>(); }
#else
bool sent(const Ref& keeper, Door& door) { return send(keeper, kOpen, door, "guest"); }
Ref made() { return make<Porter>(); }
#endif
