// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string_view>
#include <vector>

#include "tidewell/base/Export.h"
#include "tidewell/base/Url.h"
#include "tidewell/platform/LinkOpener.h"
#include "tidewell/platform/Queue.h"

namespace tidewell::testing {

/// How the other programs of a simulated machine handle a URL.
struct LinkAnswer {
  bool canOpen = false;    ///< the result of `canOpenURL`, independent of the others
  bool isClaimed = false;  ///< opens as a universal link
  bool opens = false;      ///< opens otherwise
};

enum class LinkOperation : std::uint8_t {
  canOpen,        ///< `canOpenURL`
  openUniversal,  ///< `openURL` with the option of opening universal links only
  open,           ///< `openURL` without it
  legacyOpen,     ///< the `openURL` that returns its result
};

/// A recorded call of the link opener.
struct LinkCall {
  LinkOperation operation;
  std::optional<base::Url> url;
};

/// A link opener with scripted results, which records its calls. By default no URL can be opened. Any thread.
class TIDEWELL_EXPORT ScriptedLinkOpener final : public platform::LinkOpener {
 public:
  /// Completions are called on `mainQueue`, which must outlive this object.
  explicit ScriptedLinkOpener(platform::Queue& mainQueue);
  ~ScriptedLinkOpener() override;
  [[nodiscard]] bool canOpenURL(const std::optional<base::Url>& url) override;
  void openURL(const base::Url& url, platform::OpenOptions options,
               std::function<void(bool)> completion) override;
  bool openURL(const base::Url& url) override;

  /// Sets the result for the URL with exactly this text.
  void setAnswer(std::string_view url, LinkAnswer answer);
  /// Sets the result for all other URLs, and for a missing URL.
  void setDefaultAnswer(LinkAnswer answer);
  /// Returns all calls since the last call of this, in order.
  std::vector<LinkCall> takeCalls();

 private:
  struct State;
  std::unique_ptr<State> state_;
};

}  // namespace tidewell::testing
