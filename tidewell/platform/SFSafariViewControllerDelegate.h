// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "tidewell/base/Export.h"
#include "tidewell/platform/SFSafariViewController.h"
#include "tidewell/runtime/ClassBuilder.h"
#include "tidewell/runtime/Make.h"

namespace tidewell::platform {

/// Receives events of an in-app browser page. Derive from it, override, and create the object with
/// `runtime::make`; any other object that responds to the message works, too.
class TIDEWELL_EXPORT SFSafariViewControllerDelegate
    : public runtime::Subclass<SFSafariViewControllerDelegate> {
 public:
  ~SFSafariViewControllerDelegate() override;

  /// The user has closed the page; the delegate must dismiss the controller. Main queue.
  virtual void safariViewControllerDidFinish(SFSafariViewController& controller);

  template <class T>
  static void adopt(runtime::ClassBuilder<T>& c) {
    runtime::adoptMethod<SFSafariViewControllerDelegate>(
        c, kSafariViewControllerDidFinish, []<class U>() { return &U::safariViewControllerDidFinish; });
  }
};

}  // namespace tidewell::platform
