// SPDX-License-Identifier: Apache-2.0
#include "tidewell/core/appdelegate/TWZeroingWeakContainer.h"

namespace tidewell {

TWZeroingWeakContainer::~TWZeroingWeakContainer() = default;

void TWZeroingWeakContainer::describe(runtime::ClassBuilder<TWZeroingWeakContainer>& c) {
  c.property<&TWZeroingWeakContainer::object, &TWZeroingWeakContainer::setObject>("object");
}

}  // namespace tidewell
