#include "launcher/wrap.h"

int main(int argc, char** argv) {
  return WrapperMain(argc, argv, nullptr, nullptr);
}
