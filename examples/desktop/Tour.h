// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <string>
#include <string_view>

#include "ShopWindow.h"

/// What the tour needs to observe in the demo.
struct TourSight {
  std::function<bool()> isSynced;       ///< whether the SDK has its configuration
  std::function<bool()> isPagePainted;  ///< whether the landing page has been drawn
  std::function<bool()> hasContinued;   ///< whether the shop received its own link
  std::string recordFolder;             ///< where the other applications record their links
};

/// Opens every message of the inbox in turn, waits until its result is visible, takes a screenshot, and
/// closes it again. Prints a line for each step and closes the application at the end.
class Tour {
 public:
  Tour(ShopWindow& shop, TourSight sight, std::string pictureFolder);
  Tour(const Tour&) = delete;
  Tour& operator=(const Tour&) = delete;

  void start();
  /// Whether the tour has ended and every step succeeded.
  [[nodiscard]] bool isAllRight() const { return isAllRight_ && isOver_; }

 private:
  struct Step {
    std::string name;
    std::function<void()> begin;
    std::function<bool()> isThere;
    std::function<void()> end;
  };
  void addSteps();
  void addLinkStep(std::size_t campaign, std::string link);
  void next();
  void wait();
  void takePicture();
  void finishStep(bool isRight);
  [[nodiscard]] std::size_t campaignNamed(std::string_view name) const;

  ShopWindow& shop_;
  const TourSight sight_;
  const std::string folder_;
  std::vector<Step> steps_;
  std::size_t current_ = 0;
  gint64 deadline_ = 0;
  bool isAllRight_ = true;
  bool isOver_ = false;
};
