// SPDX-License-Identifier: Apache-2.0
#include "tidewell/desktop/Options.h"

#include "tidewell/base/internal/NeverDestroyed.h"
#include "tidewell/desktop/internal/OptionsState.h"

namespace tidewell::desktop {

Options::Options() : state_(std::make_unique<State>()) {}
Options::~Options() = default;
Options::Options(const Options& other) : state_(std::make_unique<State>(other.state())) {}
Options& Options::operator=(const Options& other) {
  if (this != &other) state_ = std::make_unique<State>(other.state());
  return *this;
}
Options::Options(Options&& other) noexcept = default;
Options& Options::operator=(Options&& other) noexcept = default;

const Options::State& Options::state() const noexcept {
  static base::NeverDestroyed<State> defaults;
  return state_ ? *state_ : *defaults;
}

Options::State& Options::changed() {
  if (!state_) state_ = std::make_unique<State>();
  return *state_;
}

posix::Options& Options::posix() { return changed().posix; }
Options& Options::setFollowsWindows(bool follows) {
  changed().followsWindows = follows;
  return *this;
}
Options& Options::setUsesSecretService(bool uses) {
  changed().usesSecretService = uses;
  return *this;
}
Options& Options::setPageTimeout(double seconds) {
  changed().pageTimeout = seconds;
  return *this;
}

std::string complaintAbout(const Options& options) {
  const Options::State& given = options.state();
  std::string complaint = posix::complaintAbout(given.posix);
  if (complaint.empty() && !(given.pageTimeout > 0)) {
    complaint =
        "setPageTimeout: \"" + std::to_string(given.pageTimeout) + "\" is not a time above 0, in seconds";
  }
  return complaint;
}

}  // namespace tidewell::desktop
