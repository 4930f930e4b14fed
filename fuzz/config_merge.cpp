// SPDX-License-Identifier: Apache-2.0
#include <cstdio>
#include <optional>

#include "ConfigModel.h"
#include "Input.h"
#include "tidewell/base/formats/Json.h"
#include "tidewell/core/TWConfigManager/TWConfigManager.h"
#include "tidewell/core/TWUtils/TWLogger/TWLogger.h"
#include "tidewell/testing/TestingPlatform.h"

// Merges two replies of the server in succession: every result, and every line that a query logs, must match
// the plain model, also after a restart.

namespace {

using namespace tidewell;
using Answers = std::vector<std::string>;

/// Names that the lists contain, and some that they probably do not contain.
std::vector<std::string> namesIn(const ConfigModel& model) {
  std::vector<std::string> names = {"", "purchase", "guest-1"};
  for (const char* key : {"b_e", "f_e", "d_t_w_e", "b_uid_r"}) {
    const base::Array* const list = model.fields.at(key).array();
    if (list == nullptr) continue;
    for (std::size_t index = 0; index < list->count() && index < 4; ++index) {
      if (const std::string* const name = list->begin()[index].string()) names.push_back(*name);
    }
  }
  return names;
}

void compare(const TWConfigManager& manager, const ConfigModel& model, testing::TestingPlatform& platform) {
  const std::vector<std::string> names = namesIn(model);
  const Answers ours =
      answersOf(manager, names, [&] { return coordinatesOf(platform.testConsole().takeLines()); });
  const Answers expected = answersOf(model, names, [&] { return std::exchange(model.logged, {}); });
  for (std::size_t index = 0; index < expected.size(); ++index) {
    if (ours[index] == expected[index]) continue;
    std::fprintf(stderr, "ours:     %s\nexpected: %s\n", ours[index].c_str(), expected[index].c_str());
    std::abort();
  }
}

}  // namespace

void fuzz::check(std::string_view input) {
  const auto [first, second] = fuzz::split(input, "\n--\n");

  const auto platform = testing::TestingPlatform::install();
  TWLogger::debug(TWLogLevelDebug);
  ConfigModel model;
  std::optional<TWConfigManager> manager(std::in_place);
  for (const std::string_view bytes : {first, second}) {
    const base::Value reply = base::JSONObjectWithData(bytes);
    manager->updateConfigFromResponse(reply);
    model.updateConfigFromResponse(reply);
    compare(*manager, model, *platform);
    platform->runUntilIdle();
    compare(*manager, model, *platform);
  }
  manager.emplace();
  model.restart();
  platform->testConsole().takeLines();
  compare(*manager, model, *platform);
}
