#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "tidewell/base/Value.h"
#include "tidewell/platform/NotificationCenter.h"
#include "tidewell/runtime/Object.h"

/// A sibling module: the user's messages, fetched from the backend and kept until another user comes.
///
/// Made on the main thread, once the application has set its delegate, and used there.
class Inbox {
 public:
  using Messages = std::optional<tidewell::base::Array>;  ///< nothing: there is no inbox for now
  using Completion = std::function<void(const Messages& messages)>;

  Inbox();
  ~Inbox();
  Inbox(const Inbox&) = delete;
  Inbox& operator=(const Inbox&) = delete;

  void fetch(Completion completion = {});
  [[nodiscard]] const Messages& messages() const { return *messages_; }

 private:
  std::shared_ptr<Messages> messages_;  ///< shared with requests on their way, which may outlive the module
  tidewell::platform::NotificationCenter::Token reset_;
  tidewell::runtime::Ref listener_;  ///< the proxy does not keep it alive
  std::optional<std::string> listenerID_;
};
