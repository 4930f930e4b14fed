// Calls nothing: ends at once, or waits to be looked at where it has an argument.
#include <unistd.h>

int main(int argc, char**) {
  if (argc > 1) pause();
}
