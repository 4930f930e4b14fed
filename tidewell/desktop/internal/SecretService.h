// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <atomic>
#include <chrono>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace tidewell::desktop {

/// The session's keyring, reduced to what the keychain needs: secrets in the default collection, identified
/// by attributes. Any thread; never raises.
///
/// Used only if the session has a bus; otherwise libsecret would start one and wait for it. Each operation
/// runs on a temporary thread, so that its caller never waits longer than `kMaximumWait`. After one time-out,
/// the process does not use the keyring again.
class SecretService final {
 public:
  using Attributes = std::map<std::string, std::string>;

  /// The longest time that a caller waits.
  static constexpr std::chrono::milliseconds kMaximumWait{1000};

  enum class Status {
    done,
    notFound,
    unusable,  ///< no bus, service or default collection, a locked one, an error, or a time-out
  };

  /// Checks the environment for the bus; `application` is added to every item's attributes.
  explicit SecretService(std::string application);

  /// Gets the first secret with these attributes.
  [[nodiscard]] Status find(const Attributes& attributes, std::string& secret);
  [[nodiscard]] Status store(const Attributes& attributes, const std::string& label,
                             const std::string& secret);
  /// Removes all secrets with these attributes.
  [[nodiscard]] Status remove(const Attributes& attributes);

 private:
  struct Request;
  [[nodiscard]] Status ask(Request request, std::string* secret);

  const std::string application_;
  const bool hasBus_;
  std::atomic<bool> hasTimedOut_{false};
};

}  // namespace tidewell::desktop
