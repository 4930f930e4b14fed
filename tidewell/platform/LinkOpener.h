// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <optional>

#include "tidewell/base/Export.h"
#include "tidewell/base/LaterFields.h"
#include "tidewell/base/Url.h"

namespace tidewell::platform {

/// How a URL is opened.
struct OpenOptions {
  /// Opens only URLs that an installed application claims by host, never with a browser or by scheme.
  bool universalLinksOnly = false;
  base::LaterFields laterFields{};
};

/// Opens URLs in other programs.
///
/// URLs are untrusted: an implementation passes one on unchanged, as a single argument, never through a
/// shell. Completions are called with no lock held.
class TIDEWELL_EXPORT LinkOpener {
 public:
  virtual ~LinkOpener();

  /// Whether a program opens URLs of this scheme; false if there is no URL. Any thread; never raises and
  /// never waits for another program.
  [[nodiscard]] virtual bool canOpenURL(const std::optional<base::Url>& url) = 0;

  /// Opens a URL; `completion` receives whether a program accepted it. Main queue only; never raises. Calls a
  /// non-empty completion exactly once, on the main queue, after this call has returned.
  virtual void openURL(const base::Url& url, OpenOptions options, std::function<void(bool)> completion) = 0;

  /// The variant of systems before iOS 10: opens a URL and returns whether a program accepted it. Main queue
  /// only; never raises.
  virtual bool openURL(const base::Url& url) = 0;
};

/// Opens no URL. For platforms without links.
class TIDEWELL_EXPORT NoLinkOpener final : public LinkOpener {
 public:
  [[nodiscard]] bool canOpenURL(const std::optional<base::Url>& url) override;
  void openURL(const base::Url& url, OpenOptions options, std::function<void(bool)> completion) override;
  bool openURL(const base::Url& url) override;
};

}  // namespace tidewell::platform
