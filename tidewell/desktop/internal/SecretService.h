#pragma once

#include <atomic>
#include <chrono>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace tidewell::desktop {

/// The session's keyring, as far as the keychain needs it: secrets in its default collection, known by their
/// attributes. Any thread; never raises.
///
/// It is asked only where the session has a bus: libsecret would start one, and wait for it. Each operation
/// has a thread for its time, so that its caller need not wait for ever: a keyring that answered too late
/// once is not asked again by this process.
class SecretService final {
 public:
  using Attributes = std::map<std::string, std::string>;

  /// How long a caller waits at most.
  static constexpr std::chrono::milliseconds kPatience{1000};

  enum class Status {
    done,
    notFound,
    unusable,  ///< no bus, no service, no default collection, a locked one, an error, no answer in time
  };

  /// Looks for the bus in the environment, now; `application` goes into every item's attributes.
  explicit SecretService(std::string application);

  /// The first secret with these attributes.
  [[nodiscard]] Status find(const Attributes& attributes, std::string& secret);
  [[nodiscard]] Status store(const Attributes& attributes, const std::string& label,
                             const std::string& secret);
  /// Removes every secret with these attributes.
  [[nodiscard]] Status remove(const Attributes& attributes);

 private:
  struct Request;
  [[nodiscard]] Status ask(Request request, std::string* secret);

  const std::string application_;
  const bool hasBus_;
  std::atomic<bool> isHopeless_{false};
};

}  // namespace tidewell::desktop
