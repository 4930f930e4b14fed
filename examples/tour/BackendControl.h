// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

/// Controls the stand-in backend through its control server.
class BackendControl {
 public:
  explicit BackendControl(int port) : port_(port) {}

  /// Sets the reply of the configuration service. Whether the backend accepted it.
  [[nodiscard]] bool setConfiguration(const std::string& json) const;
  /// Adds a fault, such as "service=0,kind=status:500,times=1". Whether the backend accepted it.
  [[nodiscard]] bool addFault(const std::string& fault) const;
  /// The number of requests that the backend has received.
  [[nodiscard]] int requestCount() const;
  /// The text of the log line that was shipped last; "" if there is none.
  [[nodiscard]] std::string lastShippedLine() const;

 private:
  int port_;
};
