#pragma once

#include "tidewell/base/Export.h"
#include "tidewell/runtime/ClassBuilder.h"
#include "tidewell/runtime/Make.h"
#include "tidewell/runtime/Object.h"

namespace tidewell {

/// A box that holds an object without keeping it alive.
///
/// Made with `runtime::make<TWZeroingWeakContainer>()`. The object may be read on any thread while it dies on
/// another; it is set by one thread, while none reads.
class TIDEWELL_EXPORT TWZeroingWeakContainer : public runtime::Subclass<TWZeroingWeakContainer> {
 public:
  ~TWZeroingWeakContainer() override;

  /// The object whole, or null as soon as its last owner let go.
  [[nodiscard]] runtime::Ref object() const noexcept { return object_.lock(); }
  void setObject(const runtime::Ref& object) noexcept { object_ = object; }

  static void describe(runtime::ClassBuilder<TWZeroingWeakContainer>& c);

 private:
  runtime::WeakRef object_;
};

}  // namespace tidewell
