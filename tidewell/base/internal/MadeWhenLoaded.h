#pragma once

namespace tidewell::base {

/// Calls a function while the library is loaded, so that the object of that process-wide accessor exists before the
/// first thread asks for it. Use it for every accessor of a `ForkParticipant`, whose comment gives the reason:
///
///     const MadeWhenLoaded selectorTableMade(selectorTable);
struct MadeWhenLoaded {
  template <class Accessor>
  explicit MadeWhenLoaded(Accessor accessor) {
    accessor();
  }
};

}  // namespace tidewell::base
