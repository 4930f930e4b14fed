// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "tidewell/base/Exception.h"

namespace delegates {

/// The reason of the exception that `body` raises; "" if it raises none.
template <class Body>
std::string raised(Body&& body) {
  try {
    body();
  } catch (const tidewell::base::Exception& exception) {
    return exception.reason();
  }
  return "";
}

}  // namespace delegates
