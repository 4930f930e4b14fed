// SPDX-License-Identifier: Apache-2.0
// Associations of a proxied delegate.

#include <string_view>
#include <utility>

#include "tidewell/core/appdelegate/internal/DelegateProxy.h"
#include "tidewell/runtime/KeyValueCoding.h"
#include "tidewell/runtime/Message.h"

namespace tidewell {
namespace {

// Their addresses are the keys.
constexpr std::string_view kTDWRealIMPBySelectorKey = "Tdw_realIMPBySelector";
constexpr std::string_view kTDWRealClassKey = "Tdw_realClass";

}  // namespace

void attachRealClass(runtime::Object* object, runtime::Class& realClass) {
  runtime::setAssociatedObject(object, &kTDWRealClassKey, runtime::objectValue(runtime::refOf(&realClass)),
                               runtime::AssociationPolicy::retainNonatomic);
}

runtime::Ref realClass(const runtime::Object* object) {
  return runtime::objectOf(runtime::associatedObject(object, &kTDWRealClassKey));
}

void attachRealImplementations(runtime::Object* object, base::Value map, runtime::AssociationPolicy policy) {
  runtime::setAssociatedObject(object, &kTDWRealIMPBySelectorKey, std::move(map), policy);
}

base::Value realImplementations(const runtime::Object* object) {
  return runtime::associatedObject(object, &kTDWRealIMPBySelectorKey);
}

}  // namespace tidewell
