// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <string>
#include <vector>

/// A message in the demo's inbox and its action.
struct Campaign {
  std::string name;  ///< of the step in the tour
  std::string icon;
  std::string title;
  std::string text;
  std::function<void()> act;
};

/// All messages of the demo, in the order of the inbox.
std::vector<Campaign> makeCampaigns();
