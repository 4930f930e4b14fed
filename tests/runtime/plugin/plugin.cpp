// SPDX-License-Identifier: Apache-2.0
// A plug-in, built twice (PLUGIN_NUMBER 1 and 2) with hidden visibility and without RTTI and exceptions. Its
// classes must work in the host and remain usable after it is closed.
#include <string>

#include "runtime/Delegates.h"

namespace {

using namespace delegates;

class Delegate : public Keeper {  // the plug-ins have different classes of this name
 public:
  bool open(Door&, const std::string& who) override {
    return who == "guest of " + std::to_string(PLUGIN_NUMBER);
  }
};

}  // namespace

extern "C" [[gnu::visibility("default")]] void makePluginKeepers(Ref* own, Ref* shared) {
  *own = make<Delegate>();
  *shared = make<Porter>();  // declared in each module that uses it
}
