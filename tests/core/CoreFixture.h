// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "tidewell/base/Exception.h"
#include "tidewell/base/formats/Json.h"
#include "tidewell/core/TWConfigManager/TWConfigManager.h"
#include "tidewell/core/TWUtils/TWCoreUtils.h"
#include "tidewell/core/TWUtils/TWLogger/TWLogger.h"
#include "tidewell/testing/TestingPlatform.h"

namespace tidewell {

using Text = std::optional<std::string>;
using Lines = std::vector<std::string>;

/// The log line of a caught exception.
inline std::string caughtLine(const std::string& file, int line, const std::string& method,
                              const std::string& message) {
  return "Tidewell - <file - " + file + ", line number - " + std::to_string(line) + " , method - '" + method +
         "'> " + message;
}

/// Installs a `TestingPlatform` before each test.
///
/// Each test runs in its own process with new singletons of the SDK. The main bundle is org.example.shop,
/// version 1.2.3; the clock stands at 2018-11-12 17:05:09 UTC; logging is off until the test enables it.
/// Functions on a queue run in `runUntilIdle` only.
class CoreFixture : public ::testing::Test {
 protected:
  CoreFixture() : platform(testing::TestingPlatform::install()) {}

  /// The console's lines since the last call.
  Lines lines() { return platform->testConsole().takeLines(); }
  /// Expects one line with each of these prefixes since the last call.
  void expectLinesBeginning(const Lines& beginnings) {
    const Lines logged = lines();
    EXPECT_TRUE(std::equal(
        logged.begin(), logged.end(), beginnings.begin(), beginnings.end(),
        [](const std::string& line, const std::string& beginning) { return line.starts_with(beginning); }))
        << ::testing::PrintToString(logged);
  }
  /// Runs every queue until all are empty. Returns the number of functions that ran.
  std::size_t runUntilIdle() { return platform->runUntilIdle(); }
  /// Answers all further tasks with this status and body.
  void answerEverythingWith(std::int64_t statusCode, std::string body = {}) {
    platform->testNetwork().setHandler([statusCode, body = std::move(body)](const platform::UrlRequest&) {
      return testing::ScriptedNetwork::reply(statusCode, body);
    });
  }
  std::vector<testing::ScriptedNetwork::Sent> sent() { return platform->testNetwork().sent(); }
  /// A value of the standard user defaults that would survive the process.
  base::Value stored(std::string_view key) {
    return platform->testDefaults().synchronized().objectForKey(key);
  }
  testing::MemoryFileManager& files() { return platform->testFiles(); }

  std::shared_ptr<testing::TestingPlatform> platform;
};

}  // namespace tidewell
