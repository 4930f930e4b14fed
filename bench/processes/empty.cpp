// SPDX-License-Identifier: Apache-2.0
// Calls nothing. Ends at once, or waits until it is killed if it has an argument.
#include <unistd.h>

int main(int argc, char**) {
  if (argc > 1) pause();
}
