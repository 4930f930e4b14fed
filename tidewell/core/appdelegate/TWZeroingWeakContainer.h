// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "tidewell/base/Export.h"
#include "tidewell/runtime/ClassBuilder.h"
#include "tidewell/runtime/Make.h"
#include "tidewell/runtime/Object.h"

namespace tidewell {

/// Holds an object weakly.
///
/// Created with `runtime::make<TWZeroingWeakContainer>()`. Any thread may read the object, even while it is
/// being destroyed on another; setting it needs exclusive access.
class TIDEWELL_EXPORT TWZeroingWeakContainer : public runtime::Subclass<TWZeroingWeakContainer> {
 public:
  ~TWZeroingWeakContainer() override;

  /// The complete object, or null once its last owner has released it.
  [[nodiscard]] runtime::Ref object() const noexcept { return object_.lock(); }
  void setObject(const runtime::Ref& object) noexcept { object_ = object; }

  static void describe(runtime::ClassBuilder<TWZeroingWeakContainer>& c);

 private:
  runtime::WeakRef object_;
};

}  // namespace tidewell
