// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <string_view>

#include "tidewell/testing/StandInFault.h"

namespace tidewell::testing {

/// A fault of the stand-in backend in its own notation: `kind=status:500,times=2`.
inline StandInFault fault(std::string_view text) {
  std::string problem;
  const std::optional<StandInFault> parsed = StandInFault::parse(text, problem);
  EXPECT_TRUE(parsed) << text << ": " << problem;
  return parsed.value_or(StandInFault());
}

}  // namespace tidewell::testing
