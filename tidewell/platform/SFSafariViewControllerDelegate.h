#pragma once

#include "tidewell/base/Export.h"
#include "tidewell/platform/SFSafariViewController.h"
#include "tidewell/runtime/ClassBuilder.h"
#include "tidewell/runtime/Make.h"

namespace tidewell::platform {

/// Hears what becomes of a page of the in-app browser. Derive, override, and make the object with
/// `runtime::make`; any other object that answers the message will do, too.
class TIDEWELL_EXPORT SFSafariViewControllerDelegate
    : public runtime::Subclass<SFSafariViewControllerDelegate> {
 public:
  ~SFSafariViewControllerDelegate() override;

  /// The user has closed the page: dismiss the controller. Main queue.
  virtual void safariViewControllerDidFinish(SFSafariViewController& controller);

  template <class T>
  static void adopt(runtime::ClassBuilder<T>& c) {
    runtime::adoptMethod<SFSafariViewControllerDelegate>(
        c, kSafariViewControllerDidFinish, []<class U>() { return &U::safariViewControllerDidFinish; });
  }
};

}  // namespace tidewell::platform
