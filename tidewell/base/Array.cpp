// SPDX-License-Identifier: Apache-2.0
#include "tidewell/base/Array.h"

#include <memory>

#include "tidewell/base/Exception.h"
#include "tidewell/base/internal/Records.h"

namespace tidewell::base {
namespace {

const ArrayRecord* arrayRecord(const SharedPointer& pointer) {
  return static_cast<const ArrayRecord*>(pointer.get());
}

SharedPointer recordWith(std::vector<Value> values) {
  auto record = std::make_unique<ArrayRecord>();
  record->values = std::move(values);
  return SharedPointer(record.release());
}

}  // namespace

Array::Array(std::initializer_list<Value> values) : Array(std::vector<Value>(values)) {}

Array::Array(std::vector<Value> values) {
  if (!values.empty()) record_ = recordWith(std::move(values));
}

std::size_t Array::count() const noexcept {
  const ArrayRecord* record = arrayRecord(record_);
  return record ? record->values.size() : 0;
}

const Value* Array::begin() const noexcept {
  const ArrayRecord* record = arrayRecord(record_);
  return record ? record->values.data() : nullptr;
}

const Value& Array::objectAtIndex(std::size_t index) const {
  if (index >= count()) {
    const std::string bounds =
        empty() ? "for empty array" : "beyond bounds [0 .. " + std::to_string(count() - 1) + "]";
    raise(kRangeException, "-[__NSArrayI objectAtIndex:]: index " + std::to_string(index) + " " + bounds);
  }
  return begin()[index];
}

void Array::addObject(Value value) {
  if (!record_.isUnique()) {
    std::vector<Value> copy;
    copy.reserve(count() + 1);
    copy.assign(begin(), end());
    record_ = recordWith(std::move(copy));
  }
  static_cast<ArrayRecord*>(record_.get())->values.push_back(std::move(value));
}

bool operator==(const Array& a, const Array& b) noexcept { return Value(a).isEqual(Value(b)); }

std::string Array::description() const { return Value(*this).description(); }

}  // namespace tidewell::base
