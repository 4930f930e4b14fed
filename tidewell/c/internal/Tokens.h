// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <memory>

#include "tidewell/base/Value.h"
#include "tidewell/c/tidewell.h"
#include "tidewell/platform/UIApplication.h"

// The objects that a `tdw_token` stands for. Any thread; objects are destroyed with no lock held.
namespace tidewell::c {

/// What a token stands for: an observation or an interceptor, which ends with the object, or a `Completion`.
struct Token {
  Token() = default;
  virtual ~Token() = default;
  Token(const Token&) = delete;
  Token& operator=(const Token&) = delete;
  /// Whether this is a `Completion`.
  [[nodiscard]] virtual bool isCompletion() const noexcept { return false; }
};

/// A completion handler that a delegate was given; two of its functions are empty.
struct Completion final : Token {
  std::function<void()> completed;
  platform::FetchCompletionHandler fetched;
  platform::RestorationHandler restored;
  [[nodiscard]] bool isCompletion() const noexcept override { return true; }
};

/// Keeps an object until it is removed or completed. Returns its token, and stores it unless `token` is null.
/// Throws `std::bad_alloc`.
tdw_token keep(std::shared_ptr<Token> object, tdw_token* token = nullptr);

}  // namespace tidewell::c
