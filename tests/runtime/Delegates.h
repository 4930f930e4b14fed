// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include "tidewell/runtime/Description.h"
#include "tidewell/runtime/Invocation.h"
#include "tidewell/runtime/KeyValueCoding.h"
#include "tidewell/runtime/Make.h"
#include "tidewell/runtime/Observing.h"

/// A small protocol and classes that implement it in each possible way. Compiles without exceptions.
namespace delegates {

using namespace tidewell;
using namespace tidewell::runtime;

class Door : public Object {
 public:
  static constexpr std::string_view kClassName = "TestDoor";
};

inline constinit const Message<bool(Door&, const std::string&)> kOpen{"door:open:"};
inline constinit const Message<void(Door&, const std::function<void(std::int64_t)>&)> kCount{"door:count:"};
inline constinit const Message<std::int64_t(std::int64_t)> kTwice{"twice:"};

class Keeper : public Subclass<Keeper> {
 public:
  virtual bool open(Door&, const std::string&) { return false; }
  virtual void count(Door&, const std::function<void(std::int64_t)>&) {}
  static const Protocol& protocol() {
    static const Protocol& protocol = (new Protocol("Keeper"))->optional(kOpen).optional(kCount);
    return protocol;
  }
  static void describe(ClassBuilder<Keeper>& c) { c.conformsTo(protocol()); }
  template <class T>
  static void adopt(ClassBuilder<T>& c) {
    adoptMethod<Keeper>(c, kOpen, []<class U>() { return &U::open; });
    adoptMethod<Keeper>(c, kCount, []<class U>() { return &U::count; });
  }
};

class Porter : public Keeper {  // derives without `Subclass`, overrides one of two methods
 public:
  bool open(Door&, const std::string& who) override {
    ++calls;
    return who == "guest";
  }
  int calls = 0;
};

class NightPorter : public Subclass<NightPorter, Porter> {  // inherits `open`, overrides the other
 public:
  void count(Door&, const std::function<void(std::int64_t)>& answer) override { answer(calls); }
};

class Sibling : public Keeper {  // as large as Porter, but unrelated
 public:
  bool open(Door&, const std::string&) override { return true; }
  int calls = 0;
};

struct Robot {  // not part of the object model
  bool unlock(const std::string& who) { return who == "robot"; }
  static void describe(ClassBuilder<Boxed<Robot>>& c) {
    c.conformsTo(Keeper::protocol())
        .method<[](Boxed<Robot>& self, Door&, const std::string& who) { return self.target().unlock(who); }>(
            kOpen);
  }
};

}  // namespace delegates
