// SPDX-License-Identifier: Apache-2.0
// The donor of a proxied delegate's methods.

#include <atomic>
#include <string>
#include <string_view>

#include "tidewell/base/Exception.h"
#include "tidewell/base/internal/Fork.h"
#include "tidewell/base/internal/MadeWhenLoaded.h"
#include "tidewell/base/internal/NeverDestroyed.h"
#include "tidewell/core/appdelegate/internal/DelegateMessages.h"
#include "tidewell/core/appdelegate/internal/DelegateProxy.h"
#include "tidewell/runtime/Description.h"

namespace tidewell {
namespace {

using runtime::Class;
using runtime::Method;
using runtime::Object;
using runtime::Selector;

/// Makes the delegate describe itself with its original class's name.
std::string fakeDescription(Object& self, const Method&) {
  return runtime::plainDescription(runtime::description(realClass(&self).get()), &self);
}

base::WorkMutex& makingDonor() {
  static base::NeverDestroyed<base::WorkMutex> mutex;
  return *mutex;
}

const base::MadeWhenLoaded makingDonorMade(makingDonor);

/// The class with this name, under construction. Continues with an existing one if an earlier attempt ran out
/// of memory.
Class& beginClass(Class*& begun, Class* superclass, std::string_view name) {
  if (!begun) begun = runtime::allocateClassPair(superclass, name);
  if (!begun) base::raise(base::kInternalInconsistencyException, "a class is in the way of the proxy's own");
  return *begun;
}

Class& makeDonorClass() TIDEWELL_REQUIRES(makingDonor()) {
  constinit static Class* begunRoot TIDEWELL_GUARDED_BY(makingDonor()) = nullptr;
  constinit static Class* begunDonor TIDEWELL_GUARDED_BY(makingDonor()) = nullptr;
  Class* root = runtime::classNamed("NSProxy");
  if (!root) {
    root = &beginClass(begunRoot, nullptr, "NSProxy");
    runtime::registerClassPair(*root);
  }
  Class& donor = beginClass(begunDonor, root, "TWAppDelegateSwizzler");

  const Selector describing = Selector::named("fakeDescription");
  const runtime::Function<std::string> describe = &fakeDescription;
  runtime::addMethod(donor, describing,
                     Method(describing, reinterpret_cast<runtime::AnyFunction>(describe),
                            runtime::kDescription.signature(), nullptr));
  for (const DelegateMessage& message : kDelegateMessages) {
    const Selector selector = message.donorSelector();
    runtime::addMethod(donor, selector, Method(selector, message.forward(), message.signature(), nullptr));
  }
  runtime::registerClassPair(donor);
  return donor;
}

}  // namespace

Class& donorClass() {
  static constinit std::atomic<Class*> donor{nullptr};
  // Pairs with the store below: the class is complete.
  if (Class* const made = donor.load(std::memory_order_acquire)) return *made;
  const base::MutexLock lock(makingDonor());
  Class* made = donor.load(std::memory_order_acquire);
  if (!made) {
    made = &makeDonorClass();
    donor.store(made, std::memory_order_release);
  }
  return *made;
}

bool isForwarding(const Method& method) {
  for (const Method* const donated : donorClass().ownMethods()) {
    if (method.function() == donated->function()) return true;  // each class has its own state
  }
  return false;
}

}  // namespace tidewell
