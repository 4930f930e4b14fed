#pragma once

#include <functional>
#include <memory>
#include <optional>

#include "tidewell/base/Value.h"
#include "tidewell/platform/NotificationCenter.h"

/// A sibling module: the user's messages, fetched from the backend and kept until another user comes.
///
/// Used on the main queue.
class Inbox {
 public:
  /// nothing: there is no inbox for now.
  using Completion = std::function<void(const std::optional<tidewell::base::Array>& messages)>;

  Inbox();
  ~Inbox();
  Inbox(const Inbox&) = delete;
  Inbox& operator=(const Inbox&) = delete;

  void fetch(Completion completion);
  [[nodiscard]] const std::optional<tidewell::base::Array>& messages() const { return *messages_; }

 private:
  /// Shared with the requests on their way, which may outlive the module.
  std::shared_ptr<std::optional<tidewell::base::Array>> messages_;
  tidewell::platform::NotificationCenter::Token reset_;
};
