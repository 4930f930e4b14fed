// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace tidewell::base {

/// Calls an accessor while the library is being loaded, so that its process-wide object exists before any
/// thread asks for it. Required for every accessor of a `ForkParticipant`; see there for the reason:
///
///     const MadeWhenLoaded selectorTableMade(selectorTable);
struct MadeWhenLoaded {
  template <class Accessor>
  explicit MadeWhenLoaded(Accessor accessor) {
    accessor();
  }
};

}  // namespace tidewell::base
