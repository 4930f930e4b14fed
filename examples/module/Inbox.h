// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "tidewell/base/Value.h"
#include "tidewell/platform/NotificationCenter.h"
#include "tidewell/runtime/Object.h"

/// A sibling module: fetches the user's messages from the backend and keeps them until the user changes.
///
/// Create it on the main thread after the application has set its delegate, and use it there.
class Inbox {
 public:
  using Messages = std::optional<tidewell::base::Array>;  ///< no value: not fetched, or switched off
  using Completion = std::function<void(const Messages& messages)>;

  Inbox();
  ~Inbox();
  Inbox(const Inbox&) = delete;
  Inbox& operator=(const Inbox&) = delete;

  void fetch(Completion completion = {});
  [[nodiscard]] const Messages& messages() const { return *messages_; }

 private:
  std::shared_ptr<Messages> messages_;  ///< shared with pending requests, which may outlive the module
  tidewell::platform::NotificationCenter::Token reset_;
  tidewell::runtime::Ref listener_;  ///< the proxy does not keep it alive
  std::optional<std::string> listenerID_;
};
