// SPDX-License-Identifier: Apache-2.0
// Runs a program, and prints its peak resident memory in KiB as a last line. usage:
// process_peak PROGRAM ARGUMENT... A process that starts another one passes its own peak on to it, so this
// one must be smaller than the programs that it measures.
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>

int main(int argc, char** argv) {
  if (argc < 2) return 2;
  const pid_t child = fork();
  if (child == 0) {
    execv(argv[1], argv + 1);
    _exit(127);
  }
  int status = 0;
  rusage used{};
  if (child == -1 || wait4(child, &status, 0, &used) != child || status != 0) return 1;
  std::printf("\n%ld\n", used.ru_maxrss);
}
