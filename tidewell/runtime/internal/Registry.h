// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <deque>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "tidewell/base/internal/Fork.h"
#include "tidewell/runtime/Class.h"
#include "tidewell/runtime/Make.h"

namespace tidewell::runtime {

/// The contents of a class.
struct ClassContents {
  std::vector<const Method*> methods;
  std::deque<Property> properties;  // pointers to elements stay valid while others are added
  std::vector<const Protocol*> protocols;
  std::vector<Class*> subclasses;
};

/// Every class of the process: names, hierarchy and contents. Never destroyed, and neither are its classes.
///
/// Guarded by one mutex, which is never held over an author's `describe`: that may wait for another thread
/// that waits for the mutex.
class Registry {
 public:
  [[nodiscard]] static Registry& shared();
  Registry();

  [[nodiscard]] Class& root() noexcept { return *root_; }
  [[nodiscard]] Class* allocate(Class* superclass, std::string_view name, std::size_t extraBytes);
  void registerPair(Class& made);
  [[nodiscard]] Class* named(std::string_view name);
  void declareWhenNamed(std::string_view name, Class& (*declaring)());

  [[nodiscard]] Class& declare(const NativeType& type);

  bool addMethod(Class& to, Selector selector, const Method& from);
  const Method* replaceMethod(Class& in, Selector selector, const Method& with);
  bool addProtocol(Class& to, const Protocol& protocol);
  bool addProperty(Class& to, Property property);

  [[nodiscard]] const MethodCache::Answer& findMethod(const Class& in, Selector selector);
  [[nodiscard]] const Method* ownMethod(const Class& of, Selector selector);
  [[nodiscard]] std::vector<const Method*> ownMethods(const Class& of);
  [[nodiscard]] std::vector<Property> ownProperties(const Class& of);
  [[nodiscard]] const Property* property(const Class& of, std::string_view name);
  [[nodiscard]] bool conforms(const Class& of, const Protocol& protocol);

 private:
  /// The declaration of a C++ type's class. The class exists from the start, so that descriptions may refer
  /// to each other; the first thread to finish describing it fills it.
  struct Declaration {
    Class* declared = nullptr;
    bool isComplete = false;
  };

  [[nodiscard]] ClassContents& contents(const Class& of) const TIDEWELL_REQUIRES(mutex_) {
    return *of.contents_;
  }
  Class& makePair(Class* superclass, std::string name, std::size_t size) TIDEWELL_REQUIRES(mutex_);
  /// The type's declaration, created if it does not exist.
  Declaration& begin(const NativeType& type, Class& superclass) TIDEWELL_REQUIRES(mutex_);
  void complete(Declaration& declaration, ClassDescription description) TIDEWELL_REQUIRES(mutex_);
  /// An unused name: the given one, or with "#2", "#3", … appended.
  [[nodiscard]] std::string unusedName(std::string_view name) const TIDEWELL_REQUIRES(mutex_);
  const Method* putMethod(Class& in, Selector selector, const Method& method) TIDEWELL_REQUIRES(mutex_);
  bool putProtocol(Class& to, const Protocol& protocol) TIDEWELL_REQUIRES(mutex_);
  bool putProperty(Class& to, Property property) TIDEWELL_REQUIRES(mutex_);
  [[nodiscard]] const Method* methodIn(const Class& of, Selector selector) const TIDEWELL_REQUIRES(mutex_);
  static void markRegistered(Class& made);
  /// Drops the cached lookups of a class and its subclasses.
  void dropCaches(Class& of) TIDEWELL_REQUIRES(mutex_);

  base::StateMutex mutex_;
  std::deque<Method> methods_ TIDEWELL_GUARDED_BY(mutex_);                   ///< including replaced ones
  std::vector<std::shared_ptr<Class>> classes_ TIDEWELL_GUARDED_BY(mutex_);  ///< including metaclasses
  std::unordered_map<std::string, Class*> byName_
      TIDEWELL_GUARDED_BY(mutex_);  ///< including unregistered ones
  std::unordered_map<std::string, Declaration> declarations_ TIDEWELL_GUARDED_BY(mutex_);
  std::unordered_map<std::string, Class& (*)()> declaredWhenNamed_ TIDEWELL_GUARDED_BY(mutex_);
  Class* root_ = nullptr;  ///< set by the constructor
  Class* rootMetaclass_ TIDEWELL_GUARDED_BY(mutex_) = nullptr;
};

}  // namespace tidewell::runtime
