// SPDX-License-Identifier: Apache-2.0
#include "tidewell/platform/SFSafariViewControllerDelegate.h"

namespace tidewell::platform {

SFSafariViewControllerDelegate::~SFSafariViewControllerDelegate() = default;

// The default of classes without an override, which do not respond to the message.
void SFSafariViewControllerDelegate::safariViewControllerDidFinish(SFSafariViewController&) {}

}  // namespace tidewell::platform
