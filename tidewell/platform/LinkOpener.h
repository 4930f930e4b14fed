#pragma once

#include <functional>
#include <optional>

#include "tidewell/base/Export.h"
#include "tidewell/base/Url.h"

namespace tidewell::platform {
/// How a URL is opened.
struct OpenOptions {
  /// Opens only what an installed application claims by its host, never with a browser or by scheme.
  bool universalLinksOnly = false;
};

/// Hands URLs to other programs.
///
/// A URL is foreign text: an implementation passes it on whole, as one argument, and never through a shell.
/// No lock is held while a completion runs.
class TIDEWELL_EXPORT LinkOpener {
 public:
  virtual ~LinkOpener();

  /// Whether some program opens URLs of this scheme. NO for no URL. Any thread; never raises, never waits for
  /// another program.
  [[nodiscard]] virtual bool canOpenURL(const std::optional<base::Url>& url) = 0;

  /// Opens a URL and says whether a program took it. Main queue only; never raises. The completion comes
  /// exactly once, on the main queue, never before this returns; an empty one is ignored.
  virtual void openURL(const base::Url& url, OpenOptions options, std::function<void(bool)> completion) = 0;

  /// The way of systems before iOS 10: opens a URL and answers at once whether there was a program to take
  /// it. Main queue only; never raises.
  virtual bool openURL(const base::Url& url) = 0;
};

/// Can open nothing: the link opener of a platform that has none.
class TIDEWELL_EXPORT NoLinkOpener final : public LinkOpener {
 public:
  [[nodiscard]] bool canOpenURL(const std::optional<base::Url>& url) override;
  void openURL(const base::Url& url, OpenOptions options, std::function<void(bool)> completion) override;
  bool openURL(const base::Url& url) override;
};

}  // namespace tidewell::platform
