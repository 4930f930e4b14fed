#pragma once

#include <string>
#include <utility>

/// Who was called, in order and with which answer: "push, inbox: YES, shop".
class Witness {
 public:
  static void called(const std::string& who) { text() += (text().empty() ? "" : ", ") + who; }
  static bool called(const std::string& who, bool answer) {
    called(who + (answer ? ": YES" : ": NO"));
    return answer;
  }
  /// What was seen since the last call.
  static std::string take() {
    const std::string seen = std::exchange(text(), {});
    return seen.empty() ? "nobody" : seen;
  }

 private:
  static std::string& text() {
    static std::string seen;
    return seen;
  }
};
