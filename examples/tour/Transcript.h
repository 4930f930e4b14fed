// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <concepts>
#include <cstdint>
#include <cstdio>
#include <string>
#include <string_view>

/// Prints the SDK's answers, one per line, and records whether all of them were the expected ones.
class Transcript {
 public:
  void heading(std::string_view text) { std::printf("\n%.*s\n", static_cast<int>(text.size()), text.data()); }
  void note(std::string_view text) { std::printf("  %.*s\n", static_cast<int>(text.size()), text.data()); }

  void expect(std::string_view question, std::string_view expected, std::string_view answer) {
    const bool right = expected == answer;
    std::printf("  %s %-50.*s %.*s", right ? "ok" : "!!", static_cast<int>(question.size()), question.data(),
                static_cast<int>(answer.size()), answer.data());
    if (!right) std::printf("   (expected %.*s)", static_cast<int>(expected.size()), expected.data());
    std::printf("\n");
    std::fflush(stdout);
    allRight_ = allRight_ && right;
  }
  template <std::same_as<bool> Answer>
  void expect(std::string_view question, bool expected, Answer answer) {
    expect(question, expected ? std::string_view("YES") : "NO", answer ? std::string_view("YES") : "NO");
  }
  void expect(std::string_view question, int expected, std::int64_t answer) {
    expect(question, std::to_string(expected), std::to_string(answer));
  }

  [[nodiscard]] bool allRight() const { return allRight_; }

 private:
  bool allRight_ = true;
};
