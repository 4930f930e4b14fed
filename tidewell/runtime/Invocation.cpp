// SPDX-License-Identifier: Apache-2.0
#include "tidewell/runtime/Invocation.h"

#include <string>

#include "tidewell/base/Exception.h"

namespace tidewell::runtime {
namespace {

[[noreturn]] void refuseInvocation(const std::string& reason) {
  base::raise(base::kInvalidArgumentException, reason);
}

std::size_t aligned(std::size_t offset, std::size_t alignment) {
  return (offset + alignment - 1) / alignment * alignment;
}

}  // namespace

Invocation::Invocation(const Signature& signature) : signature_(&signature) {
  // One block of memory: the places, then the bytes of the arguments and of the result.
  const std::size_t count = signature.arguments.size() + 1;
  const auto typeAt = [&](std::size_t i) -> const TypeInfo& {
    return i + 1 < count ? *signature.arguments[i] : *signature.result;
  };
  std::size_t size = count * sizeof(Place);
  for (std::size_t i = 0; i < count; ++i) size = aligned(size, typeAt(i).alignment) + typeAt(i).size;
  unsigned char* bytes = inline_;
  if (size > sizeof inline_) {
    memory_ = std::make_unique<unsigned char[]>(size);
    bytes = memory_.get();
  }
  places_ = ::new (bytes) Place[count];
  std::size_t offset = count * sizeof(Place);
  for (std::size_t i = 0; i < count; ++i) {
    offset = aligned(offset, typeAt(i).alignment);
    places_[i] = {bytes + offset, nullptr};
    offset += typeAt(i).size;
  }
}

Invocation::~Invocation() {
  const std::size_t count = signature_->arguments.size();
  for (std::size_t i = 0; i < count; ++i) empty(places_[i], *signature_->arguments[i]);
  empty(places_[count], *signature_->result);
}

void Invocation::empty(Place& place, const TypeInfo& type) noexcept {
  const void* const value = std::exchange(place.value, nullptr);
  if (value && value == place.bytes) type.destroy(place.bytes);
}

Invocation::Place& Invocation::checkedArgument(std::size_t index, const TypeInfo& type) {
  const std::size_t place = index - Signature::kFirstArgument;
  if (index < Signature::kFirstArgument || place >= signature_->arguments.size())
    refuseInvocation("there is no argument " + std::to_string(index) + " in " + signature_->text);
  const TypeInfo& wanted = *signature_->arguments[place];
  if (&type != &wanted)
    refuseInvocation("argument " + std::to_string(index) + " is " + type.text + " (" + type.encoding +
                     "), not " + wanted.text + " (" + wanted.encoding + ")");
  return places_[place];
}

void Invocation::store(std::size_t index, const TypeInfo& type, const void* value) {
  Place& argument = checkedArgument(index, type);
  empty(argument, type);
  type.copy(argument.bytes, value);
  argument.value = argument.bytes;
}

void Invocation::refer(std::size_t index, const TypeInfo& type, const void* value) {
  Place& argument = checkedArgument(index, type);
  empty(argument, type);
  argument.value = value;
}

void Invocation::invoke() {
  Place& result = places_[signature_->arguments.size()];
  empty(result, *signature_->result);
  if (!target_) return;
  const void* arguments[kMaximumArguments];
  const std::size_t count = signature_->arguments.size();
  if (count > kMaximumArguments)
    refuseInvocation("more arguments than an invocation takes: " + signature_->text);
  for (std::size_t i = 0; i < count; ++i) {
    if (!places_[i].value)
      refuseInvocation("argument " + std::to_string(i + Signature::kFirstArgument) + " is missing");
    arguments[i] = places_[i].value;
  }
  const Ref target = target_;  // the method may replace this invocation's target
  const MethodCache::Answer& found = methodForSend(*target, selector_, *signature_);
  signature_->invoke(found.function, *target, *found.method, arguments, result.bytes);
  if (signature_->result->destroy) result.value = result.bytes;
}

const void* Invocation::checkedResult(const TypeInfo& type) const {
  if (&type != signature_->result)
    refuseInvocation("the result is " + signature_->result->text + " (" + signature_->result->encoding +
                     "), not " + type.text + " (" + type.encoding + ")");
  return places_[signature_->arguments.size()].value;
}

}  // namespace tidewell::runtime
