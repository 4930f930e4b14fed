// SPDX-License-Identifier: Apache-2.0
#include "tidewell/core/foundation/TWModelObject.h"

#include <utility>

#include "tidewell/base/Exception.h"
#include "tidewell/runtime/Class.h"
#include "tidewell/runtime/KeyValueCoding.h"

namespace tidewell {
namespace {

/// Counts nested conversions of model objects on this thread.
class Depth {
 public:
  Depth() noexcept { ++depth_; }
  ~Depth() { --depth_; }
  Depth(const Depth&) = delete;
  Depth& operator=(const Depth&) = delete;
  [[nodiscard]] static int now() noexcept { return depth_; }

 private:
  static inline thread_local int depth_ = 0;
};

}  // namespace

TWModelObject::TWModelObject() = default;
TWModelObject::TWModelObject(const base::Dictionary&) {}
TWModelObject::~TWModelObject() = default;

base::Dictionary TWModelObject::dictionaryWithProperties() {
  const Depth depth;
  if (Depth::now() > kMaximumDepth)
    base::raise(base::kInvalidArgumentException, "model objects are nested too deeply, or hold each other");
  base::Dictionary dictionary;
  for (const runtime::Property& property : isa().ownProperties()) {
    base::Value value = runtime::valueForKey(this, property.name);
    const runtime::Ref object = runtime::objectOf(value);
    if (runtime::isKindOf(object.get(), runtime::classOf<TWModelObject>()))
      value = runtime::send(object, kDictionaryWithProperties);
    if (!value.isNil()) dictionary.setObject(std::move(value), property.name);
  }
  return dictionary;
}

void TWModelObject::describe(runtime::ClassBuilder<TWModelObject>& c) {
  c.method<&TWModelObject::dictionaryWithProperties>(kDictionaryWithProperties);
}

}  // namespace tidewell
