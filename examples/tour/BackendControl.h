#pragma once

#include <string>

/// Tells the stand-in backend, from outside, what it shall answer.
class BackendControl {
 public:
  explicit BackendControl(int port) : port_(port) {}

  /// What the configuration service answers from now on. Whether the backend took it.
  [[nodiscard]] bool setConfiguration(const std::string& json) const;
  /// A misbehaviour, such as "service=0,kind=status:500,times=1".
  [[nodiscard]] bool addFault(const std::string& fault) const;
  /// How many requests the backend has received.
  [[nodiscard]] int requestCount() const;
  /// The text of the log line that was shipped last; "" where none was.
  [[nodiscard]] std::string lastShippedLine() const;

 private:
  int port_;
};
