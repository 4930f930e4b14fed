// SPDX-License-Identifier: Apache-2.0
#include "tidewell/testing/RecordingConsole.h"

#include <utility>

#include "tidewell/base/internal/Mutex.h"

namespace tidewell::testing {

struct RecordingConsole::State {
  mutable base::Mutex mutex;
  std::vector<std::string> lines TIDEWELL_GUARDED_BY(mutex);
};

RecordingConsole::RecordingConsole() : state_(std::make_unique<State>()) {}
RecordingConsole::~RecordingConsole() = default;

void RecordingConsole::write(std::string_view text) {
  const base::MutexLock lock(state_->mutex);
  state_->lines.emplace_back(text);
}

std::vector<std::string> RecordingConsole::lines() const {
  const base::MutexLock lock(state_->mutex);
  return state_->lines;
}

std::vector<std::string> RecordingConsole::takeLines() {
  const base::MutexLock lock(state_->mutex);
  return std::exchange(state_->lines, {});
}

}  // namespace tidewell::testing
