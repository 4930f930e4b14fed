// SPDX-License-Identifier: Apache-2.0
#include "tidewell/base/Shared.h"

#include "tidewell/base/internal/Records.h"

namespace tidewell::base {
namespace {

void destroyContainer(ContainerRecord* record) noexcept {
  if (record->content == SharedRecord::Content::array) {
    delete static_cast<ArrayRecord*>(record);
  } else {
    delete static_cast<DictionaryRecord*>(record);
  }
}

/// Containers whose last reference was dropped while this thread was destroying another one. Destroying them
/// immediately would recurse once per level of nesting.
struct Waiting {
  ContainerRecord* first;
  bool draining;
};
thread_local constinit Waiting waiting{nullptr, false};

void destroyInTurn(ContainerRecord* record) noexcept {
  Waiting& list = waiting;
  record->next = list.first;
  list.first = record;
  if (list.draining) return;
  list.draining = true;
  while (list.first) {
    ContainerRecord* next = list.first;
    list.first = next->next;
    destroyContainer(next);
  }
  list.draining = false;
}

}  // namespace

void SharedPointer::destroy(SharedRecord* record) noexcept {
  switch (record->content) {
    case SharedRecord::Content::string:
      delete static_cast<StringRecord*>(record);
      return;
    case SharedRecord::Content::data:
      delete static_cast<DataRecord*>(record);
      return;
    case SharedRecord::Content::url:
      delete static_cast<UrlRecord*>(record);
      return;
    case SharedRecord::Content::object:
      delete static_cast<ObjectRecord*>(record);
      return;
    case SharedRecord::Content::array:
    case SharedRecord::Content::dictionary:
      destroyInTurn(static_cast<ContainerRecord*>(record));
      return;
  }
}

}  // namespace tidewell::base
