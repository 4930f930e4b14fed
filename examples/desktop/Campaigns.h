#pragma once

#include <functional>
#include <string>
#include <vector>

/// A message of the demo's inbox, and what acting on it does.
struct Campaign {
  std::string name;  ///< for the tour
  std::string icon;
  std::string title;
  std::string text;
  std::function<void()> act;
};

/// What the demo shows, in the order of the tour.
std::vector<Campaign> makeCampaigns();
