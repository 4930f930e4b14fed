#include "tidewell/platform/SFSafariViewControllerDelegate.h"

namespace tidewell::platform {

SFSafariViewControllerDelegate::~SFSafariViewControllerDelegate() = default;

// Nobody responds because of this: it is what a class has that does not override it.
void SFSafariViewControllerDelegate::safariViewControllerDidFinish(SFSafariViewController&) {}

}  // namespace tidewell::platform
