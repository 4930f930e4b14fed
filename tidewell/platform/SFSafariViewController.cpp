// SPDX-License-Identifier: Apache-2.0
#include "tidewell/platform/SFSafariViewController.h"

#include <string>
#include <utility>

#include "tidewell/base/Exception.h"
#include "tidewell/base/internal/Ascii.h"
#include "tidewell/base/internal/Mutex.h"
#include "tidewell/platform/Platform.h"
#include "tidewell/platform/internal/HierarchyMutex.h"

namespace tidewell::platform {
namespace {

const base::Url& webPage(const std::optional<base::Url>& url) {
  const std::string scheme = url ? url->scheme().value_or("") : "";
  if (!base::detail::equalsIgnoringCase(scheme, "http") && !base::detail::equalsIgnoringCase(scheme, "https"))
    base::raise(base::kInvalidArgumentException,
                "The specified URL has an unsupported scheme. Only HTTP and HTTPS URLs are supported.");
  return *url;
}

}  // namespace

SFSafariViewController::SFSafariViewController(const std::optional<base::Url>& url) : url_(webPage(url)) {}

SFSafariViewController::~SFSafariViewController() = default;

runtime::Ref SFSafariViewController::delegate() const {
  const base::MutexLock lock(hierarchyMutex());
  return delegate_.lock();
}

void SFSafariViewController::setDelegate(const runtime::Ref& delegate) {
  runtime::WeakRef next = delegate;  // swapped with the previous one, which is released after unlocking
  const base::MutexLock lock(hierarchyMutex());
  delegate_.swap(next);
}

Shown SFSafariViewController::show(Presenter& presenter, Shown above) {
  if (const NetworkAccess access = networkAccess(Platform::current()); access != NetworkAccess::allowed) {
    report("A web page is not shown: " + refusalError(access).localizedDescription);
    return Shown::nothing;
  }
  return presenter.showBrowser(url_, {[weak = weak_from_this()] {
                                 if (const runtime::Ref page = weak.lock())
                                   static_cast<SFSafariViewController&>(*page).finish();
                               }},
                               above);
}

void SFSafariViewController::finish() {
  const runtime::Ref to = delegate();
  if (runtime::respondsTo(to.get(), kSafariViewControllerDidFinish.selector())) {
    runtime::send(to, kSafariViewControllerDidFinish, *this);
  } else {
    dismissViewControllerAnimated(true);
  }
}

void SFSafariViewController::describe(runtime::ClassBuilder<SFSafariViewController>& c) {
  c.property<&SFSafariViewController::URL>("URL")
      .property<&SFSafariViewController::delegate, &SFSafariViewController::setDelegate>("delegate");
}

}  // namespace tidewell::platform
