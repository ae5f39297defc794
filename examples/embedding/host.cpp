#include <cstdio>

#include "velox/launch_wrapper.h"

namespace {

int hostMain(int argc, char** argv) {
  for (int i = 1; i < argc; ++i) std::printf("C++ host argument %d: [%s]\n", i, argv[i]);
  return 7;
}

void hostStop() {}

}  // namespace

int main(int argc, char** argv) {
  return LaunchWrapper(argc, argv, hostMain, hostStop);
}
