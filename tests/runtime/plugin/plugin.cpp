// A plug-in of a host, built twice (PLUGIN_NUMBER 1 and 2) with hidden visibility and without run-time type
// information and exceptions: what it declares must work in the host, and stay when it is closed.
#include <string>

#include "runtime/Delegates.h"

namespace {

using namespace delegates;

class Delegate : public Keeper {  // both plug-ins have one of this name, and they differ
 public:
  bool open(Door&, const std::string& who) override {
    return who == "guest of " + std::to_string(PLUGIN_NUMBER);
  }
};

}  // namespace

extern "C" [[gnu::visibility("default")]] void makePluginKeepers(Ref* own, Ref* shared) {
  *own = make<Delegate>();
  *shared = make<Porter>();  // declared by every module that uses it
}
