// Calls nothing: exits immediately, or waits to be inspected if it has an argument.
#include <unistd.h>

int main(int argc, char**) {
  if (argc > 1) pause();
}
