#pragma once

#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>

namespace tidewell {

/// Runs a function in a child process and exits with what it returns; like a shell with 128 more than the
/// signal, if that is a result of `waitFor` about a child that was killed. The child lives for at most so
/// many seconds, and not longer than the thread that made it.
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

/// The exit status of a child, or the negative number of the signal that ended it.
inline int waitFor(pid_t child) {
  int status = 0;
  waitpid(child, &status, 0);
  return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}

}  // namespace tidewell
