#pragma once

#include <condition_variable>
#include <functional>
#include <mutex>
#include <thread>

// Internal to the core: not installed.
namespace tidewell {

/// Runs something once, until it is reset.
///
/// Any thread. Whoever comes while it runs waits until it is done; the running thread itself, coming back,
/// goes on without it. `work` runs with no lock held; it has run, too, where it
/// raises, which passes to the caller.
class OnceToken {
 public:
  void run(const std::function<void()>& work);
  /// Lets the next `run` run again. While it runs: once that is over.
  void reset();

 private:
  enum class State { notRun, running, done };

  std::mutex mutex_;
  std::condition_variable isOver_;
  State state_ = State::notRun;
  State afterRunning_ = State::done;
  std::thread::id runner_;
};

}  // namespace tidewell
