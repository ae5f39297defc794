#include <stdio.h>

#include "velox/launch.h"

static int host_main(int argc, char** argv) {
  for (int i = 1; i < argc; ++i) printf("C host argument %d: [%s]\n", i, argv[i]);
  return 7;
}

int main(int argc, char** argv) {
  return velox_launch(argc, argv, host_main, NULL);
}
