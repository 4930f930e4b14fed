// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>

namespace tidewell {

/// Runs a function in a forked child, which exits with its result. A negative result, as `waitFor` returns
/// for a killed process, becomes 128 plus the signal, as in a shell. The child is killed after `seconds`, or
/// when the forking thread ends.
template <class Function>
pid_t inChild(unsigned seconds, Function&& function) {
  std::fflush(stdout);
  const pid_t child = fork();
  if (child != 0) return child;
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  alarm(seconds);
  const int status = function();
  std::fflush(stdout);
  _exit(status < 0 ? 128 - status : status);
}

/// The exit status of a child, or minus the signal that ended it.
inline int waitFor(pid_t child) {
  int status = 0;
  waitpid(child, &status, 0);
  return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}

}  // namespace tidewell
