// SPDX-License-Identifier: Apache-2.0
#include "tidewell/runtime/internal/Registry.h"

#include <algorithm>
#include <utility>

#include "tidewell/base/Exception.h"
#include "tidewell/base/internal/Loader.h"
#include "tidewell/base/internal/MadeWhenLoaded.h"
#include "tidewell/base/internal/Mutex.h"
#include "tidewell/base/internal/NeverDestroyed.h"
#include "tidewell/runtime/ClassBuilder.h"

namespace tidewell::runtime {
namespace {

/// A type that the calling thread is describing, so that descriptions can refer to themselves. Entries form a
/// list on the thread's stack: it needs no destructor, which would run before static destructors that may
/// still describe types.
class Describing {
 public:
  explicit Describing(const void* declaration) noexcept : declaration_(declaration), outer_(innermost) {
    innermost = this;
  }
  ~Describing() { innermost = outer_; }
  Describing(const Describing&) = delete;
  Describing& operator=(const Describing&) = delete;

  /// Whether the calling thread is describing the type.
  [[nodiscard]] static bool isUnderWay(const void* declaration) noexcept {
    const Describing* at = innermost;
    while (at && at->declaration_ != declaration) at = at->outer_;
    return at != nullptr;
  }

 private:
  static thread_local constinit const Describing* innermost;
  const void* const declaration_;
  const Describing* const outer_;
};
thread_local constinit const Describing* Describing::innermost = nullptr;

/// Whether a type's name is not unique because the type is local to a file or function.
bool isLocalName(std::string_view name) {
  return name.find_first_of("({") != name.npos || name.find("<unnamed") != name.npos ||
         name.find("<lambda") != name.npos;
}

const base::MadeWhenLoaded registryMade(Registry::shared);

[[noreturn]] void refuse(std::string reason) { base::raise(base::kInvalidArgumentException, reason); }

/// Reserves room so that adding `more` elements cannot fail.
template <class List>
void makeRoom(List& list, std::size_t more) {
  if (list.capacity() - list.size() < more) list.reserve(2 * list.size() + more);
}

void checkReceivers(const Class& to, Selector selector, const Method& method) {
  const Class* const needed = method.neededClass();
  if (!needed || to.nativeClass().isSubclassOf(*needed)) return;
  refuse("the implementation of " + std::string(selector.name()) + " takes objects of the native class " +
         needed->name() + ", those of " + to.name() + " are of the native class " + to.nativeClass().name());
}

}  // namespace

Registry& Registry::shared() {
  static base::NeverDestroyed<Registry> registry;
  return *registry;
}

Registry::Registry() {
  const base::MutexLock lock(mutex_);
  root_ = &makePair(nullptr, "NSObject", sizeof(Object));
  root_->nativeClass_ = root_;
  markRegistered(*root_);
}

Class& Registry::makePair(Class* superclass, std::string name, std::size_t size) {
  const std::shared_ptr<Class> made(new Class);
  const std::shared_ptr<Class> metaclass(new Class);
  Class& rootMetaclass = rootMetaclass_ ? *rootMetaclass_ : *metaclass;
  Class& aboveMetaclass = superclass ? superclass->metaclass() : *made;

  const auto place = [](Class& placed, Class* above) {
    placed.superclass_ = above;
    if (above) placed.ancestors_ = above->ancestors_;
    placed.depth_ = placed.ancestors_.size();
    placed.ancestors_.push_back(&placed);
  };
  made->name_ = std::move(name);
  place(*made, superclass);
  made->instanceSize_ = size;
  made->nativeClass_ = superclass ? superclass->nativeClass_ : root_;

  metaclass->name_ = made->name_;
  metaclass->isMetaclass_ = true;
  place(*metaclass, &aboveMetaclass);
  metaclass->instanceSize_ = sizeof(Class);
  metaclass->nativeClass_ = &rootMetaclass;

  ObjectAccess::isa(*made).store(metaclass.get(), std::memory_order_release);
  ObjectAccess::isa(*metaclass).store(&rootMetaclass, std::memory_order_release);

  // The pair becomes visible only after memory for all lists is reserved.
  if (superclass) makeRoom(contents(*superclass).subclasses, 1);
  makeRoom(contents(aboveMetaclass).subclasses, 1);
  makeRoom(classes_, 2);
  byName_.emplace(made->name_, made.get());
  rootMetaclass_ = &rootMetaclass;
  if (superclass) contents(*superclass).subclasses.push_back(made.get());
  contents(aboveMetaclass).subclasses.push_back(metaclass.get());
  classes_.push_back(made);
  classes_.push_back(metaclass);
  return *made;
}

Class* Registry::allocate(Class* superclass, std::string_view name, std::size_t extraBytes) {
  const base::MutexLock lock(mutex_);
  if (superclass && (superclass->isMetaclass() || !superclass->isRegistered()))
    refuse("no class can be made below " + superclass->name() + ", which is not registered or a metaclass");
  if (name.empty() || byName_.contains(std::string(name))) return nullptr;
  const std::size_t size = (superclass ? superclass->instanceSize_ : sizeof(Object)) + extraBytes;
  return &makePair(superclass, std::string(name), size);
}

void Registry::registerPair(Class& made) {
  const base::MutexLock lock(mutex_);
  markRegistered(made);
}

void Registry::markRegistered(Class& made) {
  // Pairs with the load in `isRegistered`: the class is complete.
  made.metaclass().isRegistered_.store(true, std::memory_order_release);
  made.isRegistered_.store(true, std::memory_order_release);
}

Class* Registry::named(std::string_view name) {
  const std::string key(name);
  Class& (*declaring)() = nullptr;
  {
    const base::MutexLock lock(mutex_);
    const auto found = byName_.find(key);
    if (found != byName_.end()) return found->second->isRegistered() ? found->second : nullptr;
    const auto later = declaredWhenNamed_.find(key);
    if (later == declaredWhenNamed_.end()) return nullptr;
    declaring = later->second;
  }
  return &declaring();
}

void Registry::declareWhenNamed(std::string_view name, Class& (*declaring)()) {
  const base::MutexLock lock(mutex_);
  declaredWhenNamed_.emplace(name, declaring);
}

std::string Registry::unusedName(std::string_view name) const {
  std::string unused(name);
  for (int number = 2; byName_.contains(unused); ++number)
    unused = std::string(name) + "#" + std::to_string(number);
  return unused;
}

Registry::Declaration& Registry::begin(const NativeType& type, Class& superclass) {
  std::string key(type.qualifiedName);
  key += isLocalName(type.qualifiedName)
             ? "@" + std::to_string(reinterpret_cast<std::uintptr_t>(type.classOfType))
             : "/" + std::to_string(type.size);
  Declaration& declaration = declarations_[std::move(key)];
  if (declaration.declared) return declaration;
  if (type.isNameGiven && byName_.contains(std::string(type.name)))
    refuse("there is a class " + std::string(type.name) + " already");
  Class& made = makePair(&superclass, unusedName(type.name), type.size);
  made.nativeClass_ = &made;
  declaration.declared = &made;
  return declaration;
}

void Registry::complete(Declaration& declaration, ClassDescription description) {
  Class& declared = *declaration.declared;
  for (const ClassDescription::MethodEntry& entry : description.methods) {
    const Method method(entry.selector, entry.function, *entry.signature,
                        entry.needsNativeReceiver ? &declared : nullptr);
    putMethod(entry.isClassMethod ? declared.metaclass() : declared, entry.selector, method);
  }
  for (Property& property : description.properties) putProperty(declared, std::move(property));
  for (const Protocol* protocol : description.protocols) putProtocol(declared, *protocol);
  markRegistered(declared);
  declaration.isComplete = true;
}

Class& Registry::declare(const NativeType& type) {
  Class& superclass = type.superclass();
  base::keepLoaded(reinterpret_cast<const void*>(type.describe));
  Declaration* declaration = nullptr;
  {
    const base::MutexLock lock(mutex_);
    declaration = &begin(type, superclass);
    if (declaration->isComplete || Describing::isUnderWay(declaration)) {
      if (declaration->isComplete) type.classOfType->store(declaration->declared, std::memory_order_release);
      return *declaration->declared;
    }
  }
  // Two threads may describe the same type at the same time. Neither waits for the other; the first to finish
  // fills the class.
  ClassDescription description;
  {
    const Describing describing(declaration);
    type.describe(description);
  }

  const base::MutexLock lock(mutex_);
  if (!declaration->isComplete) complete(*declaration, std::move(description));
  type.classOfType->store(declaration->declared, std::memory_order_release);
  return *declaration->declared;
}

void Registry::dropCaches(Class& of) {
  of.cache_.clear();
  for (Class* subclass : contents(of).subclasses) dropCaches(*subclass);
}

bool Registry::addMethod(Class& to, Selector selector, const Method& from) {
  const base::MutexLock lock(mutex_);
  if (methodIn(to, selector)) return false;
  putMethod(to, selector, from);
  return true;
}

const Method* Registry::replaceMethod(Class& in, Selector selector, const Method& with) {
  const base::MutexLock lock(mutex_);
  return putMethod(in, selector, with);
}

const Method* Registry::putMethod(Class& in, Selector selector, const Method& method) {
  if (!selector) refuse("a method has a selector");
  checkReceivers(in, selector, method);
  const Method* const made = &methods_.emplace_back(selector, method.function(), method.signature(),
                                                    method.neededClass(), method.state());
  std::vector<const Method*>& methods = contents(in).methods;
  const auto old = std::find_if(methods.begin(), methods.end(),
                                [&](const Method* known) { return known->selector() == selector; });
  const Method* replaced = nullptr;
  if (old == methods.end()) {
    methods.push_back(made);
  } else {
    replaced = std::exchange(*old, made);
  }
  dropCaches(in);
  return replaced;
}

bool Registry::addProtocol(Class& to, const Protocol& protocol) {
  const base::MutexLock lock(mutex_);
  return putProtocol(to, protocol);
}

bool Registry::putProtocol(Class& to, const Protocol& protocol) {
  std::vector<const Protocol*>& protocols = contents(to).protocols;
  if (std::find(protocols.begin(), protocols.end(), &protocol) != protocols.end()) return false;
  protocols.push_back(&protocol);
  return true;
}

bool Registry::addProperty(Class& to, Property property) {
  const base::MutexLock lock(mutex_);
  return putProperty(to, std::move(property));
}

bool Registry::putProperty(Class& to, Property property) {
  for (const Property& known : contents(to).properties) {
    if (known.name == property.name) return false;
  }
  contents(to).properties.push_back(std::move(property));
  return true;
}

const MethodCache::Answer& Registry::findMethod(const Class& in, Selector selector) {
  const base::MutexLock lock(mutex_);
  if (const MethodCache::Answer* known = in.cache_.find(selector)) return *known;
  const Method* found = nullptr;
  for (const Class* at = &in; at && !found; at = at->superclass()) found = methodIn(*at, selector);
  return in.cache_.insert(selector, found);
}

const Method* Registry::ownMethod(const Class& of, Selector selector) {
  const base::MutexLock lock(mutex_);
  return methodIn(of, selector);
}

const Method* Registry::methodIn(const Class& of, Selector selector) const {
  for (const Method* method : contents(of).methods) {
    if (method->selector() == selector) return method;
  }
  return nullptr;
}

std::vector<const Method*> Registry::ownMethods(const Class& of) {
  const base::MutexLock lock(mutex_);
  return contents(of).methods;
}

std::vector<Property> Registry::ownProperties(const Class& of) {
  const base::MutexLock lock(mutex_);
  return {contents(of).properties.begin(), contents(of).properties.end()};
}

const Property* Registry::property(const Class& of, std::string_view name) {
  const base::MutexLock lock(mutex_);
  for (const Class* at = &of; at; at = at->superclass()) {
    for (const Property& property : contents(*at).properties) {
      if (property.name == name) return &property;
    }
  }
  return nullptr;
}

bool Registry::conforms(const Class& of, const Protocol& protocol) {
  const base::MutexLock lock(mutex_);
  for (const Class* at = &of; at; at = at->superclass()) {
    const std::vector<const Protocol*>& protocols = contents(*at).protocols;
    if (std::find(protocols.begin(), protocols.end(), &protocol) != protocols.end()) return true;
  }
  return false;
}

}  // namespace tidewell::runtime
