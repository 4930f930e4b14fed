// SPDX-License-Identifier: Apache-2.0
#include "tidewell/base/internal/CancellationShield.h"

#if __has_include(<pthread.h>)
#include <pthread.h>
#endif

namespace tidewell::base {

#if defined(PTHREAD_CANCEL_DISABLE)
CancellationShield::CancellationShield() noexcept {
  pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &before_);
}
CancellationShield::~CancellationShield() { pthread_setcancelstate(before_, nullptr); }
#else
CancellationShield::CancellationShield() noexcept = default;
CancellationShield::~CancellationShield() = default;
#endif

}  // namespace tidewell::base
