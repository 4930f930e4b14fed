// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <utility>

/// Records who was called, in order, with their answers: "push, inbox: YES, shop".
class Witness {
 public:
  static void called(const std::string& who) { text() += (text().empty() ? "" : ", ") + who; }
  static bool called(const std::string& who, bool answer) {
    called(who + (answer ? ": YES" : ": NO"));
    return answer;
  }
  /// The calls since the last `take`.
  static std::string take() {
    const std::string seen = std::exchange(text(), {});
    return seen.empty() ? "none" : seen;
  }

 private:
  static std::string& text() {
    static std::string seen;
    return seen;
  }
};
