// SPDX-License-Identifier: Apache-2.0
#include "tidewell/runtime/Description.h"

#include <array>
#include <atomic>
#include <charconv>
#include <cstdint>

#include "tidewell/runtime/Class.h"

namespace tidewell::runtime {
namespace {

constinit std::atomic<Reporter> currentReporter{nullptr};

}  // namespace

std::string addressText(const void* address) {
  std::array<char, 2 * sizeof(void*)> digits;
  const auto end = std::to_chars(digits.data(), digits.data() + digits.size(),
                                 reinterpret_cast<std::uintptr_t>(address), 16);
  return "0x" + std::string(digits.data(), end.ptr);
}

std::string plainDescription(std::string_view className, const Object* object) {
  return "<" + std::string(className) + ": " + addressText(object) + ">";
}

std::string description(const Object* object) {
  if (!object) return "(null)";
  Class& isa = object->isa();
  if (isa.isMetaclass()) return isa.name();  // a class has the same name as its metaclass
  const Method* const method = isa.method(kDescription.selector());
  if (method && &method->signature() == &kDescription.signature())
    return call(kDescription, *method, const_cast<Object&>(*object));
  return plainDescription(isa.name(), object);
}

void setReporter(Reporter reporter) noexcept { currentReporter.store(reporter, std::memory_order_release); }

void reportObservedDeath(const Object* object, std::string_view className) noexcept {
  // Pairs with the store in `setReporter`: the reporter's own data is visible.
  const Reporter reporter = currentReporter.load(std::memory_order_acquire);
  if (!reporter) return;
  try {
    reporter("An instance " + addressText(object) + " of class " + std::string(className) +
             " was destroyed while observers were still registered with it.");
  } catch (...) {  // out of memory for the report
  }
}

}  // namespace tidewell::runtime
