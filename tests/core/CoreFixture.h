#pragma once

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "tidewell/testing/TestingPlatform.h"

namespace tidewell {

using Text = std::optional<std::string>;
using Lines = std::vector<std::string>;

/// A process whose machine is in the test's hands: `platform` is in force before the test begins.
///
/// Each test runs in a process of its own, so the SDK's singletons are fresh. The main bundle is
/// org.example.shop, version 1.2.3; the clock stands at 2018-11-12 17:05:09 in UTC; logging is off until the
/// test switches it on. Nothing runs on a queue before `runUntilIdle`.
class CoreFixture : public ::testing::Test {
 protected:
  CoreFixture() : platform(testing::TestingPlatform::install()) {}

  /// The console's lines since the last call.
  std::vector<std::string> lines() { return platform->testConsole().takeLines(); }
  /// Runs every queue until none has anything left. How many functions ran.
  std::size_t runUntilIdle() { return platform->runUntilIdle(); }
  /// Lets every task from now on be answered with a status and a body.
  void answerEverythingWith(std::int64_t statusCode, std::string body = {}) {
    platform->testNetwork().setHandler([statusCode, body = std::move(body)](const platform::UrlRequest&) {
      return testing::ScriptedNetwork::reply(statusCode, body);
    });
  }
  /// Ends the process and starts the next one on the same machine. The SDK's singletons are process-wide and
  /// live on.
  void restart() { platform = platform->restart(); }

  std::shared_ptr<testing::TestingPlatform> platform;
};

}  // namespace tidewell
