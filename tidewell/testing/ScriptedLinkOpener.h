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

/// What the other programs of a machine do with a URL.
struct LinkAnswer {
  bool canOpen = false;    ///< what `canOpenURL` says, whatever comes of opening it
  bool isClaimed = false;  ///< opened where only universal links are
  bool opens = false;      ///< opened otherwise
};

enum class LinkOperation : std::uint8_t {
  canOpen,        ///< `canOpenURL`
  openUniversal,  ///< `openURL` with the option of opening universal links only
  open,           ///< `openURL` without it
  legacyOpen,     ///< the `openURL` that answers at once
};

/// One call of the link opener.
struct LinkCall {
  LinkOperation operation;
  std::optional<base::Url> url;
};

/// Other programs that do what a test says, and keep what they are given. Until it says something, nothing
/// can be opened. Any thread.
class TIDEWELL_EXPORT ScriptedLinkOpener final : public platform::LinkOpener {
 public:
  /// The queue is where completions come; it outlives the link opener.
  explicit ScriptedLinkOpener(platform::Queue& mainQueue);
  ~ScriptedLinkOpener() override;
  [[nodiscard]] bool canOpenURL(const std::optional<base::Url>& url) override;
  void openURL(const base::Url& url, platform::OpenOptions options,
               std::function<void(bool)> completion) override;
  bool openURL(const base::Url& url) override;

  /// For the URL of exactly this text.
  void setAnswer(std::string_view url, LinkAnswer answer);
  /// For all others, and for no URL.
  void setDefaultAnswer(LinkAnswer answer);
  /// Every call since the last time, in order.
  std::vector<LinkCall> takeCalls();

 private:
  struct State;
  std::unique_ptr<State> state_;
};

}  // namespace tidewell::testing
